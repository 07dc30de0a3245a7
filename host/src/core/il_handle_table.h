// The numbers under which ports know interfaces.
#pragma once

#include <cstdint>
#include <set>
#include <unordered_map>

namespace orv::core {

class CIlHandleTable {
  public:
    static CIlHandleTable& Instance();

    /// The number of an interface on a port, given now if it has none.
    std::uint32_t Get(std::uint32_t port_handle, std::uint32_t interface_handle);
    /// An interface that ends gives its numbers back.
    void ForgetInterface(std::uint32_t interface_handle);
    void ForgetPort(std::uint32_t port_handle) { ports_.erase(port_handle); }

  private:
    struct Numbers {
        std::unordered_map<std::uint32_t, std::uint32_t> by_interface;
        std::set<std::uint32_t> returned;
        std::uint32_t last = 0;
    };
    std::unordered_map<std::uint32_t, Numbers> ports_;
};

}  // namespace orv::core
