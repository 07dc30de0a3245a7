// How much a live port carries: whole runs in a laboratory, with so many STBs that in the end joins and
// leaves are more than a millisecond late, or packets are dropped.
// - Zapping: every STB zaps once a second.
// - Bursts: the same with fast channel change; a burst lasts until the next zap.
// - Repairs: every STB misses a fifth of its channel's packets, and sends a NACK for each.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>

namespace {

constexpr int kChannels = 52;
constexpr int kSeconds = 8;
constexpr int kCannotBeMade = 3;  ///< exit status of lab.sh where there are no laboratories
/// Of joins and leaves that may be later than a millisecond: the machine has other things to do as well.
constexpr double kLateFraction = 0.01;
/// A noisy machine can make a run worse, but not better.
constexpr int kTries = 3;

enum class Kind { Zapping, Bursts, Repairs };
struct Load {
    Kind kind;
    int packet_rate;  ///< per second and channel
    const char *laboratory, *test, *profile, *channels, *boxes;
};
constexpr Load kLoads[] = {
    {Kind::Zapping, 20, "", "TestEnv: TESTING", "", "", ""},
    {Kind::Bursts, 100, "--fcc-server='--burst-start 500'",
     "TestEnv: TESTING\n    TestType: FAST_CHANNEL_CHANGE",
     "    UnicastLeaveTriggerDelay: 1\n    UnicastStay: true\n", "",
     "        FccServerAddrV4: 10.0.255.1\n        FccServerPort: 5006\n        UdpSourcePort: 6000\n"},
    {Kind::Repairs, 100, "--fcc-server= --loss=20",
     "TestEnv: REAL_WORLD\n    TestType: RELIABLE_RETRANSMISSION", "    UnicastLeaveTriggerDelay: 1\n",
     "    RtpNackEnable: true\n",
     "        RrrServerAddrV4: 10.0.255.1\n        RrrServerPort: 5006\n        UdpSourcePort: 6000\n"
     "        RtpNackEnable: true\n        RtpNackDelay: 5\n        RtpNackInterval: 200\n"},
};

/// Starts are spread over the second; channels are slow, so that what is measured is zapping.
std::string MakeTestFile(const Load& load, int stbs) {
    std::string blocks;
    // A block for each STB that begins in the same millisecond: delays are whole milliseconds.
    const int devices = std::max(stbs / 1000, 1), per_device = stbs / devices;
    for (int device = 0; device < devices; ++device) {
        blocks += fmt::format(
            "  - EmulatedDevice: Homes {0}\n    DeviceCount: {1}\n    AffiliationPort: Viewers\n"
            "    TopLevelIf: Homes {0}/Ipv4If\n    children:\n"
            "      - EthIIIf:\n        SourceMac: 00:10:94:{0:02x}:00:01\n"
            "      - Ipv4If:\n        Address: 10.{0}.0.10\n        PrefixLength: 8\n"
            "        StackedOn: Homes {0}/EthIIIf\n"
            "      - IgmpHostConfig:\n        Version: IGMP_V3\n        UsesIf: Homes {0}/Ipv4If\n"
            "      - IptvStbBlockConfig: Boxes {0}\n        IptvProfile: Profile\n        StbChannel: "
            "[Range]\n"
            "        MulticastParam: Homes {0}/IgmpHostConfig\n        InterClientStartDelayStep: 1\n{2}",
            device + 1, per_device, load.boxes);
    }
    return fmt::format(
        "project:\n"
        "  - Port: Head end\n    Location: linux://head0\n    children:\n      - StreamBlock: Streams\n"
        "        SrcBinding: Sources/Ipv4If\n        DstBinding: Groups/Ipv4NetworkBlock\n"
        "        Load: {0}\n        LoadUnit: FRAMES_PER_SECOND\n"
        "  - Port: Viewers\n    Location: linux://home0\n"
        "  - Ipv4Group: Groups\n    children:\n      - Ipv4NetworkBlock:\n        StartIpList: 225.1.0.1\n"
        "        NetworkCount: {1}\n"
        "  - IptvChannelBlock: Channels\n    MulticastParam: Groups\n{5}"
        "  - IptvViewedChannels: Range\n    ChannelBlock: Channels\n    ChannelRangeEnd: {1}\n{5}"
        "  - IptvViewingProfileConfig: Profile\n    Interval: 1000\n    SetTopLeaveJoinDelay: {7}\n{6}"
        "  - EmulatedDevice: Sources\n    AffiliationPort: Head end\n    TopLevelIf: Sources/Ipv4If\n"
        "    children:\n      - EthIIIf:\n        SourceMac: 00:10:94:ff:00:01\n"
        "      - Ipv4If:\n        Address: 10.255.0.2\n        StackedOn: Sources/EthIIIf\n"
        "{2}"
        "sequence:\n  - GeneratorStartCommand:\n{8}  - IptvStartTestCommand: Start\n    {4}\n"
        "    TestDuration: {3}\n  - IptvWaitForTestCompletionCommand:\n  - GeneratorStopCommand:\n",
        load.packet_rate, kChannels, blocks, kSeconds, load.test, load.channels, load.profile,
        load.kind == Kind::Bursts ? 1 : 100,
        // The server has to have something to send.
        load.kind == Kind::Zapping ? "" : "  - WaitCommand:\n    WaitTime: 2\n");
}

struct Run {
    bool has_laboratory = true;
    bool is_good = false;
    double nacks_per_second = 0;
};

/// Whether the port kept up with its STBs, and the server as well.
bool IsGood(const Load& load, const nlohmann::json& port) {
    const auto figure = [&port](const char* name) { return port.value(name, 0.0); };
    if (figure("joins_and_leaves") == 0 || figure("unseen") > 0 || figure("frames_dropped") > 0 ||
        figure("late_joins") > kLateFraction * figure("joins_and_leaves"))
        return false;
    switch (load.kind) {
        case Kind::Zapping:
            return true;
        case Kind::Bursts:
            return figure("bursts_requested") > 0 && figure("bursts_refused") + figure("bursts_unanswered") <=
                                                         kLateFraction * figure("bursts_requested");
        case Kind::Repairs:
            return figure("packets_missed") > 0 &&
                   figure("packets_repaired") >= (1 - kLateFraction) * figure("packets_missed");
    }
    return false;
}

/// Throws when there is a laboratory, but no answer.
Run RunProgram(const Load& load, int stbs) {
    const auto file = std::filesystem::temp_directory_path() / fmt::format("bench_live_{}.yaml", stbs);
    std::ofstream(file) << MakeTestFile(load, stbs);
    const std::string command =
        fmt::format("{} run --fast-leave {} -- {} run {} --quiet --json --db {}.db 2>/dev/null", LAB_PATH,
                    load.laboratory, PROGRAM_PATH, file.string(), file.string());
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> buffer;
    while (const std::size_t read = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), read);
    Run run;
    const int status = WEXITSTATUS(pclose(pipe));
    std::filesystem::remove(file);
    std::filesystem::remove(file.string() + ".db");
    if (output.empty()) {
        if (status != kCannotBeMade) throw std::runtime_error("iptvtest said nothing");
        run.has_laboratory = false;
        return run;
    }
    const auto outcome = nlohmann::json::parse(output);
    for (const auto& port : outcome.at("live_ports")) {
        if (port.at("name") != "Viewers") continue;
        run.is_good = IsGood(load, port);
        run.nacks_per_second = port.value("packets_repaired", 0.0) / kSeconds;
    }
    return run;
}

/// The first run that is good, or the last one.
Run Try(const Load& load, int stbs) {
    Run run;
    for (int tries = 0; tries < kTries && !run.is_good && run.has_laboratory; ++tries)
        run = RunProgram(load, stbs);
    return run;
}

void LivePort(benchmark::State& state, Kind kind) {
    const Load& load = kLoads[static_cast<std::size_t>(kind)];
    int carried = 0;
    double nacks = 0;
    for (auto _ : state) {
        for (int stbs : {500, 1000, 1500, 2000, 3000, 4000, 6000, 8000, 12000, 16000}) {
            const Run run = Try(load, stbs);
            if (!run.has_laboratory) {
                state.SkipWithError("no laboratory can be made on this machine");
                return;
            }
            if (!run.is_good) break;
            carried = stbs;
            nacks = run.nacks_per_second;
        }
    }
    if (kind == Kind::Repairs) {
        state.counters["nacks_per_second"] = nacks;
    } else {
        state.counters["stbs_per_core"] = carried;
    }
}
BENCHMARK_CAPTURE(LivePort, Zapping, Kind::Zapping)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(LivePort, Bursts, Kind::Bursts)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(LivePort, Repairs, Kind::Repairs)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
