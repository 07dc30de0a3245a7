#include "fuzz/checks.h"

#include <stdexcept>

#include "live/sample_frames.h"
#include "nic/emulated_server.h"

namespace testing_aids {

/// The bytes are what a server says, before, during and after a burst.
static void check_server_bytes(std::span<const std::byte> bytes, unsigned choice) {
    UnicastScenario unicast(TestType::FCC_WITH_RRR,
                            {.port_mapping = (choice & 1) != 0, .reduced_size = (choice & 2) != 0});
    unicast.server.wants_token = (choice & 1) != 0;
    unicast.server.has_sbit = (choice & 4) != 0;
    unicast.live.network->copies = [](std::uint64_t number, const auto&) { return number % 10 == 0 ? 0 : 1; };
    unicast.live.RunTo(1'000);
    unicast.live.Start();
    for (const int time_ms : {1'001, 1'003, 1'100, 1'400, 1'950, 2'001, 3'990, 4'010}) {
        unicast.live.RunTo(time_ms);
        unicast.server.Say(bytes);
    }
    unicast.live.RunTo(20'000);
    const auto& figures = unicast.live.GetPort().figures;
    if (unicast.live.peer.end_times.size() != 1) throw std::logic_error("the test did not end");
    if (figures.bursts_requested == 0 || figures.packets_repaired > figures.packets_missed)
        throw std::logic_error("more was repaired than lost, or nothing was asked for");
}

void check_live_run_bytes(std::span<const std::byte> bytes) {
    // Memory of exactly that size, so that a read beyond it is seen.
    std::vector<std::byte> frame(bytes.begin(), bytes.end());
    const unsigned choice = frame.empty() ? 0 : std::to_integer<unsigned>(frame.back());
    if ((choice & 8) != 0) return check_server_bytes(frame, choice);
    refit_checksums(frame);

    LiveScenario live({host_of(0), host_of(1, {100})}, {.suppress_reports = (choice & 1) != 0});
    live.Speak((choice & 2) != 0 ? IgmpVersion::IGMP_VERSION3 : IgmpVersion::IGMP_VERSION2);
    auto& scenario = live.peer.scenario;
    scenario.test.test_duration = 1'000;
    scenario.test.test_env = (choice & 4) != 0 ? TestEnv::REAL_WORLD : TestEnv::TESTING;
    scenario.profile.leave_to_leave_delay = 400;
    live.network->is_silent = true;
    const auto parsed = orv::live::ParseFrame(frame);
    const auto* packet = parsed ? std::get_if<orv::live::UdpPacket>(&parsed->content) : nullptr;
    if (packet && !packet->destination.IsV6() && packet->destination.IsMulticast())
        std::ranges::copy(packet->destination.GetBytes(), scenario.channels.channel_ip_start.v4.address);

    live.Start();
    for (const int time_ms : {150, 250, 600}) {
        live.RunTo(time_ms);
        live.network->Deliver(frame);
        live.network->Deliver(frame, {.stripped_tag = orv::live::VlanTag{0x8100, 100}});
        live.network->to_port({frame, live.peer.timeline.GetNow().count(), true, {}});
    }
    live.RunTo(14'000);
    const auto& figures = live.GetPort().figures;
    if (live.peer.end_times.size() != 1) throw std::logic_error("the test did not end");
    if (figures.unseen != 0 || figures.joins_and_leaves == 0)
        throw std::logic_error("joins were not recognised");
}

}  // namespace testing_aids
