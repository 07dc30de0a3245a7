#include "fuzz/checks.h"

#include <stdexcept>

#include "live/sample_frames.h"
#include "nic/emulated_network.h"
#include "orv/live/frame_parser.h"

namespace testing_aids {

void check_live_run_bytes(std::span<const std::byte> bytes) {
    // Memory of exactly that size, so that a read beyond it is seen.
    std::vector<std::byte> frame(bytes.begin(), bytes.end());
    const unsigned choice = frame.empty() ? 0 : std::to_integer<unsigned>(frame.back());
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
