// A simulated port at its busiest: every STB changes channel every 50 ms, results go out every second.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "msgset/iptvcd_1.h"
#include "orv/il/simulated_port.h"

namespace {

using namespace orv;           // NOLINT: a benchmark
using namespace iptvcd_1_bll;  // NOLINT
using tm::Message;

constexpr std::uint32_t kSimulatedSeconds = 2;

/// One entry at a time is all that a running test needs.
class OneEntryTimeline : public il::ITimeline {
  public:
    il::Nanoseconds GetNow() const override { return now_; }
    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        due_ = now_ + delay;
        work_ = std::move(work);
        return 1;
    }
    void Cancel(std::uint64_t) override { work_ = nullptr; }
    bool RunNext() {
        if (!work_) return false;
        now_ = due_;
        std::exchange(work_, nullptr)();
        return true;
    }

  private:
    il::Nanoseconds now_{}, due_{};
    std::function<void()> work_;
};

class BusyPort {
  public:
    explicit BusyPort(std::uint32_t stbs)
        : port_({"Port 1", {}}, network_, timeline_,
                [this](std::vector<std::byte> bytes) { Take(std::move(bytes)); }, {}) {
        profileConfig_s profile;
        profile.leave_to_leave_delay = 50;
        profile.zap_direction = ZapDirection::DIR_RANDOM;
        channelBlockConfig_s channels;
        channels.channel_count = 200;
        channels.channel_number_start = channels.channel_number_step = 1;
        channels.channel_initial_step = 1;
        channels.channel_ip_start.v4 = {{225, 0, 0, 1}};
        channels.channel_ip_step.v4 = {{0, 0, 0, 1}};
        channels.filterMode = FilterModeType::EXCLUDE;
        settopBlockConfig_s block;
        block.settop_count = stbs;
        block.channel_handle = {0};
        block.igmp_version = IgmpVersion::IGMP_VERSION3;
        testConfig_s test;
        test.test_duration = 1000 * kSimulatedSeconds;
        Message messages[5];
        create_req_UpdateProfile(&messages[0], {profile}, true);
        create_req_UpdateChannelBlock(&messages[1], {channels}, true);
        create_req_UpdateSettopBlock(&messages[2], {block}, true);
        create_req_UpdateConfig(&messages[3], test, true);
        create_req_RegisterResultsNotify(&messages[4], {0}, 1000, true);
        for (const Message& message : messages) port_.Receive(message.encode());
    }

    void RunTest() {
        Message start;
        create_req_Start(&start, 0, {0}, 0, true);
        port_.Receive(start.encode());
        while (timeline_.RunNext()) {
        }
    }
    std::size_t GetBytes() const { return bytes_; }

  private:
    void Take(std::vector<std::byte> bytes) {
        bytes_ += bytes.size();
        benchmark::DoNotOptimize(bytes.data());
    }

    il::Network network_;
    OneEntryTimeline timeline_;
    std::size_t bytes_ = 0;
    il::SimulatedPort port_;
};

void RunTests(benchmark::State& state) {
    const auto stbs = static_cast<std::uint32_t>(state.range(0));
    BusyPort port(stbs);
    for (auto _ : state) port.RunTest();
    // A record takes more than a hundred bytes; without them the port has not done what is measured.
    const auto views = static_cast<std::size_t>(state.iterations()) * stbs * kSimulatedSeconds * 20;
    if (port.GetBytes() > 100 * views) return;
    std::fprintf(stderr, "The port has not reported all views.\n");
    std::exit(1);
}

void ChannelViews(benchmark::State& state) {
    RunTests(state);
    state.SetItemsProcessed(state.iterations() * state.range(0) * kSimulatedSeconds * 20);
}
BENCHMARK(ChannelViews)->Arg(16384)->Unit(benchmark::kMillisecond);

/// As ChannelViews, to compare whole runs: a run is the item. Items count processor time, so that others on
/// the machine do not.
void PortRun(benchmark::State& state) {
    RunTests(state);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(PortRun)->Arg(16384)->Arg(8192)->Unit(benchmark::kMillisecond);

}  // namespace
