// Joins, leaves, and the version that reports them.
#include "orv/live/membership_host.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "live/sample_frames.h"
#include "live/sent_frames.h"

namespace orv::live {
namespace {

using testing_aids::become;
using testing_aids::ip;
using testing_aids::lettered;
using testing_aids::lettered_address;
using testing_aids::ListeningNetwork;
using testing_aids::TestQuery;
using Version = MembershipVersion;
using namespace std::chrono_literals;

constexpr Version kFilterVersions[] = {Version::Igmp3, Version::Mld2};

TEST(MembershipHostTest, ChangesAreToldInTheirOwnWords) {
    struct Case {
        const char* before;
        const char* after;
        const char* text;
    };
    const Case cases[] = {
        {"-", "I a", "ALLOW G {a}"},
        {"-", "E", "TO_EX G {}"},
        {"-", "E ba", "TO_EX G {a b}"},
        {"-", "I", ""},
        {"I ab", "I bc", "ALLOW G {c} BLOCK G {a}"},
        {"I a", "I aab", "ALLOW G {b}"},
        {"I ab", "I b", "BLOCK G {a}"},
        {"I ab", "I ba", ""},
        {"I a", "E b", "TO_EX G {b}"},
        {"I a", "-", "BLOCK G {a}"},
        {"I a", "I", "BLOCK G {a}"},
        {"E ab", "E bc", "ALLOW G {a} BLOCK G {c}"},
        {"E b", "I a", "TO_IN G {a}"},
        {"E", "E", ""},
        {"E a", "-", "TO_IN G {}"},
    };
    for (const Version version : kFilterVersions) {
        for (const Case& c : cases) {
            ListeningNetwork network({.version = version, .robustness = 1});
            become(network.host, c.before);
            network.run(1ms);
            const auto told = become(network.host, c.after);
            EXPECT_EQ(told.has_value(), *c.text != '\0') << c.before << " to " << c.after;
            if (told) {
                EXPECT_EQ(*told, 1ms);
            }
            EXPECT_EQ(lettered(network.run(1h)), c.text) << c.before << " to " << c.after;
        }
    }
}

TEST(MembershipHostTest, ChangesThatFollowEachOtherAreMerged) {
    struct Case {
        std::vector<const char*> states;
        const char* text;
    };
    const Case cases[] = {
        {{"E", "-"}, "TO_EX G {}; TO_IN G {}; TO_IN G {}; TO_IN G {}"},
        {{"I a", "-"}, "ALLOW G {a}; BLOCK G {a}; BLOCK G {a}; BLOCK G {a}"},
        {{"I a", "I ab"}, "ALLOW G {a}; ALLOW G {a b}; ALLOW G {a b}; ALLOW G {b}"},
        {{"I a", "I b"},
         "ALLOW G {a}; ALLOW G {b} BLOCK G {a}; ALLOW G {b} BLOCK G {a}; ALLOW G {b} BLOCK G {a}"},
        {{"I a", "E"}, "ALLOW G {a}; TO_EX G {}; TO_EX G {}; TO_EX G {}"},
        // The mode is reported as often as required, and only then the source that was added later.
        {{"E", "E a"}, "TO_EX G {}; TO_EX G {a}; TO_EX G {a}; BLOCK G {a}"},
        {{"E a", "-", "I b"}, "TO_EX G {a}; TO_IN G {}; TO_IN G {b}; TO_IN G {b}; ALLOW G {b}"},
    };
    for (const Version version : kFilterVersions) {
        for (const Case& c : cases) {
            ListeningNetwork network({.version = version, .robustness = 3});
            for (const char* state : c.states) become(network.host, state);
            EXPECT_EQ(lettered(network.run(1h)), c.text);
            EXPECT_TRUE(network.host.IsIdle());
        }
    }
}

TEST(MembershipHostTest, EveryVersionJoinsRepeatsAndLeaves) {
    struct Case {
        Version version;
        Nanoseconds interval;
        const char* join;
        const char* leave;
    };
    const Case cases[] = {
        {Version::Igmp1, 10s, "report G; report G; report G", ""},
        {Version::Igmp2, 10s, "report G; report G; report G", "leave G"},
        {Version::Igmp3, 1s, "TO_EX G {}; TO_EX G {}; TO_EX G {}", "TO_IN G {}; TO_IN G {}; TO_IN G {}"},
        {Version::Mld1, 10s, "report G; report G; report G", "leave G"},
        {Version::Mld2, 1s, "TO_EX G {}; TO_EX G {}; TO_EX G {}", "TO_IN G {}; TO_IN G {}; TO_IN G {}"},
    };
    for (const Case& c : cases) {
        ListeningNetwork network({.version = c.version, .robustness = 3});
        MembershipHost& host = network.host;
        EXPECT_EQ(become(host, "E"), 0s);
        EXPECT_EQ(become(host, "E"), std::nullopt) << "nothing new";
        network.timeline.RunTo(30s);
        ASSERT_EQ(network.sent.size(), 3U);
        for (std::size_t i = 1; i < 3; ++i) {
            const Nanoseconds gap = network.sent[i].time - network.sent[i - 1].time;
            EXPECT_GT(gap, 0s);
            EXPECT_LE(gap, c.interval);
        }
        EXPECT_EQ(lettered(network.take()), c.join);
        EXPECT_EQ(network.timeline.GetPending(), 0U) << "an idle host needs no timer";

        EXPECT_EQ(become(host, "-").has_value(), *c.leave != '\0');
        EXPECT_EQ(become(host, "-"), std::nullopt) << "nothing left to leave";
        EXPECT_EQ(lettered(network.run(30s)), c.leave);
        EXPECT_EQ(network.timeline.GetPending(), 0U);
    }
}

TEST(MembershipHostTest, LeavingEndsTheRepeatsOfTheJoin) {
    ListeningNetwork network(Version::Igmp2);
    become(network.host, "E");
    network.host.Join(ip("239.1.1.2"), FilterMode::Exclude);
    network.take();
    network.host.LeaveAll();
    EXPECT_EQ(lettered(network.take()), "leave G; leave 239.1.1.2");
    EXPECT_EQ(network.run(1h), "");
}

TEST(MembershipHostTest, SourceChangesAreSilentInVersionsWithoutSources) {
    for (const Version version : {Version::Igmp1, Version::Igmp2, Version::Mld1}) {
        ListeningNetwork network(version);
        EXPECT_TRUE(become(network.host, "I a"));
        network.run(1h);
        EXPECT_FALSE(become(network.host, "E b"));
        EXPECT_EQ(network.run(1h), "");
    }
}

TEST(MembershipHostTest, OlderQueriersAreSpokenToInTheirVersion) {
    struct Case {
        Version own;
        std::vector<Version> queries;  ///< general ones, a second apart
        std::vector<std::pair<Nanoseconds, Version>> spoken;
    };
    const Case cases[] = {
        {Version::Igmp3,
         {Version::Igmp2},
         {{0s, Version::Igmp2}, {259s, Version::Igmp2}, {260s, Version::Igmp3}}},
        {Version::Igmp3,
         {Version::Igmp1},
         {{0s, Version::Igmp1}, {259s, Version::Igmp1}, {260s, Version::Igmp3}}},
        {Version::Igmp3,
         {Version::Igmp1, Version::Igmp2},
         {{1s, Version::Igmp1}, {260s, Version::Igmp2}, {261s, Version::Igmp3}}},
        {Version::Igmp3, {Version::Igmp3}, {{0s, Version::Igmp3}}},
        {Version::Igmp2,
         {Version::Igmp1},
         {{0s, Version::Igmp1}, {399s, Version::Igmp1}, {400s, Version::Igmp2}}},
        {Version::Igmp2, {Version::Igmp3}, {{0s, Version::Igmp2}}},
        {Version::Mld2, {Version::Mld1}, {{0s, Version::Mld1}, {259s, Version::Mld1}, {260s, Version::Mld2}}},
        {Version::Mld2, {Version::Igmp2}, {{0s, Version::Mld2}}},
    };
    for (const Case& c : cases) {
        ListeningNetwork network(c.own);
        for (std::size_t i = 0; i < c.queries.size(); ++i) {
            network.timeline.RunTo(i * 1s);
            network.host.OnQuery(TestQuery(c.queries[i], 10s).query);
        }
        for (const auto& [time, version] : c.spoken) {
            network.timeline.RunTo(time);
            EXPECT_EQ(network.host.GetVersion(), version) << time.count() << " ns after the first query";
        }
    }
}

TEST(MembershipHostTest, TimeoutFollowsTheQueryIntervalThatQueriersName) {
    ListeningNetwork network(Version::Igmp3);
    TestQuery own(Version::Igmp3, 10s);
    own.query.query_interval = 20s;
    network.host.OnQuery(own.query);
    network.host.OnQuery(TestQuery(Version::Igmp2, 10s).query);
    network.timeline.RunTo(49s);
    EXPECT_EQ(network.host.GetVersion(), Version::Igmp2);
    network.timeline.RunTo(50s);
    EXPECT_EQ(network.host.GetVersion(), Version::Igmp3);
}

TEST(MembershipHostTest, OnlyMldTakesAGroupSpecificQueryForAnOlderQuerier) {
    for (const auto& [own, older] :
         {std::pair(Version::Igmp3, Version::Igmp2), std::pair(Version::Mld2, Version::Mld1)}) {
        ListeningNetwork network(own);
        become(network.host, "I ab");
        network.run(10s);
        network.host.OnQuery(TestQuery(older, 1s, lettered_address('G', own)).query);
        EXPECT_EQ(lettered(network.run(10s)), IsMld(own) ? "report G" : "IS_IN G {a b}");
    }
}

TEST(MembershipHostTest, ChangeOfVersionDropsWhatIsPendingAndKeepsSources) {
    struct Case {
        Version own;
        Version older;
    };
    for (const Case& c : {Case{Version::Igmp3, Version::Igmp2}, Case{Version::Mld2, Version::Mld1}}) {
        ListeningNetwork network({.version = c.own, .robustness = 3});
        MembershipHost& host = network.host;
        become(host, "I ab");
        EXPECT_EQ(lettered(network.take()), "ALLOW G {a b}");
        host.OnQuery(TestQuery(c.older, 10s).query);
        EXPECT_EQ(lettered(network.run(100s)), "report G") << "the answer to the query, and no repeat";
        EXPECT_FALSE(become(host, "I bc"));
        EXPECT_TRUE(become(host, "-"));
        EXPECT_TRUE(become(host, "I bcd"));
        EXPECT_EQ(lettered(network.run(100s)), "leave G; report G; report G; report G");
        EXPECT_FALSE(become(host, "I bc"));

        // A join whose repeats would come after the older querier's time.
        network.run(385s - 200s - 1ms);
        host.Leave(lettered_address('G', c.own));
        become(host, "I bc");
        network.take();
        EXPECT_EQ(network.run(60s), "");
        EXPECT_TRUE(host.IsIdle());
        TestQuery again(c.own, 1s);
        host.OnQuery(again.query);
        EXPECT_EQ(lettered(network.run(10s)), "IS_IN G {b c}");
    }
}

TEST(MembershipHostTest, NothingPendingOutlivesAChangeOfVersion) {
    for (const auto& [own, older] :
         {std::pair(Version::Igmp3, Version::Igmp2), std::pair(Version::Mld2, Version::Mld1)}) {
        ListeningNetwork network({.version = own, .robustness = 3, .suppress_reports = true});
        MembershipHost& host = network.host;
        const IpAddress group = lettered_address('G', own);
        become(host, "I a");
        host.OnQuery(TestQuery(own, 1s, group).query);
        host.OnQuery(TestQuery(own, 2s).query);
        network.take();
        host.OnQuery(TestQuery(older, 10s).query);
        EXPECT_EQ(lettered(network.run(385s)), "report G");
        become(host, "I ab");
        EXPECT_EQ(lettered(network.take()), "ALLOW G {b}")
            << "the source that was told before is told no more";

        ListeningNetwork another({.version = own, .suppress_reports = true});
        become(another.host, "I a");
        another.take();
        another.host.OnQuery(TestQuery(older, 10s).query);
        become(another.host, "-");
        EXPECT_EQ(lettered(another.run(1h)), "leave G") << "though it has not reported in this version yet";
    }
}

TEST(MembershipHostTest, Version2HostGoesOnWithItsRepeatsWhenAVersion1RouterIsGone) {
    ListeningNetwork network(Version::Igmp2);
    network.host.OnQuery(TestQuery(Version::Igmp1, 10s).query);
    network.run(400s - 1ms);
    become(network.host, "E");
    EXPECT_EQ(lettered(network.run(10s)), "report G; report G");
    EXPECT_TRUE(become(network.host, "-"));
}

TEST(MembershipHostTest, Version1RouterSilencesLeaves) {
    ListeningNetwork network(Version::Igmp2);
    become(network.host, "E");
    network.run(1min);
    network.host.OnQuery(TestQuery(Version::Igmp1, 10s).query);
    EXPECT_EQ(lettered(network.run(10s)), "report G");
    EXPECT_FALSE(become(network.host, "-"));
    EXPECT_EQ(network.run(1h), "");
}

TEST(MembershipHostTest, NothingIsSaidOfGroupsThatEverybodyHears) {
    struct Case {
        Version version;
        const char* group;
        bool told;
    };
    const Case cases[] = {
        {Version::Igmp2, "224.0.0.1", false}, {Version::Igmp3, "224.0.0.1", false},
        {Version::Igmp3, "224.0.0.2", true},  {Version::Mld1, "ff02::1", false},
        {Version::Mld2, "ff02::1", false},    {Version::Mld2, "ff01::5", false},
        {Version::Mld2, "ff10::5", false},    {Version::Mld2, "ff02::5", true},
    };
    for (const Case& c : cases) {
        ListeningNetwork network(c.version);
        EXPECT_EQ(network.host.Join(ip(c.group), FilterMode::Exclude).has_value(), c.told) << c.group;
        network.host.OnQuery(TestQuery(c.version, 10s).query);
        network.host.OnQuery(TestQuery(c.version, 10s, ip(c.group)).query);
        EXPECT_EQ(!network.run(1min).empty(), c.told) << c.group;
        EXPECT_EQ(network.host.Leave(ip(c.group)).has_value(), c.told) << c.group;
    }
}

TEST(MembershipHostTest, DestroyedHostLeavesNoTimer) {
    testing_aids::FakeTimeline timeline;
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

TEST(MembershipHostTest, WhatDoesNotGoTogetherIsRefused) {
    testing_aids::FakeTimeline timeline;
    const auto make = [&](const char* address, const MembershipHost::Settings& settings) {
        MembershipHost host({{}, ip(address), {}}, settings, timeline, 1, [](auto) {});
    };
    EXPECT_THROW(make("2001:db8::a", {.version = Version::Igmp2}), std::invalid_argument);
    EXPECT_THROW(make("192.0.2.10", {.version = Version::Mld2}), std::invalid_argument);
    EXPECT_THROW(make("192.0.2.10", {.robustness = 0}), std::invalid_argument);
    EXPECT_THROW(make("192.0.2.10", {.mtu = 1501}), std::invalid_argument);
    EXPECT_THROW(make("2001:db8::a", {.version = Version::Mld1, .mtu = 1279}), std::invalid_argument);

    ListeningNetwork network(Version::Igmp3);
    const std::vector<IpAddress> v6 = {ip("2001:db8::1")};
    EXPECT_THROW(network.host.Join(ip("192.0.2.1"), FilterMode::Exclude), std::invalid_argument);
    EXPECT_THROW(network.host.Join(ip("ff3e::1"), FilterMode::Exclude), std::invalid_argument);
    EXPECT_THROW(network.host.Join(ip("232.1.1.1"), FilterMode::Include, v6), std::invalid_argument);
    EXPECT_EQ(network.run(1h), "");
}

}  // namespace
}  // namespace orv::live
