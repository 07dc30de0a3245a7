// How much a live port carries: whole runs in a laboratory, with so many STBs that in the end joins and
// leaves are more than a millisecond late, or packets are dropped.
// - Segment: every STB zaps once a second, and all of them are on one segment.
// - Vlans: the same with a VLAN for each STB, from 4,001 STBs on two tags.
// - Bursts: the same with fast channel change; a burst lasts until the next zap.
// - Repairs: every STB misses a fifth of its channel's packets, and sends a NACK for each.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
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

enum class Kind { Segment, Vlans, Bursts, Repairs };
struct Load {
    Kind kind;
    int packet_rate;  ///< per second and channel
    const char *laboratory, *test, *profile, *channels, *boxes;
};
constexpr Load kLoads[] = {
    {Kind::Segment, 20, "", "TestEnv: TESTING", "", "", ""},
    {Kind::Vlans, 20, "", "TestEnv: TESTING", "", "", ""},
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

constexpr int kMostTags = 4000;  ///< VLANs behind one tag

/// The layers between Ethernet and IP of a device; the last one is `top`.
std::string MakeTags(int device, int first_stb, bool has_two, std::string& top) {
    const std::string ethernet = fmt::format("Homes {}/EthIIIf", device);
    if (!has_two) {
        top = fmt::format("Homes {}/VlanIf", device);
        return fmt::format("      - VlanIf:\n        VlanId: {}\n        IdStep: 1\n        StackedOn: {}\n",
                           first_stb + 1, ethernet);
    }
    top = fmt::format("Homes {}/Inner", device);
    return fmt::format(
        "      - VlanIf: Outer\n        VlanId: {}\n        IdStep: 0\n        StackedOn: {}\n"
        "      - VlanIf: Inner\n        VlanId: 1\n        IdStep: 1\n        StackedOn: Homes {}/Outer\n",
        100 + device, ethernet, device);
}

/// Starts are spread over the second; channels are slow, so that what is measured is zapping.
std::string MakeTestFile(const Load& load, int stbs, int seconds) {
    std::string blocks;
    // A block for each STB that begins in the same millisecond: delays are whole milliseconds.
    const int devices = std::max(stbs / 1000, 1), per_device = stbs / devices;
    for (int device = 0; device < devices; ++device) {
        std::string top = fmt::format("Homes {}/EthIIIf", device + 1), tags;
        if (load.kind == Kind::Vlans) tags = MakeTags(device + 1, device * per_device, stbs > kMostTags, top);
        blocks += fmt::format(
            "  - EmulatedDevice: Homes {0}\n    DeviceCount: {1}\n    AffiliationPort: Viewers\n"
            "    TopLevelIf: Homes {0}/Ipv4If\n    children:\n"
            "      - EthIIIf:\n        SourceMac: 00:10:94:{0:02x}:00:01\n{3}"
            "      - Ipv4If:\n        Address: 10.{0}.0.10\n        PrefixLength: 8\n"
            "        StackedOn: {4}\n"
            "      - IgmpHostConfig:\n        Version: IGMP_V3\n        UsesIf: Homes {0}/Ipv4If\n"
            "      - IptvStbBlockConfig: Boxes {0}\n        IptvProfile: Profile\n        StbChannel: "
            "[Range]\n"
            "        MulticastParam: Homes {0}/IgmpHostConfig\n        InterClientStartDelayStep: 1\n{2}",
            device + 1, per_device, load.boxes, tags, top);
    }
    const bool has_no_server = load.kind == Kind::Segment || load.kind == Kind::Vlans;
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
        load.packet_rate, kChannels, blocks, seconds, load.test, load.channels, load.profile,
        load.kind == Kind::Bursts ? 1 : 100,
        // The server has to have something to send.
        has_no_server ? "" : "  - WaitCommand:\n    WaitTime: 2\n");
}

struct Run {
    bool has_laboratory = true;
    bool is_good = false;
    double nacks_per_second = 0;
    double us_per_zap = 0;  ///< processor time of the whole program
    double peak_mib = 0;
};

