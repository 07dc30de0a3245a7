// The ports that know an object.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

namespace orv::iptv {

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

  private:
    std::vector<std::uint32_t> ports_;
};

}  // namespace orv::iptv
