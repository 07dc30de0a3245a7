// Live ports on real interfaces: the two ends of a cable, without a device in between, so that streams always
// flow.
#include "orv/nic/live_port.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <mutex>
#include <set>
#include <thread>

#include "emulated_network.h"
#include "live/sample_frames.h"
#include "orv/live/frame.h"
#include "orv/live/stream_packet.h"
#include "packet_link.h"
#include "thrown.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace std::chrono_literals;
using orv::live::HostAddress;
using orv::nic::LivePort;
using orv::nic::NicError;

/// Margin for busy machines.
constexpr auto kPatience = 30s;

constexpr const char* kMark = "ORV_TEST_OWN_NETWORK";

/// Starts the program anew in a network namespace of its own; that one goes on, and has no network but what
/// it makes. Comes back here only when there is none to be had.
void EnterOwnNetwork(char** arguments) {
    if (std::getenv(kMark)) return;
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    // Users other than root need a user namespace around it.
    for (const char* how : {"-n", "-Urn"}) {
        const std::string trial =
            std::string("unshare ") + how + " ip link add orvnear type veth peer name orvfar 2>/dev/null";
        if (std::system(trial.c_str()) != 0) continue;
        ::setenv(kMark, "1", 1);
        std::vector<const char*> command{"unshare", how, program.c_str()};
        do {
            command.push_back(*++arguments);
        } while (*arguments);
        ::execvp(command[0], const_cast<char**>(command.data()));
    }
}

void Shell(const std::string& command) {
    if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}
/// "up" or "down".
void SetInterface(const std::string& interface, const std::string& state) {
    Shell("ip link set " + interface + " " + state);
}
/// Of the cable: "UP", "LOWERLAYERDOWN". The kernel notices a little later.
void WaitForState(const std::string& interface, const std::string& state) {
    const std::string look = "ip link show " + interface + " | grep -q 'state " + state + "'";
    for (int tries = 0; std::system(look.c_str()) != 0 && tries < 1000; ++tries)
        std::this_thread::sleep_for(10ms);
}

/// Two interfaces, connected with each other and up, on which the kernel sends nothing.
class VethPair {
  public:
    VethPair() {
        // Otherwise it announces addresses of its own.
        std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << 1;
        Shell("ip link add " + near + " type veth peer name " + far);
        SetInterface(near, "up");
        SetInterface(far, "up");
        WaitForState(near, "UP");
    }
    ~VethPair() { EXPECT_EQ(0, std::system(("ip link del " + near).c_str())); }
    VethPair(const VethPair&) = delete;
    VethPair& operator=(const VethPair&) = delete;

    std::string near = "orvnear", far = "orvfar";
};

/// What comes from a live port's thread, handed on to the test's; a request waits for its answer.
class WaitingPort : public orv::il::ISoftwarePort {
  public:
    WaitingPort(LivePort::Setup setup, Send send, HangUp hang_up)
        : port(
              std::move(setup),
              [this, send](const std::vector<std::byte>& bytes) {
                  Push([this, send, bytes] {
                      answers_ += orv::tm::Message::decode(bytes).get_msg_type() != orv::tm::TMT_REQUEST;
                      send(bytes);
                  });
              },
              [this, hang_up](const std::string& reason) {
                  Push([this, hang_up, reason] {
                      is_closed_ = true;
                      hang_up(reason);
                  });
              },
              [this](const auto&) { ++complaints; }) {}

    void Receive(const std::vector<std::byte>& bytes) override {
        const int before = answers_;
        port.Receive(bytes);
        WaitUntil([&] { return answers_ > before || is_closed_; });
    }
    void ChannelsChange(const std::function<void()>& change) override { change(); }

