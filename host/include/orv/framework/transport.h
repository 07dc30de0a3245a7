// Carries messages as bytes.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace orv::framework {

/// One end of a connection to one peer. A message handed to Send arrives at the other end whole, in order,
/// once; or the connection is closed. Send may be called from any thread; the callbacks come on a thread of
/// the transport (or, with the virtual clock, during a wait).
class ITransport {
  public:
    using Receive = std::function<void(std::vector<std::byte>)>;
    using Closed = std::function<void(const std::string& reason)>;

    virtual ~ITransport();
    /// False when the connection is closed.
    virtual bool Send(std::vector<std::byte> message) = 0;
    /// Called once, before anything is sent. Messages that came earlier are delivered first.
    virtual void SetCallbacks(Receive receive, Closed closed) = 0;
    /// No callback runs after it has returned. Safe to call twice.
    virtual void Close() = 0;
};

/// Two ends within one process. Bytes sent at one end arrive at the other through the task manager's timers,
/// after `latency`; with the virtual clock that makes a run repeatable.
std::pair<std::unique_ptr<ITransport>, std::unique_ptr<ITransport>> MakeInProcessTransport(
    std::chrono::nanoseconds latency = std::chrono::nanoseconds::zero());

}  // namespace orv::framework
