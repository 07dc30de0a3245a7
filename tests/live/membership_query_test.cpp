// Answers to queries: their contents and times, and when there is none.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>
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

/// "*" is a general query, "G" a group-specific one, "G ab" asks about sources as well.
std::unique_ptr<TestQuery> make_query(Version version, Nanoseconds max_response_time,
                                      std::string_view about) {
    if (about == "*") return std::make_unique<TestQuery>(version, max_response_time);
    std::vector<IpAddress> sources;
    if (about.size() > 2) {
        for (const char letter : about.substr(2)) sources.push_back(lettered_address(letter, version));
    }
    return std::make_unique<TestQuery>(version, max_response_time, lettered_address(about[0], version),
                                       sources);
}

void ask(ListeningNetwork& network, Version version, Nanoseconds max_response_time, std::string_view about) {
    network.host.OnQuery(make_query(version, max_response_time, about)->query);
}

TEST(MembershipQueryTest, AnswersSayWhatWasAsked) {
    struct Case {
        std::vector<Version> versions;
        const char* state;
        const char* about;
        const char* text;
    };
    const std::vector<Version> filter = {Version::Igmp3, Version::Mld2};
    const std::vector<Version> older = {Version::Igmp1, Version::Igmp2, Version::Mld1};
    const Case cases[] = {
        {filter, "I ab", "*", "IS_IN G {a b}"},
        {filter, "I ab", "G", "IS_IN G {a b}"},
        {filter, "I ab", "G bc", "IS_IN G {b}"},
        {filter, "I ab", "G c", ""},
        {filter, "E a", "*", "IS_EX G {a}"},
        {filter, "E a", "G", "IS_EX G {a}"},
        {filter, "E a", "G ab", "IS_IN G {b}"},
        {filter, "E a", "G a", ""},
        {filter, "-", "*", ""},
        {filter, "-", "G", ""},
        {filter, "-", "G a", ""},
        {older, "E", "*", "report G"},
        {older, "I a", "G", "report G"},
        {older, "-", "*", ""},
        {older, "-", "G", ""},
    };
    for (const Case& c : cases) {
        for (const Version version : c.versions) {
            ListeningNetwork network(version);
            become(network.host, c.state);
            network.run(1min);
            ask(network, version, 2s, c.about);
            EXPECT_TRUE(network.sent.empty()) << "never at once";
            const Nanoseconds longest = version == Version::Igmp1 ? 10s : 2s;
            EXPECT_EQ(lettered(network.run(longest)), c.text) << c.state << " asked about " << c.about;
            EXPECT_EQ(network.run(1h), "");
            EXPECT_TRUE(network.host.IsIdle());
        }
    }
    ListeningNetwork network(Version::Igmp3);
    become(network.host, "E");
    network.run(1min);
    network.host.OnQuery(TestQuery(Version::Igmp3, 1s, ip("232.1.1.2")).query);
    network.host.OnQuery(TestQuery(Version::Mld2, 1s).query);
    EXPECT_EQ(network.run(1min), "") << "another group, another protocol";
    for (const char* source : {"a", "b"}) {
        ask(network, Version::Igmp3, 1s, std::string("G ") + source);
        EXPECT_EQ(lettered(network.run(1min)), std::string("IS_IN G {") + source + "}")
            << "not of earlier ones";
    }
}

