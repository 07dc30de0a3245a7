// Joins, leaves, answers to queries, and the version that a host speaks.
#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <tuple>

#include "live/sample_frames.h"
#include "live/sent_frames.h"

namespace orv::live {
namespace {

using namespace testing_aids;  // NOLINT: a test
using Version = MembershipVersion;
using Versions = std::vector<Version>;
using namespace std::chrono_literals;

const Versions kFilter = {Version::Igmp3, Version::Mld2}, kOlder = {Version::Igmp2, Version::Mld1},
               kIgmp1 = {Version::Igmp1}, kIgmp2 = {Version::Igmp2}, kIgmp3 = {Version::Igmp3},
               kMld2 = {Version::Mld2}, kNoSources = {Version::Igmp1, Version::Igmp2, Version::Mld1},
               kThatLeave = {Version::Igmp2, Version::Igmp3, Version::Mld1, Version::Mld2};

// What happens one after the other (see play()), and what the host sends until each of the times.
TEST(MembershipTest, HostsSayWhatTheyHaveTo) {
    const struct {
        Versions versions;
        std::uint8_t robustness;
        const char *script, *told;
        bool suppress_reports = false;
    } cases[] = {
        // Changes are told in their own words.
        {kFilter, 1,
         "I a, 1h, I aab, 1h, !I ba, 1h, I bc, 1h, I c, 1h, E a, 1h, I b, 1h, I, 1h, E ab, 1h, E bc, 1h",
         "ALLOW G {a} | ALLOW G {b} | . | ALLOW G {c} BLOCK G {a} | BLOCK G {b} | TO_EX G {a} | TO_IN G {b} "
         "| BLOCK G {b} | TO_EX G {a b} | ALLOW G {a} BLOCK G {c}"},
        {kFilter, 1, "!I, 1h, E, 1h, !E, 1h, -, 1h, I a, 1h, -, 1h, E ba, 1h, -, 1h",
         ". | TO_EX G {} | . | TO_IN G {} | ALLOW G {a} | BLOCK G {a} | TO_EX G {a b} | TO_IN G {}"},
        // Every version joins, repeats and leaves.
        {kIgmp1, 3, "E, !E, 30s, idle, !-, !-, 30s, idle", "report G; report G; report G | ."},
        {kOlder, 3, "E, !E, 30s, idle, -, !-, 30s, idle", "report G; report G; report G | leave G"},
        {kFilter, 3, "E, !E, 3s, idle, -, !-, 3s, idle",
         "TO_EX G {}; TO_EX G {}; TO_EX G {} | TO_IN G {}; TO_IN G {}; TO_IN G {}"},
        {kIgmp2, 2, "E, E H, 0s, leave all, 0s, 1h", "report G; report H | leave G; leave H | ."},
        {kNoSources, 1, "I a, 1h, !E b, 1h", "report G | ."},
        // Repeats of several groups come together, but none earlier because another group has changed.
        {kFilter, 2, "E, settle, -, E H, 0s, 1h, idle", "TO_IN G {}; TO_EX H {} | TO_IN G {} TO_EX H {}"},
        // Changes that follow each other are merged.
        {kFilter, 3, "E, -, 1h, idle", "TO_EX G {}; TO_IN G {}; TO_IN G {}; TO_IN G {}"},
        {kFilter, 3, "I a, -, 1h, idle", "ALLOW G {a}; BLOCK G {a}; BLOCK G {a}; BLOCK G {a}"},
        {kFilter, 3, "I a, I ab, 1h, idle", "ALLOW G {a}; ALLOW G {a b}; ALLOW G {a b}; ALLOW G {b}"},
        {kFilter, 3, "I a, I b, 1h, idle",
         "ALLOW G {a}; ALLOW G {b} BLOCK G {a}; ALLOW G {b} BLOCK G {a}; ALLOW G {b} BLOCK G {a}"},
        {kFilter, 3, "I a, E, 1h, idle", "ALLOW G {a}; TO_EX G {}; TO_EX G {}; TO_EX G {}"},
        // The mode is reported as often as required, and only then the source that was added later.
        {kFilter, 3, "E, E a, 1h, idle", "TO_EX G {}; TO_EX G {a}; TO_EX G {a}; BLOCK G {a}"},
        {kFilter, 3, "E a, -, I b, 1h, idle",
         "TO_EX G {a}; TO_IN G {}; TO_IN G {b}; TO_IN G {b}; ALLOW G {b}"},

        // Older queriers are spoken to in their version, until they have not been heard for a while.
        {kIgmp3, 2, "?2 10s, v2, 259s, v2, 1s, v3", ". | ."},
        {kIgmp3, 2, "?1 10s, v1, 259s, v1, 1s, v3", ". | ."},
        {kIgmp3, 2, "?1 10s, 1s, ?2 10s, v1, 259s, v2, 1s, v3", ". | . | ."},
        {kIgmp2, 2, "?1 10s, v1, 399s, v1, 1s, v2", ". | ."},
        {kIgmp2, 2, "?3 10s, v2", ""},
        {kMld2, 2, "?= 10s, v2, ?x 10s, v2, ?< 10s, v1, 259s, v1, 1s, v2", ". | ."},
        {kIgmp3, 2, "?= 10s, ?x 10s, v3", ""},
        // Only MLD takes a group-specific query for one of an older querier.
        {kIgmp3, 2, "I ab, settle, ?< 1s G, 10s", "IS_IN G {a b}"},
        {kMld2, 2, "I ab, settle, ?< 1s G, 10s", "report G"},
        // A change of version drops what is pending and keeps the sources. At last: a join whose repeats
        // would come after the older querier's time.
        {kFilter, 3,
         "I ab, 0s, ?< 10s, 100s, !I bc, -, I bcd, 100s, !I bc, 184.999s, -, I bc, drop, 60s, idle, ?= 1s, "
         "10s",
         "ALLOW G {a b} | report G | leave G; report G; report G; report G | . | . | IS_IN G {b c}"},
        {kFilter, 3, "I a, ?= 1s G, ?= 2s, drop, ?< 10s, 385s, I ab, 0s", "report G | ALLOW G {b}", true},
        {kFilter, 2, "I a, drop, ?< 10s, -, 1h", "leave G", true},
        {kIgmp2, 2, "?1 10s, 399.999s, E, 10s, -, 0s", ". | report G; report G | leave G"},
        {kIgmp2, 2, "E, settle, ?1 10s, 10s, !-, 1h", "report G | ."},

        // Answers say what was asked.
        {kFilter, 2, "I ab, settle, ?= 2s, 2s, ?= 2s G, 2s, ?= 2s G bc, 2s, ?= 2s G c, 1h, idle",
         "IS_IN G {a b} | IS_IN G {a b} | IS_IN G {b} | ."},
        {kFilter, 2, "E a, settle, ?= 2s, 2s, ?= 2s G, 2s, ?= 2s G ab, 2s, ?= 2s G a, 1h, idle",
         "IS_EX G {a} | IS_EX G {a} | IS_IN G {b} | ."},
        {kThatLeave, 2, "?= 2s, ?= 2s G, 1h, idle", "."},
        {kFilter, 2, "?= 2s G a, 1h, idle", "."},
        {kOlder, 2, "E, settle, ?= 2s, 0s, 2s, 1h, idle", ". | report G | ."},
        {kNoSources, 2, "I a, settle, ?= 10s G, 0s, 10s, 1h, idle", ". | report G | ."},
        {kIgmp3, 2, "E, settle, ?= 1s H, ?x 1s, 1h", "."},
        {kIgmp3, 2, "E, settle, ?= 1s G a, 1h, ?= 1s G b, 1h", "IS_IN G {a} | IS_IN G {b}"},
        // Queries that follow each other share an answer.
        {kFilter, 2, "E a, settle, ?= 0s, ?= 3600s G, 0s, 2h, ?= 3000s, ?= 1s, 1s, 2h",
         "IS_EX G {a} | . | IS_EX G {a} | ."},
        {kFilter, 2, "E a, settle, ?= 3000s G b, ?= 1s G, 1s, 2h, ?= 1s G, ?= 3000s G b, 1s, 2h",
         "IS_EX G {a} | . | IS_EX G {a} | ."},
        {kFilter, 2, "E a, settle, ?= 3000s G ab, ?= 1s G bcd, 1s, 2h", "IS_IN G {b c d} | ."},
        {kOlder, 2, "E, settle, ?= 25s, ?= 1s G, 1s, 2h, ?= 1s G, ?= 25s, 1s, 2h",
         "report G | . | report G | ."},
        // Leaving takes the answer along; one during a join counts as a repeat.
        {kThatLeave, 1, "E, settle, ?= 10s, -, drop, idle, 1h, E, settle, ?= 10s G, -, drop, idle, 1h",
         ". | ."},
        {kIgmp2, 2, "E, ?= 0.1s G, 0.1s, 1h", "report G; report G | ."},
        // Reports of others silence where that is wanted. Repeats are not made up for after an answer; after
        // a report of others nobody tells that it leaves, unless its own was sent.
        {kIgmp2, 3, "E, heard G, 60s, ?= 10s, 60s, ?= 10s, heard H, heard G, 60s, !-, 0s",
         "report G | report G | . | .", true},
        {kIgmp2, 3, "E, heard G, 60s, ?= 10s, 60s, ?= 10s, heard H, heard G, 60s, -, 0s",
         "report G; report G; report G | report G | report G | leave G"},
        {kIgmp2, 3, "E, settle, heard G, -, 0s", "leave G", true},
        {kIgmp3, 2, "E, settle, ?= 10s, heard G, 60s", "IS_EX G {}", true}};
    for (const auto& [versions, robustness, script, told, suppress] : cases)
        for (const Version version : versions) {
            SCOPED_TRACE(script);
            ListeningNetwork network(
                {.version = version, .robustness = robustness, .suppress_reports = suppress});
            EXPECT_EQ(play(network, script), told) << static_cast<int>(version);
        }
}

TEST(MembershipTest, RepeatsComeWithinTheirInterval) {
    for (const Version version :
         {Version::Igmp1, Version::Igmp2, Version::Igmp3, Version::Mld1, Version::Mld2}) {
        ListeningNetwork network({.version = version, .robustness = 3});
        EXPECT_EQ(become(network.host, "E"), 0s);
        network.timeline.RunTo(30s);
        ASSERT_EQ(network.sent.size(), 3U);
        for (std::size_t i = 1; i < 3; ++i) {
            const Nanoseconds gap = network.sent[i].time - network.sent[i - 1].time;
            EXPECT_GT(gap, 0s);
            EXPECT_LE(gap, version == Version::Igmp3 || version == Version::Mld2 ? 1s : 10s);
        }
    }
}

TEST(MembershipTest, QueriesOfNewerQueriersNameTheirInterval) {
    ListeningNetwork network(Version::Igmp3);
    TestQuery own(Version::Igmp3, 10s);
    own.query.query_interval = 20s;
    network.host.OnQuery(own.query);
    EXPECT_EQ(play(network, "?2 10s, 49s, v2, 1s, v3"), ". | .");

    // Older hosts read their maximum response code as a number.
    ListeningNetwork older(Version::Igmp2);
    play(older, "E, settle");
    TestQuery query(Version::Igmp3, 3174400ms);
    query.query.max_response_code = 255;
    older.host.OnQuery(query.query);
    EXPECT_EQ(play(older, "25.5s"), "report G");
}

TEST(MembershipTest, NothingIsSaidOfGroupsThatEverybodyHears) {
    const std::tuple<Version, const char*, bool> cases[] = {
        {Version::Igmp2, "224.0.0.1", false}, {Version::Igmp3, "224.0.0.1", false},
        {Version::Igmp3, "224.0.0.2", true},  {Version::Mld1, "ff02::1", false},
        {Version::Mld2, "ff02::1", false},    {Version::Mld2, "ff01::5", false},
        {Version::Mld2, "ff10::5", false},    {Version::Mld2, "ff02::5", true}};
    for (const auto& [version, group, told] : cases) {
        ListeningNetwork network(version);
        EXPECT_EQ(network.host.Join(ip(group), FilterMode::Exclude).has_value(), told) << group;
        network.host.OnQuery(TestQuery(version, 10s).query);
        network.host.OnQuery(TestQuery(version, 10s, ip(group)).query);
        EXPECT_EQ(!network.run(1min).empty(), told) << group;
        EXPECT_EQ(network.host.Leave(ip(group)).has_value(), told) << group;
    }
}

TEST(MembershipTest, DestroyedHostLeavesNoTimer) {
    FakeTimeline timeline;
    {
        MembershipHost host({{}, ip("192.0.2.10"), {}}, {.version = Version::Igmp3}, timeline, 1,
                            [](auto) {});
        become(host, "E");
        host.OnQuery(TestQuery(Version::Igmp3, 10s).query);
        host.OnQuery(TestQuery(Version::Igmp3, 1s, lettered_address('G', Version::Igmp3)).query);
        EXPECT_GE(timeline.GetPending(), 2U);
    }
    EXPECT_EQ(timeline.GetPending(), 0U);
}

TEST(MembershipTest, WhatDoesNotGoTogetherIsRefused) {
    FakeTimeline timeline;
    const std::pair<const char*, MembershipHost::Settings> cases[] = {
        {"2001:db8::a", {.version = Version::Igmp2}},
        {"192.0.2.10", {.version = Version::Mld2}},
        {"192.0.2.10", {.robustness = 0}},
        {"192.0.2.10", {.mtu = 1501}},
        {"2001:db8::a", {.version = Version::Mld1, .mtu = 1279}}};
    for (const auto& [address, settings] : cases)
        EXPECT_THROW(MembershipHost({{}, ip(address), {}}, settings, timeline, 1, [](auto) {}),
                     std::invalid_argument);
    ListeningNetwork network(Version::Igmp3);
    const std::vector<IpAddress> v6 = {ip("2001:db8::1")};
    EXPECT_THROW(network.host.Join(ip("192.0.2.1"), FilterMode::Exclude), std::invalid_argument);
    EXPECT_THROW(network.host.Join(ip("ff3e::1"), FilterMode::Exclude), std::invalid_argument);
    EXPECT_THROW(network.host.Join(ip("232.1.1.1"), FilterMode::Include, v6), std::invalid_argument);
    EXPECT_EQ(network.run(1h), "");
}

std::vector<IpAddress> many(std::uint32_t first, std::size_t count) {
    std::vector<IpAddress> addresses;
    for (std::uint32_t i = 0; i < count; ++i) addresses.push_back(IpAddress::V4(first + i));
    return addresses;
}

TEST(MembershipTest, ManyGroupsAndSourcesArePackedIntoPackets) {
    // expected: the lengths of the frames that answer
    const std::size_t empty = 14 + 24 + 8;
    const std::tuple<std::size_t, FilterMode, std::size_t, std::vector<std::size_t>> cases[] = {
        {183, FilterMode::Exclude, 0, {empty + 183 * 8}},
        {184, FilterMode::Exclude, 0, {empty + 183 * 8, empty + 8}},
        {3, FilterMode::Include, 200, {empty + 808, empty + 808, empty + 808}},
        {1, FilterMode::Include, 500, {empty + 8 + 365 * 4, empty + 8 + 135 * 4}},
        {1, FilterMode::Exclude, 500, {empty + 8 + 365 * 4}}};
    for (const auto& [groups, mode, sources, expected] : cases) {
        ListeningNetwork network(Version::Igmp3);
        for (const IpAddress& group : many(0xefff0000, groups))
            network.host.Join(group, mode, many(0xc6330000, sources));
        play(network, "settle, ?= 1s");
        network.timeline.RunTo(2min);
        std::vector<std::size_t> lengths;
        for (const auto& frame : network.sent) lengths.push_back(frame.length);
        EXPECT_EQ(lengths, expected) << groups << " groups with " << sources << " sources";
    }
}

TEST(MembershipTest, FloodOfSourcesTakesNoMemoryAndIsAnsweredAsAWhole) {
    ListeningNetwork network(Version::Igmp3);
    play(network, "E a, settle");
    const IpAddress group = lettered_address('G', Version::Igmp3);
    for (std::uint32_t i = 0; i < 10'000; i += 100)
        network.host.OnQuery(TestQuery(Version::Igmp3, 1h, group, many(0x0a000000 + i, 100)).query);
    EXPECT_EQ(play(network, "1h"), "IS_EX G {a}");
}

TEST(MembershipTest, HostsAnswerAtTimesOfTheirOwn) {
    const auto answer_time = [](std::uint64_t seed) {
        ListeningNetwork network(ListeningNetwork::Settings{.version = Version::Igmp3}, seed);
        play(network, "E, settle, ?= 10s");
        network.timeline.RunTo(2min);
        return network.sent.at(0).time - 1min;
    };
    std::set<Nanoseconds> times;
    Nanoseconds sum{};
    for (std::uint64_t seed = 0; seed < 400; ++seed) sum += *times.insert(answer_time(seed)).first;
    EXPECT_EQ(times.size(), 400U);
    EXPECT_GT(*times.begin(), 0s);
    EXPECT_LE(*times.rbegin(), 10s);
    // Evenly spread, the mean is 5 s with a standard deviation of 10 s / sqrt(12 * 400) = 0.14 s.
    EXPECT_NEAR(static_cast<double>((sum / 400).count()), 5e9, 0.6e9);
    EXPECT_EQ(answer_time(7), answer_time(7));
}

}  // namespace
}  // namespace orv::live
