// A simulated port at its busiest: every STB changes channel every 50 ms, results go out every second.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

#include "busy_port.h"

namespace {

using bench::BusyPort;

constexpr std::uint32_t kViewsPerStb = BusyPort::kSeconds * BusyPort::kViewsPerSecond;

void RunTests(benchmark::State& state) {
    const auto stbs = static_cast<std::uint32_t>(state.range(0));
    std::size_t received = 0;
    BusyPort port({.stbs = stbs}, [&received](const std::vector<std::byte>& bytes) {
        received += bytes.size();
        benchmark::DoNotOptimize(bytes.data());
    });
    for (auto _ : state) port.RunTest();
    // A record takes more than a hundred bytes; without them the port has not done what is measured.
    const auto views = static_cast<std::size_t>(state.iterations()) * stbs * kViewsPerStb;
    if (received > 100 * views) return;
    std::fprintf(stderr, "The port has not reported all views.\n");
    std::exit(1);
}

void ChannelViews(benchmark::State& state) {
    RunTests(state);
    state.SetItemsProcessed(state.iterations() * state.range(0) * kViewsPerStb);
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