/// Whether the port kept up with its STBs, and the server as well.
bool IsGood(const Load& load, const nlohmann::json& port) {
    const auto figure = [&port](const char* name) { return port.value(name, 0.0); };
    if (figure("joins_and_leaves") == 0 || figure("unseen") > 0 || figure("frames_dropped") > 0 ||
        figure("late_joins") > kLateFraction * figure("joins_and_leaves"))
        return false;
    switch (load.kind) {
        case Kind::Segment:
        case Kind::Vlans:
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

/// Seconds, of what the shell's `times` says: the last line, "0m1.250s 1m0.500s", is that of its children.
double ReadTimes(std::string line) {
    line = line.substr(line.find('\n') + 1);
    int minutes[2] = {};
    double seconds[2] = {};
    if (std::sscanf(line.c_str(), "%dm%lfs %dm%lfs", &minutes[0], &seconds[0], &minutes[1], &seconds[1]) != 4)
        throw std::runtime_error("the shell does not say what the program took: " + line);
    return 60.0 * (minutes[0] + minutes[1]) + seconds[0] + seconds[1];
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator(file), {}};
}

/// Throws when there is a laboratory, but no answer.
Run RunProgram(const Load& load, int stbs, int seconds) {
    const auto file = std::filesystem::temp_directory_path() / fmt::format("bench_live_{}.yaml", stbs);
    const std::string output_path = file.string() + ".json", times_path = file.string() + ".times";
    std::ofstream(file) << MakeTestFile(load, stbs, seconds);
    const std::string command = fmt::format(
        "exec {} run --fast-leave {} -- bash -c '{} run {} --quiet --json --db {}.db; times >{}' "
        "2>/dev/null >{}",
        LAB_PATH, load.laboratory, PROGRAM_PATH, file.string(), file.string(), times_path, output_path);
    const pid_t child = ::fork();
    if (child == 0) {
        ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    if (::wait4(child, &status, 0, &usage) != child) throw std::runtime_error("no laboratory was started");
    Run run;
    const std::string output = ReadFile(output_path), times = ReadFile(times_path);
    for (const char* end : {"", ".db", ".json", ".times"}) std::filesystem::remove(file.string() + end);
    if (output.empty()) {
        if (WEXITSTATUS(status) != kCannotBeMade) throw std::runtime_error("iptvtest said nothing");
        run.has_laboratory = false;
        return run;
    }
    run.peak_mib = static_cast<double>(usage.ru_maxrss) / 1024;
    const auto outcome = nlohmann::json::parse(output);
    for (const auto& port : outcome.at("live_ports")) {
        if (port.at("name") != "Viewers") continue;
        run.is_good = IsGood(load, port);
        run.nacks_per_second = port.value("packets_repaired", 0.0) / seconds;
        // A zap is a leave and a join.
        run.us_per_zap = 1e6 * ReadTimes(times) / (port.value("joins_and_leaves", 0.0) / 2);
    }
    return run;
}

/// The first run that is good, or the last one.
Run Try(const Load& load, int stbs) {
    Run run;
    for (int tries = 0; tries < kTries && !run.is_good && run.has_laboratory; ++tries)
        run = RunProgram(load, stbs, kSeconds);
    return run;
}

void LivePort(benchmark::State& state, Kind kind) {
    const Load& load = kLoads[static_cast<std::size_t>(kind)];
    int carried = 0;
    double nacks = 0;
    for (auto _ : state) {
        for (int stbs : {500, 1000, 1500, 2000, 3000, 4000, 6000, 8000, 10000, 12000, 16000}) {
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
BENCHMARK_CAPTURE(LivePort, Segment, Kind::Segment)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(LivePort, Vlans, Kind::Vlans)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(LivePort, Bursts, Kind::Bursts)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(LivePort, Repairs, Kind::Repairs)->Iterations(1)->Unit(benchmark::kSecond);

/// What a zap costs with 4,000 STBs: a run that is long enough to make little of the program's start.
void LiveZap(benchmark::State& state, Kind kind) {
    constexpr int kStbs = 4000, kLong = 20;
    Run run;
    for (auto _ : state) run = RunProgram(kLoads[static_cast<std::size_t>(kind)], kStbs, kLong);
    if (!run.has_laboratory) return state.SkipWithError("no laboratory can be made on this machine");
    state.counters["us_per_zap"] = run.us_per_zap;
    // The first 100 MiB are the program's.
    state.counters["kib_per_stb"] = std::max(run.peak_mib - 100, 0.0) * 1024 / kStbs;
}
BENCHMARK_CAPTURE(LiveZap, Segment, Kind::Segment)->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK_CAPTURE(LiveZap, Vlans, Kind::Vlans)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
