// The ports that know an object.
#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

namespace orv::iptv {

/// Destroyed objects of one class that ports still have, because they were deleted without an apply that
/// would have removed them from the ports.
class GoneObjects {
  public:
    template <class Object>
    static GoneObjects& Get() {
        static auto* gone = new GoneObjects;  // objects may outlive other statics
        return *gone;
    }

    void Add(std::uint32_t port, std::uint32_t object) { by_port_[port].insert(object); }
    void Erase(std::uint32_t port) { by_port_.erase(port); }
    /// Handles of the objects that a port knows.
    std::vector<std::uint32_t> Find(std::uint32_t port) const {
        const auto found = by_port_.find(port);
        if (found == by_port_.end()) return {};
        return {found->second.begin(), found->second.end()};
    }
    /// Appends the ports that know any.
    void FindPorts(std::vector<std::uint32_t>& ports) const {
        for (const auto& [port, objects] : by_port_) ports.push_back(port);
    }

  private:
    std::map<std::uint32_t, std::set<std::uint32_t>> by_port_;
};

/// Handles of the ports to which an object has been sent, so that it is sent to each port once and deleted
/// from exactly those ports.
class AppliedPorts {
  public:
    bool FindPortinVec(std::uint32_t port) const {
        return std::find(ports_.begin(), ports_.end(), port) != ports_.end();
    }
    void AddPortInVec(std::uint32_t port) {
        if (!FindPortinVec(port)) ports_.push_back(port);
    }
    void RemovePortInVec(std::uint32_t port) { std::erase(ports_, port); }

  protected:
    ~AppliedPorts() = default;

    /// For the object's destructor: notes which ports still have the object.
    template <class Object>
    void Leave(const Object& object) {
        for (const std::uint32_t port : ports_) GoneObjects::Get<Object>().Add(port, object.GetHandle());
    }

  private:
    std::vector<std::uint32_t> ports_;
};

}  // namespace orv::iptv
