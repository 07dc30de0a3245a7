// How many hosts a second a live port binds by a DHCP server in a laboratory, and what the server can do by
// its own load generator.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace {

constexpr int kCannotBeMade = 3;  ///< exit status of lab.sh where there are no laboratories

void DhcpBinds(benchmark::State& state) {
    const std::string command =
        fmt::format("exec {} enter -- /usr/bin/python3 {} {}", LAB_PATH, RATES_PATH, PROGRAM_PATH);
    for (auto _ : state) {
        std::FILE* pipe = ::popen(command.c_str(), "r");
        if (!pipe) throw std::runtime_error("no laboratory was started");
        std::string output;
        std::array<char, 4096> some;
        while (const std::size_t count = std::fread(some.data(), 1, some.size(), pipe))
            output.append(some.data(), count);
        const int status = ::pclose(pipe);
        if (WIFEXITED(status) && WEXITSTATUS(status) == kCannotBeMade)
            return state.SkipWithError("no laboratory can be made on this machine");
        if (status != 0) throw std::runtime_error("the hosts could not be bound");
        const auto rates = nlohmann::json::parse(output);
        for (const auto& [name, value] : rates.items())
            state.counters[name] = value.get<double>();
    }
}
BENCHMARK(DhcpBinds)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
