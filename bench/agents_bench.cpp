// Events from a port to results: within the process, and from an agent in another one over a server; and what
// a hundred agents cost.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "busy_port.h"
#include "channel_changers.h"
#include "orv/bus/connection.h"
#include "orv/bus/names.h"
#include "orv/bus/session_link.h"
#include "orv/tm/message.h"
#include "orv/tm/message_head.h"

namespace {

using bench::BusyPort;
using bench::ChannelChangers;
using orv::bus::Lane;
using orv::bus::SessionLink;
using Bytes = std::vector<std::byte>;
using std::chrono::steady_clock;

constexpr std::uint32_t kSettopBoxes = 16384;
constexpr std::int64_t kEvents =
    std::int64_t{kSettopBoxes} * BusyPort::kSeconds * BusyPort::kViewsPerSecond;  ///< of a test
/// So much may wait to be packed and sent: the memory of a few messages is used again.
constexpr std::size_t kMostSpooled = 32 << 20;
constexpr const char* kAgent = "bench";
constexpr const char* kSender = "--sender";

/// Of the channel changers, who have one range of four channels.
BusyPort::Setup MakeSetup(std::uint32_t block) {
    return {.stbs = kSettopBoxes, .channels = 4, .block = block};
}

/// Whether the port has sent results, or answers to what it was asked.
bool IsNotification(const Bytes& bytes) {
    const auto head = orv::tm::read_message_head(bytes);
    return head && head->type == orv::tm::TMT_REQUEST;
}

/// What becomes of a notification that has arrived.
void Bin(ChannelChangers& project, Bytes bytes) {
    orv::tm::Message message = orv::tm::Message::decode(std::move(bytes));
    project.Manager().CollectEventsFromIL(0, &message, nullptr);
}

void EventsInProcess(benchmark::State& state) {
    ChannelChangers project(kSettopBoxes, 1);
    BusyPort port(MakeSetup(project.GetBlock().GetHandle()), [&project](Bytes bytes) {
        if (IsNotification(bytes)) Bin(project, std::move(bytes));
    });
    for (auto _ : state) port.RunTest();
    state.SetItemsProcessed(state.iterations() * kEvents);
}

/// A process that ends with this one.
class Child {
  public:
    explicit Child(const std::vector<std::string>& command, int error = -1) {
        std::vector<char*> words;
        for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
        words.push_back(nullptr);
        id_ = fork();
        if (id_ != 0) return;
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (std::freopen("/dev/null", "w", stdout) == nullptr) _exit(127);
        dup2(error >= 0 ? error : STDOUT_FILENO, STDERR_FILENO);
        execvp(words.front(), words.data());
        _exit(127);
    }
    Child(Child&& other) noexcept : id_(std::exchange(other.id_, 0)) {}
    Child& operator=(Child&&) = delete;
    ~Child() {
        if (id_ <= 0) return;
        kill(id_, SIGKILL);
        waitpid(id_, nullptr, 0);
    }
    pid_t GetId() const { return id_; }
    /// Throws unless it ends well.
    void Wait() {
        int status = 0;
        if (waitpid(std::exchange(id_, 0), &status, 0) < 0 || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            throw std::runtime_error("a program did not do what it should");
    }

  private:
    pid_t id_ = 0;
};

struct Folder {
    Folder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "agentsbenchXXXXXX").string();
        path = mkdtemp(pattern.data());
    }
    ~Folder() { std::filesystem::remove_all(path); }
    std::filesystem::path path;
};

orv::bus::Connection Connect(const std::string& url, const std::string& name) {
    for (int i = 0; i < 100; ++i) {
        try {
            return orv::bus::Connection({.url = url}, name, {});
        } catch (const orv::bus::BusError&) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
    }
    return orv::bus::Connection({.url = url}, name, {});
}

