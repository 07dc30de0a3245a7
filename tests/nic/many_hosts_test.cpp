// What lets a port carry thousands of hosts: timers, queries, the kernel's filter, flows.
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <map>
#include <random>
#include <set>

#include "coarse_timeline.h"
#include "emulated_network.h"
#include "flow_table.h"
#include "frame_filter.h"
#include "il/fake_timeline.h"
#include "live/sample_frames.h"
#include "wake_pacer.h"
#include "work_queue.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace orv::nic;      // NOLINT: a test
using orv::il::kMillisecond, orv::il::kSecond, orv::il::Nanoseconds;

/// Sets and cancels timers, also from timers, and says when each has run.
template <class Run>
void check_timers(orv::il::ITimeline& timeline, Run&& run, Nanoseconds earlier, Nanoseconds later) {
    constexpr std::size_t kTimers = 5000;
    std::mt19937 random(1);
    std::vector<std::uint64_t> ids;
    std::vector<Nanoseconds> due;
    std::map<std::size_t, Nanoseconds> ran;
    std::set<std::size_t> cancelled;
    std::function<void()> set = [&] {
        if (ids.size() == kTimers) return;
        const std::size_t number = ids.size();
        const Nanoseconds delay(random() % (30 * kMillisecond));
        due.push_back(timeline.GetNow() + delay);
        ids.push_back(timeline.PostAfter(delay, [&, number] {
            EXPECT_FALSE(cancelled.contains(number));
            EXPECT_TRUE(ran.emplace(number, timeline.GetNow()).second);
            set();
            set();
            const std::size_t other = random() % ids.size();
            timeline.Cancel(ids[other]);
            if (!ran.contains(other)) cancelled.insert(other);
        }));
    };
    for (std::size_t i = 0; i < kTimers / 2; ++i) set();
    run();
    EXPECT_EQ(ran.size() + cancelled.size(), ids.size());
    EXPECT_LT(kTimers / 3, ran.size());
    for (const auto& [number, time] : ran) {
        EXPECT_LE(due[number] - earlier, time);
        EXPECT_GE(due[number] + later, time);
    }
}

