// A software port, on any kind of network.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace orv::il {

/// The far end of a port's connection: keeps the configuration that it is sent, answers every request, and
/// while a test runs emulates the set-top boxes and reports what they saw.
class ISoftwarePort {
  public:
    /// Called with messages for the other end.
    using Send = std::function<void(std::vector<std::byte>)>;
    /// Called when the port ends the connection itself.
    using HangUp = std::function<void(const std::string& reason)>;

    virtual ~ISoftwarePort() = default;

    /// A message from the other end. If it is malformed or not a request, it is answered with a fault if
    /// possible; it never ends the port.
    virtual void Receive(const std::vector<std::byte>& bytes) = 0;

    /// Call when the channels that are sent are about to change: processes the STBs' events up to now, and
    /// calls `change`. For several ports the calls are nested, so that `change` is called once, when all are
    /// ready. `change` must not use this port in any other way.
    virtual void ChannelsChange(const std::function<void()>& change) = 0;
};

}  // namespace orv::il
