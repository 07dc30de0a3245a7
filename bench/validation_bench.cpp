// Validation of a whole project, as before each apply. Twice the project must not take more than about twice
// the time.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "big_project.h"
#include "cold_caches.h"
#include "orv/framework/validation.h"

namespace {

using namespace orv;  // NOLINT: a benchmark

void ValidateProject(benchmark::State& state) {
    bench::BigProject project(static_cast<std::uint32_t>(state.range(0)),
                              static_cast<std::uint32_t>(state.range(1)));
    int round = 0;
    for (auto _ : state) {
        state.PauseTiming();
        // Everything counts as changed: validation leaves out what it found right before.
        project.Root().Set("Name", "Round " + std::to_string(++round));
        bench::EmptyCaches();
        state.ResumeTiming();
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(project.Root(), context);
        if (context.GetErrors().empty()) continue;
        std::fprintf(stderr, "The project is not valid: %s\n", context.GetErrors()[0].message.c_str());
        std::exit(1);
    }
}
// Arguments: set-top-box blocks; ranges, and as many channel blocks.
void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({16384, 2000})->Args({8192, 1000})->Unit(benchmark::kMillisecond);
}
BENCHMARK(ValidateProject)->Apply(Sizes)->Iterations(10);

}  // namespace