    /// Hands on what comes until `done`. Fails the test when that takes too long.
    void WaitUntil(const std::function<bool()>& done) {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (!done()) {
            std::unique_lock lock(mutex_);
            const bool any = arrived_.wait_until(lock, deadline, [this] { return !arrivals_.empty(); });
            ASSERT_TRUE(any) << "nothing came from the port";
            const std::function<void()> hand_on = std::move(arrivals_.front());
            arrivals_.pop_front();
            lock.unlock();
            hand_on();
        }
    }

  private:
    void Push(std::function<void()> arrival) {
        const std::lock_guard lock(mutex_);
        arrivals_.push_back(std::move(arrival));
        arrived_.notify_one();
    }

    std::mutex mutex_;
    std::condition_variable arrived_;
    std::deque<std::function<void()>> arrivals_;
    int answers_ = 0;
    bool is_closed_ = false;

  public:
    std::atomic<int> complaints = 0;
    LivePort port;  ///< the last one: its thread uses all the others
};

/// The other end of the cable, frame by frame.
class Wire {
  public:
    explicit Wire(const std::string& interface) : link_(interface) {
        link_.listen({.groups = {ip("225.0.0.1"), ip("225.0.0.2"), ip("225.0.0.3")}, .hears_reports = true});
    }

    void Send(std::span<const std::byte> frame) {
        std::span<std::byte> room;
        while ((room = link_.room()).empty()) link_.flush();
        std::memcpy(room.data(), frame.data(), frame.size());
        link_.commit(frame.size());
        if (++unflushed_ % 32 == 0) link_.flush();
    }
    void Flush() { link_.flush(); }
    /// Takes what comes in until `done`, which is given each frame of the other end; false when it takes too
    /// long.
    bool WaitFor(const std::function<bool(const orv::nic::SeenFrame&)>& done) {
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        bool found = false;
        while (!found && std::chrono::steady_clock::now() < deadline) {
            pollfd waited{link_.get_descriptor(), POLLIN, 0};
            ::poll(&waited, 1, 100);
            link_.receive([&](const orv::nic::SeenFrame& frame) {
                if (!frame.is_outgoing) found = done(frame) || found;
            });
        }
        return found;
    }
    /// Whether so many hosts send a message of that type.
    template <class Message>
    bool WaitForAll(std::size_t count) {
        std::set<orv::live::MacAddress> senders;
        return WaitFor([&](const orv::nic::SeenFrame& frame) {
            const auto parsed = orv::live::ParseFrame(frame.bytes, frame.info);
            if (parsed && std::holds_alternative<Message>(parsed->content)) senders.insert(parsed->source);
            return senders.size() == count;
        });
    }

  private:
    orv::nic::PacketLink link_;
    int unflushed_ = 0;
};

class LivePortTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!std::getenv(kMark))
            GTEST_SKIP() << "no network namespace with virtual interfaces can be made here";
        pair_.emplace();
    }

    /// Two STBs that zap three channels, with their port on the near end.
    std::unique_ptr<Peer> MakePeer(const std::vector<HostAddress>& hosts) {
        Scenario scenario;
        scenario.test.test_duration = 1'000;
        scenario.profile.leave_to_leave_delay = 200;
        scenario.profile.leave_to_join_delay = 50;
        scenario.channels.channel_count = 3;
        scenario.channels.channel_initial_step = 1;
        scenario.interval_ms = 100;
        scenario.blocks[0].settop_count = static_cast<std::uint32_t>(hosts.size());
        scenario.blocks[0].vif_handle = LiveScenario::kInterface;
        const LivePort::Setup setup{.name = "Port 1", .interface = pair_->near};
        auto peer = std::make_unique<Peer>(scenario, [&](orv::il::ITimeline&, auto send, auto hang_up) {
            return std::make_unique<WaitingPort>(setup, std::move(send), std::move(hang_up));
        });
        const std::vector<std::uint32_t> handle{LiveScenario::kInterface}, none;
        EXPECT_EQ("", peer->FaultOf(iptvcd_1_bll::create_req_ConfigInterfacesWithIlHandle, handle,
                                    std::vector{stack_of(hosts)}, none, true));
        peer->Configure();
        return peer;
    }
    static WaitingPort& PortOf(Peer& peer) { return static_cast<WaitingPort&>(*peer.port); }

    /// Of the three channels, 500 packets per second each, on the VLANs of `host`.
    std::vector<orv::nic::Stream> StreamsFor(const HostAddress& host) {
        std::vector<orv::nic::Stream> streams(3);
        for (auto& stream : streams) {
            stream.id = static_cast<std::uint32_t>(&stream - streams.data());
            stream.source = {{{2, 0, 0, 0, 9, 1}}, ip("10.0.9.1"), host.vlan};
            stream.group = ip("225.0.0." + std::to_string(stream.id + 1));
            stream.packets_per_second = 500;
        }
        return streams;
    }
    /// Lets the hosts view three channels each, then the streams end, and the test.
    void RunToEnd(Peer& peer, LivePort& sender) {
        const std::uint64_t enough = 2 * 3 * peer.scenario.blocks[0].settop_count;
        const auto deadline = std::chrono::steady_clock::now() + kPatience;
        while (PortOf(peer).port.GetFigures().joins_and_leaves < enough) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
            std::this_thread::sleep_for(1ms);
        }
        sender.SetStreams({});
        PortOf(peer).WaitUntil([&] { return !peer.end_times.empty(); });
    }
    std::unique_ptr<LivePort> MakeSender() {
        return std::make_unique<LivePort>(
            LivePort::Setup{.name = "Source", .interface = pair_->far}, [](auto) {},
            [](const std::string& reason) { ADD_FAILURE() << reason; }, [](const auto&) {});
    }

    std::optional<VethPair> pair_;
};

/// Runs what measures times on the real clock, up to three times: a machine that stalls for a moment
/// can spoil a measurement, but it cannot make a wrong one right.
void Measure(const std::function<void()>& measurement) {
    for (int trial = 1; trial < 3; ++trial) {
        testing::TestPartResultArray failures;
        {
            testing::ScopedFakeTestPartResultReporter keep(
                testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &failures);
            measurement();
        }
        if (failures.size() == 0) return;
        for (int i = 0; i < failures.size(); ++i)
            std::cerr << "once more: " << failures.GetTestPartResult(i) << '\n';
    }
    measurement();
}

TEST_F(LivePortTest, ZapsOnEveryKindOfLink) {
    const std::vector<std::uint16_t> links[] = {{}, {0x8100}, {0x88a8, 0x8100}, {0x9100, 0x9100}};
    for (const auto& types : links) {
        SCOPED_TRACE(testing::PrintToString(types));
        Measure([&] {
            std::vector<HostAddress> hosts{host_of(0), host_of(1)};
            for (orv::live::VlanTags* vlan : {&hosts[0].vlan, &hosts[1].vlan})
                for (const std::uint16_t type : types)
                    vlan->tags[vlan->count++] = {type, static_cast<std::uint16_t>(100 + vlan->count)};
            const auto sender = MakeSender();
            sender->SetStreams(StreamsFor(hosts[0])).wait();
            EXPECT_LE(StreamsFor(hosts[0]).size(), sender->GetFigures().stream_packets_sent);
            const auto peer = MakePeer(hosts);
            EXPECT_EQ("", peer->StartAgain());
            EXPECT_EQ("iptvcd_1.Start: a test is running", peer->StartAgain());
            RunToEnd(*peer, *sender);

            EXPECT_LE(6u, peer->events.size());
            std::uint64_t received = 0;
            for (const stbox_event_s& event : peer->events) {
                received += event.total_mcast_packets;
                EXPECT_EQ(0u, event.lost_mcast_packets + event.reordered_mcast_packets +
                                  event.duplicate_mcast_packets + event.late_mcast_packets +
                                  event.mcast_prbs_errors);
            }
            EXPECT_LT(100u, received);
            const auto figures = PortOf(*peer).port.GetFigures();
            EXPECT_EQ(0u, figures.unseen + figures.frames_unsent + figures.frames_dropped);
            EXPECT_EQ(0, PortOf(*peer).complaints);
            EXPECT_EQ(2 * peer->events.size(), figures.joins_and_leaves);
            EXPECT_LE(figures.joins_and_leaves, figures.frames_sent);
            EXPECT_LE(200u, sender->GetFigures().stream_packets_sent);
        });
    }
}