TEST(ManyHosts, TimersRunOnceUnlessTheyAreCancelled) {
    WorkQueue queue;
    check_timers(
        queue,
        [&] {
            orv::il::Time last = 0;
            while (queue.next() != orv::il::kNever) {
                EXPECT_LE(last, queue.next());
                while (queue.next() > get_monotonic_time()) continue;
                last = queue.next();
                queue.run_due(last, 1);
            }
        },
        Nanoseconds(0), std::chrono::minutes(1));
    FakeTimeline exact;
    CoarseTimeline coarse(exact);
    check_timers(
        coarse, [&] { exact.RunTo(std::chrono::seconds(10)); }, Nanoseconds(4 * kMillisecond),
        Nanoseconds(4 * kMillisecond));
    EXPECT_EQ(0u, exact.GetPending());
    // Later than a round of the wheel.
    Nanoseconds ran{};
    coarse.PostAfter(std::chrono::seconds(11), [&] { ran = coarse.GetNow(); });
    exact.RunTo(std::chrono::seconds(30));
    EXPECT_NEAR(21'000.0, static_cast<double>(ran.count()) / kMillisecond, 4.0);
}

/// A step that goes on because it has done enough at once is late, and the first again; frames are sent
/// between.
TEST(ManyHosts, WhatWorkPostsWaitsForTheNextTurn) {
    WorkQueue queue;
    int steps = 0;
    std::function<void()> go_on = [&] {
        ++steps;
        queue.PostAfter(Nanoseconds(-kSecond), go_on);
    };
    go_on();
    const orv::il::Time now = get_monotonic_time();
    for (int turns = 1; turns < 4; ++turns) {
        EXPECT_GT(now, queue.next());
        queue.run_due(now, 64);
        EXPECT_EQ(1 + turns, steps);
    }
}

/// Mail ends waits early, however often it comes: no debt is left that the thread would have to wait for.
TEST(ManyHosts, WaitsAreShortAfterAnyNumberOfWakeUps) {
    WakePacer pacer;
    orv::il::Time now = kSecond;
    for (int wakes = 0; wakes < 20; ++wakes) pacer.on_wake(now);
    EXPECT_LE(pacer.get_earliest(), now);  // a few at any time
    for (int wakes = 0; wakes < 5000; ++wakes) pacer.on_wake(now += 1000);
    EXPECT_GT(pacer.get_earliest(), now);
    EXPECT_LE(pacer.get_earliest(), now + kMillisecond / 2);
}

constexpr std::uint8_t kHosts = 40;

/// Hosts that speak IGMPv3 and zap, in a network without packets.
std::unique_ptr<LiveScenario> forty_hosts(std::uint32_t zap_ms) {
    std::vector<orv::live::HostAddress> hosts;
    for (std::uint8_t i = 0; i < kHosts; ++i) hosts.push_back(host_of(i));
    auto live = std::make_unique<LiveScenario>(std::move(hosts), orv::nic::MembershipSettings{});
    live->Speak(iptvcd_1_bll::IgmpVersion::IGMP_VERSION3);
    live->peer.scenario.test.test_duration = 30'000;
    live->peer.scenario.profile.leave_to_leave_delay = zap_ms;
    live->network->is_silent = true;
    live->Start();
    return live;
}

/// For 225.0.0.x, to be answered within a second.
std::vector<std::byte> query_of(std::uint8_t channel) {
    std::vector<std::byte> query = sample_frame("igmp3_group");
    query.erase(query.begin() + 12, query.begin() + 20);  // the tags
    query[39] = std::byte{10};
    for (const std::ptrdiff_t at : {30, 42}) {
        const std::uint8_t group[] = {225, 0, 0, channel};
        std::ranges::copy(std::as_bytes(std::span(group)), query.begin() + at);
    }
    refit_checksums(query);
    return query;
}

/// A query for each channel every 20 ms, to be answered within a second, while hosts zap.
TEST(ManyHosts, ViewersAnswerEachQueryInTimeAndNotMoreOftenThanTheyHaveTo) {
    constexpr int kChannels = 10;
    const auto made = forty_hosts(3'000);
    LiveScenario& live = *made;
    for (int time = 0; time < 29'000; time += 20) {
        for (std::uint8_t channel = 1; channel <= kChannels; ++channel)
            live.network->Deliver(query_of(channel));
        live.RunTo(time + 20);
    }
    struct Host {
        std::string group;
        Nanoseconds told{};
    };
    std::map<int, Host> states;
    int answers = 0;
    for (const auto& sent : live.network->sent) {
        Host& host = states[sent.host.bytes[5]];
        const std::string type = sent.text.substr(0, sent.text.find(' '));
        const std::string group = sent.text.substr(6, sent.text.find(' ', 6) - 6);
        if (type == "IS_EX") {
            EXPECT_EQ(host.group, group);
            ++answers;
        }
        if (!host.group.empty() && group == host.group) {
            EXPECT_LE(sent.time - host.told, std::chrono::milliseconds(1045)) << sent.text;
        }
        if (type != "TO_IN") host = {group, sent.time};
    }
    EXPECT_EQ(std::size_t{kHosts}, states.size());
    // Every half a second on average.
    EXPECT_LT(kHosts * 29, answers);
    EXPECT_GT(kHosts * 29 * 3, answers);
}

/// An older querier makes hosts drop the answer that they were about to give; the device asks again.
TEST(ManyHosts, AllAnswerAgainAfterAChangeOfTheirVersion) {
    const auto live = forty_hosts(60'000);
    live->RunTo(5'000);
    live->network->Deliver(query_of(1));
    live->RunTo(5'010);
    live->network->Deliver(sample_frame("igmp2_general"));
    live->RunTo(5'950);
    live->network->sent.clear();
    live->network->Deliver(query_of(1));
    live->RunTo(7'000);
    std::set<std::uint8_t> answered;
    for (const auto& sent : live->network->sent) answered.insert(sent.host.bytes[5]);
    EXPECT_EQ(std::size_t{kHosts}, answered.size());
}

/// By the kernel's own machine, on a socket that takes any bytes for a frame that comes in.
TEST(ManyHosts, TheKernelPassesWhatSomebodyLooksAt) {
    std::vector<orv::live::IpAddress> scattered{ip("239.129.2.3"), ip("ff3e::8000:1")};
    for (std::uint32_t i = 0; i < 300; ++i)
        scattered.push_back(orv::live::IpAddress::V4(0xe1000000 + i * i * 100));
    const Listening listenings[] = {{},
                                    {.groups = {ip("239.129.2.3"), ip("ff3e::8000:1")}},
                                    {.groups = {ip("239.129.2.2"), ip("239.129.2.4"), ip("ff3e::8000:2")}},
                                    {.groups = scattered, .hears_reports = true}};
    for (const Listening& listening : listenings) {
        std::array<int, 2> ends{};
        ASSERT_EQ(0, ::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0, ends.data()));
        std::vector<sock_filter> filter = MakeFrameFilter(listening);
        const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
        ASSERT_EQ(0, ::setsockopt(ends[1], SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program));
        for (const SampleFrame& sample : sample_frames()) {
            const std::vector<std::byte> frame = sample_frame(sample.name);
            const auto parsed = orv::live::ParseFrame(frame);
            bool is_wanted = true;
            if (std::get_if<orv::live::MembershipReport>(&parsed->content) ||
                std::get_if<orv::live::MembershipLeave>(&parsed->content))
                is_wanted = listening.hears_reports;
            if (const auto* udp = std::get_if<orv::live::UdpPacket>(&parsed->content))
                is_wanted = std::ranges::count(listening.groups, udp->destination) > 0 ||
                            !udp->destination.IsMulticast();
            ::send(ends[0], frame.data(), frame.size(), 0);
            std::array<std::byte, 2000> received;
            EXPECT_EQ(is_wanted, ::recv(ends[1], received.data(), received.size(), 0) > 0) << sample.text;
        }
        ::close(ends[0]);
        ::close(ends[1]);
    }
}

TEST(ManyHosts, FlowsThatNobodyViewsAreTakenBack) {
    const std::array<orv::il::PlannedFilter, 2> filters{};
    std::vector<orv::il::Subscription> subscriptions;
    for (std::uint8_t i = 0; i < 4; ++i)
        subscriptions.push_back({{0, {.v4 = {{225, 0, 0, static_cast<std::uint8_t>(i / 2)}}}}, i % 2u});
    FlowTable flows(filters, subscriptions, Numbering::Rtp);
    const auto other_choice = flows.use(7, 3, 0);
    EXPECT_EQ(1u, other_choice.reception);
    EXPECT_EQ(flows.use(7, 2, 0).flow, other_choice.flow);
    EXPECT_NE(flows.use(8, 2, 0).flow, other_choice.flow);
    Flow* const heard = flows.find_or_make(7, ip("225.0.0.0"), 0);  // that nobody views
    heard->receptions[0].add(3 * kSecond, orv::live::UdpPacket{});
    flows.stop_using(other_choice.flow, 0);
    EXPECT_TRUE(flows.take_back_idle(6 * kSecond));
    EXPECT_EQ(heard, flows.find(7, ip("225.0.0.0")));  // 3 s ago
    EXPECT_EQ(nullptr, flows.find_or_make(7, ip("225.0.0.9"), 0));
    EXPECT_FALSE(flows.take_back_idle(11 * kSecond));
    EXPECT_EQ(nullptr, flows.find(7, ip("225.0.0.0")));
    EXPECT_NE(nullptr, flows.find(7, ip("225.0.0.1")));  // has a second view
    flows.stop_using(other_choice.flow, 12 * kSecond);
    flows.take_back_idle(18 * kSecond);
    EXPECT_EQ(nullptr, flows.find(7, ip("225.0.0.1")));
    EXPECT_NE(nullptr, flows.find(8, ip("225.0.0.1")));
}

}  // namespace
