// Whole tests by the program: wall time, processor time and peak memory, with and without event rows, and how
// they grow. Those with event rows stand beside raw inserts of the same rows.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "raw_rows.h"

namespace {

constexpr int kPorts = 8;
constexpr int kSeconds = 600;

/// STBs that zap every second for ten minutes, each in a VLAN of its own (up to 4,000), over 40 channels.
std::string MakeTestFile(int stbs, bool event_rows) {
    std::string text =
        "project:\n"
        "  - Ipv4Group: Groups\n    children:\n      - Ipv4NetworkBlock:\n        NetworkCount: 40\n"
        "  - IptvChannelBlock: Channels\n    MulticastParam: Groups\n"
        "  - IptvViewedChannels: Range\n    ChannelBlock: Channels\n    ChannelRangeEnd: 40\n"
        "  - IptvViewingProfileConfig: Profile\n    Interval: 1000\n    SetTopLeaveJoinDelay: 100\n";
    for (int port = 1; port <= kPorts; ++port) {
        text += fmt::format(
            "  - Port: Port {0}\n"
            "  - EmulatedDevice: Homes {0}\n    DeviceCount: {1}\n    AffiliationPort: Port {0}\n"
            "    TopLevelIf: Homes {0}/Ipv4If\n    children:\n"
            "      - EthIIIf:\n        SourceMac: 00:10:94:{0:02x}:00:01\n"
            "      - VlanIf:\n        VlanId: 1\n        IdStep: 1\n        StackedOn: Homes {0}/EthIIIf\n"
            "      - Ipv4If:\n        Address: 10.{0}.0.10\n        PrefixLength: 8\n        StackedOn: "
            "Homes {0}/VlanIf\n"
            "      - IgmpHostConfig:\n        UsesIf: Homes {0}/Ipv4If\n"
            "      - IptvStbBlockConfig: Boxes {0}\n        IptvProfile: Profile\n        StbChannel: "
            "[Range]\n"
            "        MulticastParam: Homes {0}/IgmpHostConfig\n        SaveTimeStamps: {2}\n",
            port, stbs, event_rows);
    }
    return text + "sequence:\n  - IptvStartTestCommand: Start\n    TestEnv: REAL_WORLD\n    TestDuration: " +
           std::to_string(kSeconds) +
           "\n"
           "  - IptvWaitForTestCompletionCommand:\n"
           "simulation:\n  defaults:\n    join_delay: {normal: [40, 8]}\n    leave_delay: 90\n    loss: 0.1 "
           "%\n";
}

/// A folder that goes with its benchmark: databases of ten million rows are large.
struct Folder {
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "wholetestXXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::filesystem::path path;
};

double SecondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

/// What the program used.
rusage RunProgram(const Folder& folder) {
    const std::string file = folder.path / "test.yaml", database = folder.path / "results.db";
    const pid_t child = fork();
    if (child == 0) {
        execl(PROGRAM_PATH, PROGRAM_PATH, "run", file.c_str(), "--quiet", "--db", database.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        throw std::runtime_error("iptvtest did not pass its test");
    return usage;
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// How long the test's event rows take when they are inserted into another file by the simplest means.
double GetSecondsOfRawRows(const Folder& folder) {
    constexpr std::int64_t kRowsInMemory = 50'000;
    const bench::RawRows rows(folder.path / "results.db", kRowsInMemory);
    const auto start = std::chrono::steady_clock::now();
    rows.Insert(folder.path / "raw.db");
    return SecondsSince(start);
}

void WholeTest(benchmark::State& state) {
    const auto stbs = static_cast<int>(state.range(0));
    const bool event_rows = state.range(1) != 0;
    rusage usage{};
    for (auto _ : state) {
        const Folder folder;
        std::ofstream(folder.path / "test.yaml") << MakeTestFile(stbs, event_rows);
        const auto start = std::chrono::steady_clock::now();
        usage = RunProgram(folder);
        const double seconds = SecondsSince(start);
        state.SetIterationTime(seconds);
        if (!event_rows) continue;
        const double raw_seconds = GetSecondsOfRawRows(folder);
        state.counters["raw_rows_s"] = raw_seconds;
        state.counters["vs_raw_rows"] = seconds / raw_seconds;
    }
    state.counters["peak_mib"] = static_cast<double>(usage.ru_maxrss) / 1024;
    state.counters["processor_s"] = SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime);
    state.counters["views_per_second"] = benchmark::Counter(static_cast<double>(kPorts) * stbs * kSeconds,
                                                            benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(WholeTest)->Args({1024, 0})->Args({2048, 0})->Iterations(1)->Repetitions(3)->UseManualTime()->Unit(
    benchmark::kSecond);
BENCHMARK(WholeTest)->Args({2048, 1})->Iterations(1)->Repetitions(1)->UseManualTime()->Unit(
    benchmark::kSecond);

}  // namespace
