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
#include "orv/il/run_pool.h"
#include "orv/il/software_port.h"
#include "orv/il/timeline.h"

namespace orv::il {

/// Emulates the set-top boxes and what their network does. Deterministic: the same requests at the same
/// times, network and seed give the same bytes. Used from one thread at a time, the timeline's.
class SimulatedPort : public ISoftwarePort {
  public:
    struct Setup {
        std::string name;  ///< of the port; part of its seed
        FaultSchedule faults = {};
        /// If not empty, the port replays them instead of emulating set-top boxes; in a test without
        /// recording it reports nothing.
        std::optional<Recordings> recordings = {};
        RunPool* pool = nullptr;  ///< if any, outlives the port
    };

    /// `network` and `timeline` outlive the port. Neither `send` nor `hang_up` may destroy the port, or call
    /// it.
    SimulatedPort(Setup setup, const Network& network, ITimeline& timeline, Send send, HangUp hang_up);
    ~SimulatedPort() override;
    SimulatedPort(const SimulatedPort&) = delete;
    SimulatedPort& operator=(const SimulatedPort&) = delete;

    void Receive(const std::vector<std::byte>& bytes) override;
    /// Call when the result of the network's `is_sent` is about to change: after `change`, streams that are
    /// no longer sent end, and those that are sent again reach waiting STBs.
    void ChannelsChange(const std::function<void()>& change) override;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::il