TEST(MembershipQueryTest, QueriesThatFollowEachOtherShareAnAnswer) {
    struct Step {
        Nanoseconds max_response_time;
        const char* about;
    };
    struct Case {
        const char* why;
        std::vector<Version> versions;
        std::vector<Step> steps;
        Nanoseconds longest;  ///< the answer comes until then, and it is the only one
        const char* text;
    };
    const std::vector<Version> filter = {Version::Igmp3, Version::Mld2};
    const std::vector<Version> older = {Version::Igmp2, Version::Mld1};
    const Case cases[] = {
        {"a general answer that comes sooner is enough", filter, {{0s, "*"}, {1h, "G"}}, 0s, "IS_EX G {a}"},
        {"a later general query takes over", filter, {{3000s, "*"}, {1s, "*"}}, 1s, "IS_EX G {a}"},
        {"the group as a whole covers its sources", filter, {{3000s, "G b"}, {1s, "G"}}, 1s, "IS_EX G {a}"},
        {"sources do not narrow the question", filter, {{1s, "G"}, {3000s, "G b"}}, 1s, "IS_EX G {a}"},
        {"sources add up", filter, {{3000s, "G ab"}, {1s, "G bcd"}}, 1s, "IS_IN G {b c d}"},
        {"sooner", older, {{25s, "*"}, {1s, "G"}}, 1s, "report G"},
        {"not later", older, {{1s, "G"}, {25s, "*"}}, 1s, "report G"},
    };
    for (const Case& c : cases) {
        for (const Version version : c.versions) {
            ListeningNetwork network(version);
            become(network.host, "E a");
            network.run(1min);
            for (const Step& step : c.steps) ask(network, version, step.max_response_time, step.about);
            EXPECT_EQ(lettered(network.run(c.longest)), c.text) << c.why;
            EXPECT_EQ(network.run(2h), "") << c.why;
        }
    }
}

TEST(MembershipQueryTest, LeavingTakesTheAnswerAlong) {
    for (const Version version : {Version::Igmp2, Version::Igmp3, Version::Mld1, Version::Mld2}) {
        for (const char* about : {"*", "G"}) {
            ListeningNetwork network({.version = version, .robustness = 1});
            become(network.host, "E");
            network.run(1min);
            ask(network, version, 10s, about);
            become(network.host, "-");
            network.take();
            EXPECT_TRUE(network.host.IsIdle());
            EXPECT_EQ(network.run(1h), "");
        }
    }
}

TEST(MembershipQueryTest, AnswerWhileAJoinIsRepeatedCountsAsARepeat) {
    ListeningNetwork network(Version::Igmp2);
    become(network.host, "E");
    ask(network, Version::Igmp2, 100ms, "G");
    EXPECT_EQ(lettered(network.run(100ms)), "report G; report G");
    EXPECT_EQ(network.run(1h), "");
}

TEST(MembershipQueryTest, OlderHostsReadTheCodeOfNewerQueriesAsANumber) {
    ListeningNetwork network(Version::Igmp2);
    become(network.host, "E");
    network.run(1min);
    TestQuery query(Version::Igmp3, 3174400ms);
    query.query.max_response_code = 255;
    network.host.OnQuery(query.query);
    EXPECT_EQ(lettered(network.run(25500ms)), "report G");
}

TEST(MembershipQueryTest, ReportsOfOthersSilenceWhereThatIsWanted) {
    const IpAddress group = lettered_address('G', Version::Igmp2);
    for (const bool suppress : {false, true}) {
        ListeningNetwork network({.version = Version::Igmp2, .robustness = 3, .suppress_reports = suppress});
        become(network.host, "E");
        network.host.OnReport(group);
        EXPECT_EQ(lettered(network.run(1min)), suppress ? "report G" : "report G; report G; report G");
        // The repeats are not made up for after the answer to a query.
        ask(network, Version::Igmp2, 10s, "*");
        EXPECT_EQ(lettered(network.run(1min)), "report G");
        ask(network, Version::Igmp2, 10s, "*");
        network.host.OnReport(ip("239.9.9.9"));
        network.host.OnReport(group);
        EXPECT_EQ(lettered(network.run(1min)), suppress ? "" : "report G");
        become(network.host, "-");
        EXPECT_EQ(lettered(network.take()), suppress ? "" : "leave G") << "somebody else is still there";

        become(network.host, "E");
        network.run(1min);
        network.host.OnReport(
            group);  // not while one of ours is pending: ours was not the last, but it was sent
        become(network.host, "-");
        EXPECT_EQ(lettered(network.take()), "leave G");
    }
    ListeningNetwork network({.version = Version::Igmp3, .suppress_reports = true});
    become(network.host, "E");
    network.run(1min);
    ask(network, Version::Igmp3, 10s, "*");
    network.host.OnReport(group);
    EXPECT_EQ(lettered(network.run(1min)), "IS_EX G {}") << "IGMPv3 reports are not suppressed";
}

