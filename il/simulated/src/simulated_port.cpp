#include "orv/il/simulated_port.h"

#include <utility>

#include "orv/il/port_core.h"
#include "simulated_world.h"

namespace orv::il {

struct SimulatedPort::Impl {
    Impl(Setup setup, const Network& network, ITimeline& timeline, Send send, HangUp hang_up)
        : world(setup.name, network, timeline, std::move(setup.recordings)),
          core(setup.name, std::move(setup.faults), network.seed, world, timeline, std::move(send),
               std::move(hang_up), setup.pool) {}

    SimulatedWorld world;
    PortCore core;
};

SimulatedPort::SimulatedPort(Setup setup, const Network& network, ITimeline& timeline, Send send,
                             HangUp hang_up)
    : impl_(
          std::make_unique<Impl>(std::move(setup), network, timeline, std::move(send), std::move(hang_up))) {}

SimulatedPort::~SimulatedPort() = default;

void SimulatedPort::Receive(const std::vector<std::byte>& bytes) {
    impl_->core.receive(bytes);
}

void SimulatedPort::ChannelsChange(const std::function<void()>& change) {
    impl_->core.channels_change(change);
}

}  // namespace orv::il