/// A server of our own on a port that nobody else uses.
class Server {
  public:
    Server()
        : port_(20'000 + getpid() % 20'000),
          server_({"nats-server", "--addr", "127.0.0.1", "--port", std::to_string(port_), "--jetstream",
                   "--store_dir", folder_.path.string()}) {
        Connect(GetUrl(), "bench");
    }
    std::string GetUrl() const { return fmt::format("nats://127.0.0.1:{}", port_); }

  private:
    const Folder folder_;
    const int port_;
    Child server_;
};

/// The agent's end: a test for each order of the controller, and an empty parcel after it.
int Send(const std::string& url, const std::string& session, std::uint32_t block) {
    orv::bus::Connection connection = Connect(url, "bench sender");
    std::mutex mutex;
    std::condition_variable changed;
    int orders = 0;
    SessionLink link(connection, {SessionLink::Side::Agent, kAgent, session},
                     {[&](Lane, orv::bus::Parcel, const SessionLink::Take& take) {
                          take();
                          const std::lock_guard lock(mutex);
                          ++orders;
                          changed.notify_all();
                      },
                      {}});
    BusyPort port(MakeSetup(block), [&link](Bytes bytes) {
        if (!IsNotification(bytes)) return;
        while (link.get_spooled_bytes(Lane::Reports) > kMostSpooled)
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        link.send(Lane::Reports, {0, 0, std::move(bytes)});
    });
    for (;;) {
        {
            std::unique_lock lock(mutex);
            changed.wait(lock, [&] { return orders > 0; });
            --orders;
        }
        port.RunTest();
        link.send(Lane::Reports, {});
    }
}

void EventsFromAgent(benchmark::State& state) {
    const Server server;
    ChannelChangers project(kSettopBoxes, 1);
    orv::bus::Connection connection = Connect(server.GetUrl(), "bench controller");
    const std::string session = fmt::format("{:032x}", getpid());
    struct Arrived {
        Bytes bytes;
        SessionLink::Take take;
    };
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Arrived> arrived;
    SessionLink link(connection, {SessionLink::Side::Controller, kAgent, session},
                     {[&](Lane, orv::bus::Parcel parcel, SessionLink::Take take) {
                          const std::lock_guard lock(mutex);
                          arrived.push_back({std::move(parcel.data), std::move(take)});
                          changed.notify_one();
                      },
                      {}});
    const Child sender({"/proc/self/exe", kSender, server.GetUrl(), session,
                        std::to_string(project.GetBlock().GetHandle())});
    const auto round = [&] {
        link.send(Lane::Down, {});
        for (;;) {
            Arrived next;
            {
                std::unique_lock lock(mutex);
                changed.wait(lock, [&] { return !arrived.empty(); });
                next = std::move(arrived.front());
                arrived.pop_front();
            }
            next.take();
            if (next.bytes.empty()) return;
            Bin(project, std::move(next.bytes));
        }
    };
    round();  // the sender has begun
    for (auto _ : state) round();
    state.SetItemsProcessed(state.iterations() * kEvents);
}

/// A port on each of a number of agents, with one set-top box.
std::string MakeTestFile(int agents) {
    std::string text =
        "project:\n"
        "  - Ipv4Group: Groups\n    children:\n      - Ipv4NetworkBlock:\n        NetworkCount: 4\n"
        "  - IptvChannelBlock: Channels\n    MulticastParam: Groups\n"
        "  - IptvViewedChannels: Range\n    ChannelBlock: Channels\n    ChannelRangeEnd: 4\n"
        "  - IptvViewingProfileConfig: Profile\n    Interval: 500\n    SetTopLeaveJoinDelay: 100\n"
        "    JoinLatencyThreshold: 200\n    LeaveLatencyThreshold: 500\n";
    for (int i = 0; i < agents; ++i) {
        text += fmt::format(
            "  - Port: Port {0}\n    Location: agent://a{0}/sim/1\n"
            "  - EmulatedDevice: Home {0}\n    AffiliationPort: Port {0}\n    TopLevelIf: Home {0}/Ipv4If\n"
            "    children:\n      - EthIIIf:\n        SourceMac: 00:10:94:00:{0:02x}:01\n"
            "      - Ipv4If:\n        Address: 10.0.{0}.10\n        StackedOn: Home {0}/EthIIIf\n"
            "      - IgmpHostConfig:\n        UsesIf: Home {0}/Ipv4If\n"
            "      - IptvStbBlockConfig: Box {0}\n        IptvProfile: Profile\n        StbChannel: [Range]\n"
            "        MulticastParam: Home {0}/IgmpHostConfig\n",
            i);
    }
    return text +
           "sequence:\n  - IptvStartTestCommand: Start\n    TestName: hundred\n    TestEnv: REAL_WORLD\n"
           "    TestDuration: 2\n  - IptvWaitForTestCompletionCommand:\n";
}

