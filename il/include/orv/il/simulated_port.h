// A software port whose set-top boxes live on a simulated network.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/il/faults.h"
#include "orv/il/network.h"
#include "orv/il/timeline.h"

namespace orv::il {

/// The far end of a port's connection: keeps the configuration that it is sent, answers every request, and
/// while a test runs emulates the set-top boxes and reports what they saw.
///
/// Deterministic: the same requests at the same times, network and seed give the same bytes. Used from one
/// thread at a time, the timeline's.
class SimulatedPort {
  public:
    struct Setup {
        std::string name;  ///< of the port; part of its seed
        FaultSchedule faults;
    };
    using Send = std::function<void(std::vector<std::byte>)>;
    using HangUp = std::function<void(const std::string& reason)>;

    /// `network` and `timeline` outlive the port. `send` gets messages for the other end; `hang_up` is called
    /// when the port ends the connection itself. Neither may destroy the port, or call it.
    SimulatedPort(Setup setup, const Network& network, ITimeline& timeline, Send send, HangUp hang_up);
    ~SimulatedPort();
    SimulatedPort(const SimulatedPort&) = delete;
    SimulatedPort& operator=(const SimulatedPort&) = delete;

    /// A message from the other end. One that is no request, or is malformed, is answered with a fault where
    /// it can be answered at all, and never ends the port.
    void Receive(const std::vector<std::byte>& bytes);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::il
