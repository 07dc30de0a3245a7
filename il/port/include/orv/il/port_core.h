// The core of every software port, independent of its network.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/il/faults.h"
#include "orv/il/port_configuration.h"
#include "orv/il/run_pool.h"
#include "orv/il/software_port.h"
#include "orv/il/timeline.h"
#include "orv/il/world.h"

namespace orv::il {

/// Answers requests, keeps the configuration, and runs tests in a world. Used from one thread at a time, the
/// timeline's. Destroying it ends everything without notification and cancels its timers.
class PortCore {
  public:
    /// `world` and `timeline` must outlive the port. `name` and `seed` determine which bytes are spoilt. See
    /// ISoftwarePort for `send` and `hang_up`; neither may destroy or call the port. `pool`, if any, outlives
    /// it.
    PortCore(const std::string& name, FaultSchedule faults, std::uint64_t seed, World& world,
             ITimeline& timeline, ISoftwarePort::Send send, ISoftwarePort::HangUp hang_up,
             RunPool* pool = nullptr);
    ~PortCore();
    PortCore(const PortCore&) = delete;
    PortCore& operator=(const PortCore&) = delete;

    /// See ISoftwarePort::Receive.
    void receive(const std::vector<std::byte>& bytes);
    /// See ISoftwarePort::ChannelsChange.
    void channels_change(const std::function<void()>& change);
    /// The configuration after the requests so far.
    const PortConfiguration& configuration() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::il