TEST(MembershipQueryTest, ManyGroupsAndSourcesArePackedIntoPackets) {
    const auto many = [](std::uint32_t first, std::uint32_t count) {
        std::vector<IpAddress> addresses;
        for (std::uint32_t i = 0; i < count; ++i) addresses.push_back(IpAddress::V4(first + i));
        return addresses;
    };
    struct Case {
        std::size_t groups;
        FilterMode mode;
        std::size_t sources;
        std::vector<std::size_t> lengths;  ///< of the frames that answer
    };
    const std::size_t empty = 14 + 24 + 8;
    const Case cases[] = {
        {183, FilterMode::Exclude, 0, {empty + 183 * 8}},
        {184, FilterMode::Exclude, 0, {empty + 183 * 8, empty + 8}},
        {3, FilterMode::Include, 200, {empty + 808, empty + 808, empty + 808}},
        {1, FilterMode::Include, 500, {empty + 8 + 365 * 4, empty + 8 + 135 * 4}},
        {1, FilterMode::Exclude, 500, {empty + 8 + 365 * 4}},
    };
    for (const Case& c : cases) {
        ListeningNetwork network(Version::Igmp3);
        for (const IpAddress& group : many(0xefff0000, static_cast<std::uint32_t>(c.groups))) {
            network.host.Join(group, c.mode, many(0xc6330000, static_cast<std::uint32_t>(c.sources)));
        }
        network.run(1min);
        ask(network, Version::Igmp3, 1s, "*");
        network.timeline.RunTo(2min);
        std::vector<std::size_t> lengths;
        for (const auto& frame : network.sent) lengths.push_back(frame.length);
        EXPECT_EQ(lengths, c.lengths) << c.groups << " groups with " << c.sources << " sources";
    }
}

TEST(MembershipQueryTest, FloodOfSourcesTakesNoMemoryAndIsAnsweredAsAWhole) {
    ListeningNetwork network(Version::Igmp3);
    become(network.host, "E a");
    network.run(1min);
    for (std::uint32_t i = 0; i < 10'000; i += 100) {
        std::vector<IpAddress> sources;
        for (std::uint32_t k = 0; k < 100; ++k) sources.push_back(IpAddress::V4(0x0a000000 + i + k));
        network.host.OnQuery(
            TestQuery(Version::Igmp3, 1h, lettered_address('G', Version::Igmp3), sources).query);
    }
    EXPECT_EQ(lettered(network.run(1h)), "IS_EX G {a}");
}

TEST(MembershipQueryTest, HostsAnswerAtTimesOfTheirOwn) {
    const auto answer_time = [](std::uint64_t seed) {
        ListeningNetwork network(ListeningNetwork::Settings{.version = Version::Igmp3}, seed);
        become(network.host, "E");
        network.run(1min);
        ask(network, Version::Igmp3, 10s, "*");
        network.timeline.RunTo(2min);
        return network.sent.at(0).time - 1min;
    };
    std::set<Nanoseconds> times;
    Nanoseconds sum{};
    for (std::uint64_t seed = 0; seed < 400; ++seed) {
        const Nanoseconds time = answer_time(seed);
        times.insert(time);
        sum += time;
    }
    EXPECT_EQ(times.size(), 400U);
    EXPECT_GT(*times.begin(), 0s);
    EXPECT_LE(*times.rbegin(), 10s);
    // Evenly spread, the mean is 5 s with a standard deviation of 10 s / sqrt(12 * 400) = 0.14 s.
    EXPECT_NEAR(static_cast<double>((sum / 400).count()), 5e9, 0.6e9);
    EXPECT_EQ(answer_time(7), answer_time(7));
}

}  // namespace
}  // namespace orv::live
