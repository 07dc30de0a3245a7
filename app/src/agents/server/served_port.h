// A port that an agent has for a controller.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agents/protocol/parcels.h"
#include "agents/protocol/settings.h"

namespace orv::app {

/// Takes what a session sends to it. Everything is called under the task lock.
class ServedPort {
  public:
    /// What the port says. A live port calls these on its own thread; none may call the port or wait for the
    /// task lock.
    struct Output {
        std::function<void(std::vector<std::byte> message)> send;
        std::function<void(const std::string& reason)> hang_up;
        std::function<void(const std::string& what)> complain;
        std::function<void(std::vector<std::byte> done)> step_done;
    };

    virtual ~ServedPort() = default;

    /// Throws ProtocolError for a parcel that the port does not know.
    virtual void Take(ParcelKind kind, std::vector<std::byte> data) = 0;
    virtual nic::LiveFigures GetFigures() const { return {}; }
    /// bit/s; 0 for a simulated port.
    virtual double GetLineRate() const { return 0; }
    /// How much too late a test began at most.
    virtual std::chrono::nanoseconds GetLatestStart() const { return {}; }
};

/// Throws nic::NicError if the interface cannot be used. The setup outlives the port.
std::unique_ptr<ServedPort> MakeServedPort(const SessionSetup& setup, std::size_t port,
                                           ServedPort::Output output);

}  // namespace orv::app