TEST_F(LivePortTest, AnswersForItsHosts) {
    const auto peer = MakePeer({host_of(0, {100})});
    Wire wire(pair_->far);
    const HostAddress asker = host_of(200, {100});
    std::array<std::byte, orv::live::kMaxFrameLength> frame, answer;
    wire.Send(std::span(frame).first(orv::live::WriteArpRequest(frame, asker, ip("10.0.0.1"))));
    wire.Flush();
    // The kernel takes the outer tag out of the bytes.
    const auto expected = std::span(answer).first(WriteArpReply(answer, host_of(0), asker.mac, asker.ip));
    EXPECT_TRUE(wire.WaitFor([&](const auto& seen) { return std::ranges::equal(seen.bytes, expected); }));
}

TEST_F(LivePortTest, ShowsWhatItsHostsSendButNotTheStreams) {
    orv::nic::PacketLink link(pair_->near);
    const std::vector<std::uint16_t> links[] = {{}, {100}, {100, 7}};
    std::vector<std::string> expected, seen;
    std::array<std::byte, orv::live::kMaxFrameLength> frame;
    const auto send = [&](std::size_t length, bool is_shown) {
        std::ranges::copy(std::span(frame).first(length), link.room().begin());
        link.commit(length);
        link.flush();
        if (is_shown) expected.push_back(hex_text(std::span(frame).first(length)));
    };
    for (const bool is_v6 : {false, true}) {
        for (const auto& vlans : links) {
            const HostAddress host = host_of(0, vlans, is_v6), other = host_of(1, vlans, is_v6);
            const orv::live::IpAddress group = ip(is_v6 ? "ff1e::1" : "225.0.0.1");
            orv::live::UdpFlow flow{host, orv::live::MulticastMac(group), group, 5000, 5004};
            send(WriteUdpHeaders(frame, flow, 40), false);
            flow.destination = other.ip;
            flow.destination_mac = other.mac;
            send(WriteUdpHeaders(frame, flow, 40), true);
            send(is_v6 ? WriteNeighborAdvertisement(frame, host, other.mac, other.ip)
                       : WriteArpReply(frame, host, other.mac, other.ip),
                 false);
            const HostAddress member{host.mac, is_v6 ? orv::live::LinkLocalAddress(host.mac) : host.ip,
                                     host.vlan};
            send(WriteMembershipReport(
                     frame, member,
                     is_v6 ? orv::live::MembershipVersion::Mld1 : orv::live::MembershipVersion::Igmp2, group),
                 true);
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (seen.size() < expected.size() && std::chrono::steady_clock::now() < deadline) {
        link.receive([&](const orv::nic::SeenFrame& one) {
            if (one.is_outgoing) seen.push_back(hex_text(one.bytes));
        });
    }
    EXPECT_EQ(expected, seen);
}

TEST_F(LivePortTest, ServersKnowStreamsByTheirGroup) {
    Wire wire(pair_->near);
    const auto sender = MakeSender();
    sender->SetStreams(StreamsFor(host_of(0)));
    std::set<std::pair<std::string, std::uint32_t>> heard;
    EXPECT_TRUE(wire.WaitFor([&](const auto& seen) {
        const auto parsed = orv::live::ParseFrame(seen.bytes, seen.info);
        const auto& packet = std::get<orv::live::UdpPacket>(parsed.value().content);
        const auto rtp = orv::live::ReadRtpPacket(packet.payload);
        heard.emplace(packet.destination.ToString(), rtp.value().ssrc);
        return heard.size() == 3;
    }));
    const std::set<std::pair<std::string, std::uint32_t>> expected{
        {"225.0.0.1", 0xe1000001}, {"225.0.0.2", 0xe1000002}, {"225.0.0.3", 0xe1000003}};
    EXPECT_EQ(expected, heard);
}

/// An interface that takes frames more slowly than hosts make them.
TEST_F(LivePortTest, EveryFrameLeavesThroughANarrowLink) {
    // 5 Mbit/s; the rest is queued.
    Shell("tc qdisc add dev " + pair_->near + " root tbf rate 5mbit burst 3000 limit 1000000");
    constexpr std::size_t kHosts = 800;  // more frames than the kernel keeps for a socket
    std::vector<HostAddress> hosts(kHosts, host_of(0));
    for (std::size_t i = 0; i < kHosts; ++i) {
        hosts[i].mac.bytes[3] = static_cast<std::uint8_t>(i >> 8);
        hosts[i].mac.bytes[4] = static_cast<std::uint8_t>(i);
    }
    auto peer = MakePeer(hosts);
    peer->scenario.profile.leave_to_leave_delay = 60'000;
    peer->scenario.test.test_duration = 60'000;
    peer->Configure();
    Wire wire(pair_->far);
    EXPECT_EQ("", peer->StartAgain());
    EXPECT_TRUE(wire.WaitForAll<orv::live::MembershipReport>(kHosts));
    peer->port.reset();
    EXPECT_TRUE(wire.WaitForAll<orv::live::MembershipLeave>(kHosts));
}

TEST_F(LivePortTest, HangsUpWhenItsInterfaceGoesDown) {
    for (const bool is_running : {false, true}) {
        const auto peer = MakePeer({host_of(0)});
        EXPECT_EQ("", is_running ? peer->StartAgain() : "");
        SetInterface(pair_->near, "down");
        PortOf(*peer).WaitUntil([&] { return !peer->hang_up_reason.empty(); });
        EXPECT_EQ("interface orvnear: it cannot be used any longer: Network is down", peer->hang_up_reason);
        pair_.reset();
        pair_.emplace();
    }
}

/// Takes it from this thread alone.
void drop_raw_sockets() {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    ASSERT_EQ(0, ::syscall(SYS_capget, &header, data));
    data[0].effective &= ~(1U << CAP_NET_RAW);
    ASSERT_EQ(0, ::syscall(SYS_capset, &header, data));
}

TEST_F(LivePortTest, SaysWhyAnInterfaceCannotBeUsed) {
    const auto failure_of = [](const std::string& interface) {
        return ThrownBy<NicError>([&] { orv::nic::PacketLink link(interface); });
    };
    EXPECT_EQ("nothing thrown", failure_of(pair_->near));
    EXPECT_EQ("interface nosuch: there is no such interface", failure_of("nosuch"));
    std::thread([&] {
        drop_raw_sockets();
        const std::string failure = failure_of(pair_->near);
        EXPECT_TRUE(failure.starts_with("interface orvnear: the capability CAP_NET_RAW is missing"))
            << failure;
    }).join();
    SetInterface(pair_->far, "down");
    WaitForState(pair_->near, "LOWERLAYERDOWN");
    EXPECT_EQ("interface orvnear has no carrier", failure_of(pair_->near));
    EXPECT_EQ("interface orvfar is down", failure_of(pair_->far));

    EXPECT_LT(0, orv::nic::GetLineRate(pair_->near));
    EXPECT_EQ("interface nosuch: there is no such interface",
              ThrownBy<NicError>([] { orv::nic::GetLineRate("nosuch"); }));
}

}  // namespace

int main(int argc, char** argv) {
    EnterOwnNetwork(argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
