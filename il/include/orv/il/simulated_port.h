// A software port whose set-top boxes live on a simulated network.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orv/il/faults.h"
#include "orv/il/network.h"
#include "orv/il/recording.h"
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
        FaultSchedule faults = {};
        /// When there are some, the port reports them instead of emulating set-top boxes; in a test that they
        /// do not have, nothing.
        std::optional<Recordings> recordings = {};
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

    /// What the network's `is_sent` says is about to change: works off what the STBs did up to now, calls
    /// `change`, and lets streams that are no longer sent end and those that are sent again reach whoever
    /// waits for them. For several ports the calls nest, so that `change` is called once, when all are ready
    /// for it. `change` may not use this port in any other way.
    void ChannelsChange(const std::function<void()>& change);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::il
