// Fault injection.
#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::Fault;
using Kind = Fault::Kind;

TEST(Faults, EndOfTest) {
    const std::pair<Fault, std::vector<int>> cases[] = {
        {{.kind = Kind::LateEndOfTest, .delay_ms = 250}, {10'250}},
        {{.kind = Kind::RepeatEndOfTest}, {10'000, 10'000}},
        {{.kind = Kind::MissEndOfTest}, {}},
        {{.kind = Kind::MissEndOfTest, .occurrence = 2}, {10'000}}};
    for (auto [fault, ends] : cases) {
        Scenario scenario;
        scenario.faults = {fault};
        Peer peer(scenario);
        peer.Start();
        peer.RunTo(11'000);
        EXPECT_EQ(ends, peer.end_times);
        EXPECT_EQ(10u, peer.events.size());
        // An end that was missed comes with the stop, once.
        for (int times = 0; times < 2; ++times) peer.Stop();
        if (ends.empty()) ends.emplace_back(11'000);
        EXPECT_EQ(ends, peer.end_times);
        // The next test of the port is not affected.
        if (fault.occurrence > 1) continue;
        EXPECT_EQ("", peer.StartAgain());
        peer.RunTo(22'000);
        EXPECT_EQ(ends.size() + 1, peer.end_times.size());
        peer.port.reset();
        EXPECT_EQ(0, peer.timeline.GetVainCancels()) << "an end that has been told is kept";
    }
}

TEST(Faults, Requests) {
    Scenario scenario;
    scenario.faults = {{.kind = Kind::Refuse, .request = "Start"},
                       {.kind = Kind::LoseResponse, .request = "Start", .occurrence = 2},
                       {.kind = Kind::Refuse, .occurrence = 2}};
    Peer peer(scenario);
    EXPECT_EQ("", peer.FaultOf(create_req_UpdateProfile, std::vector{scenario.profile}, true));
    EXPECT_NE("", peer.FaultOf(create_req_GetProfile, kProfile, true));  // the second of all
    peer.Configure();
    EXPECT_EQ("iptvcd_1.Start was refused on purpose", peer.StartAgain());
    EXPECT_EQ("", peer.Ask(peer.StartRequest()).get_request_name());
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.StartAgain());
}

TEST(Faults, GoingOffline) {
    const std::pair<Fault, std::size_t> cases[] = {{{.kind = Kind::GoOffline, .occurrence = 3}, 2},
                                                   {{.kind = Kind::GoOffline, .request = "GetProfile"}, 1}};
    for (const auto& [fault, reports] : cases) {
        Scenario scenario;
        scenario.faults = {fault};
        Peer peer(scenario);
        peer.Start();
        peer.RunTo(1500);
        peer.Ask(Make(create_req_GetProfile, kProfile, true));
        peer.RunTo(12'000);
        EXPECT_NE("", peer.hang_up_reason);
        EXPECT_EQ(reports, peer.reports.size());
        EXPECT_TRUE(peer.end_times.empty());
        EXPECT_EQ("", peer.Ask(peer.StartRequest()).get_request_name());
        EXPECT_EQ(0u, peer.timeline.GetPending());
    }
}

TEST(Faults, SpoiltNotification) {
    Scenario scenario, spoiling;
    spoiling.faults = {{.kind = Kind::SpoilNotification, .occurrence = 2}};
    Peer clean(scenario), spoilt(spoiling);
    for (Peer* peer : {&clean, &spoilt}) {
        peer->Start();
        peer->RunTo(10'000);
    }
    ASSERT_EQ(clean.sent.size(), spoilt.sent.size());
    std::size_t different = 0;
    for (std::size_t i = 0; i < clean.sent.size(); ++i) different += clean.sent[i] != spoilt.sent[i];
    EXPECT_EQ(1u, different);
    EXPECT_EQ(clean.end_times, spoilt.end_times);
}

}  // namespace