/// From the program's start to that of its test, and what it needed.
struct Started {
    double seconds = 0;
    double peak_kib = 0;
};

/// The largest resident set of a process so far; 0 if it is no more.
double GetPeak(pid_t process) {
    std::ifstream status(fmt::format("/proc/{}/status", process));
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:")) return std::stod(line.substr(6));
    return 0;
}

Started StartTest(const std::string& url, int agents) {
    const Folder folder;
    const std::string file = folder.path / "test.yaml", database = folder.path / "results.db";
    std::ofstream(file) << MakeTestFile(agents);
    int said[2];
    if (pipe(said) != 0) throw std::runtime_error("no pipe");
    const auto begin = steady_clock::now();
    Child run({PROGRAM_PATH, "run", file, "--json", "--clock", "real", "--server", url, "--db", database},
              said[1]);
    close(said[1]);
    Started started;
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = read(said[0], buffer, sizeof buffer)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
        if (started.seconds > 0 || text.find("Test \"hundred\" runs") == text.npos) continue;
        started.seconds = std::chrono::duration<double>(steady_clock::now() - begin).count();
        // Its sessions and ports are there, and some results have come.
        std::this_thread::sleep_for(std::chrono::milliseconds(1'500));
        started.peak_kib = GetPeak(run.GetId());
    }
    close(said[0]);
    run.Wait();
    return started;
}

void HundredAgents(benchmark::State& state) {
    constexpr int kAgents = 100, kFew = 10;
    const Server server;
    std::vector<Child> agents;
    for (int i = 0; i < kAgents; ++i) {
        agents.emplace_back(std::vector<std::string>{PROGRAM_PATH, "agent", "--server", server.GetUrl(),
                                                     "--name", fmt::format("a{}", i), "--simulated"});
    }
    orv::bus::Connection connection = Connect(server.GetUrl(), "bench");
    for (int i = 0; i < kAgents; ++i) {
        const std::string subject = orv::bus::control_subject(fmt::format("a{}", i));
        while (connection.request(subject, {}, std::chrono::seconds(1)).status !=
               orv::bus::Answer::Status::Answered)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    for (auto _ : state) {
        const Started few = StartTest(server.GetUrl(), kFew), all = StartTest(server.GetUrl(), kAgents);
        state.SetIterationTime(all.seconds);
        state.counters["start_s"] = all.seconds;
        state.counters["peak_mib"] = all.peak_kib / 1024;
        state.counters["kib_per_agent"] = (all.peak_kib - few.peak_kib) / (kAgents - kFew);
    }
}

BENCHMARK(HundredAgents)->Iterations(1)->UseManualTime()->Unit(benchmark::kSecond);
BENCHMARK(EventsInProcess)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(EventsFromAgent)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    // Where Debian puts the server.
    setenv("PATH", (std::string(std::getenv("PATH")) + ":/usr/sbin").c_str(), 1);
    if (argc == 5 && argv[1] == std::string(kSender))
        return Send(argv[2], argv[3], static_cast<std::uint32_t>(std::stoul(argv[4])));
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
