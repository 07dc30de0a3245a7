// Fault injection.
#include <gtest/gtest.h>

#include "scenario.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::il::Fault;
using orv::tm::Message;
using Kind = Fault::Kind;

TEST(Faults, EndOfTest) {
    struct Case {
        Fault fault;
        std::vector<milliseconds> ends;
    };
    const milliseconds end(10'000);
    const Case cases[] = {{{.kind = Kind::LateEndOfTest, .delay_ms = 250}, {end + milliseconds(250)}},
                          {{.kind = Kind::RepeatEndOfTest}, {end, end}},
                          {{.kind = Kind::MissEndOfTest}, {}},
                          {{.kind = Kind::MissEndOfTest, .occurrence = 2}, {end}}};
    for (const Case& c : cases) {
        Scenario scenario;
        scenario.faults = {c.fault};
        Peer peer(scenario);
        peer.Start();
        peer.RunTo(milliseconds(11'000));
        EXPECT_EQ(c.ends, peer.end_times);
        EXPECT_EQ(10u, peer.events.size());
        // An end that was missed comes with the stop, once.
        for (int times = 0; times < 2; ++times) peer.Stop();
        std::vector<milliseconds> ends = c.ends;
        if (ends.empty()) ends.emplace_back(11'000);
        EXPECT_EQ(ends, peer.end_times);
        // The next test of the port is not affected.
        if (c.fault.occurrence > 1) continue;
        EXPECT_EQ("", peer.FaultOf(peer.StartRequest()));
        peer.RunTo(milliseconds(22'000));
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
    Message profile, again, channels;
    create_req_UpdateProfile(&profile, {scenario.profile}, true);
    create_req_GetProfile(&again, kProfile, true);
    EXPECT_EQ("", peer.FaultOf(std::move(profile)));
    EXPECT_NE("", peer.FaultOf(std::move(again)));  // the second of all
    peer.Configure();
    EXPECT_EQ("iptvcd_1.Start was refused on purpose", peer.FaultOf(peer.StartRequest()));
    EXPECT_EQ("", peer.Ask(peer.StartRequest()).get_request_name());
    EXPECT_EQ("iptvcd_1.Start: a test is running", peer.FaultOf(peer.StartRequest()));
}

TEST(Faults, GoingOffline) {
    struct Case {
        Fault fault;
        std::size_t reports;
    };
    const Case cases[] = {{{.kind = Kind::GoOffline, .occurrence = 3}, 2},
                          {{.kind = Kind::GoOffline, .request = "GetProfile"}, 1}};
    for (const Case& c : cases) {
        Scenario scenario;
        scenario.faults = {c.fault};
        Peer peer(scenario);
        peer.Start();
        peer.RunTo(milliseconds(1500));
        Message get;
        create_req_GetProfile(&get, kProfile, true);
        peer.Ask(std::move(get));
        peer.RunTo(milliseconds(12'000));
        EXPECT_NE("", peer.hang_up_reason);
        EXPECT_EQ(c.reports, peer.reports.size());
        EXPECT_TRUE(peer.end_times.empty());
        EXPECT_EQ("", peer.Ask(peer.StartRequest()).get_request_name());
        EXPECT_EQ(0u, peer.timeline.GetPending());
    }
}

TEST(Faults, SpoiltNotification) {
    Scenario scenario;
    Peer clean(scenario);
    scenario.faults = {{.kind = Kind::SpoilNotification, .occurrence = 2}};
    Peer spoilt(scenario);
    for (Peer* peer : {&clean, &spoilt}) {
        peer->Start();
        peer->RunTo(milliseconds(10'000));
    }
    ASSERT_EQ(clean.sent.size(), spoilt.sent.size());
    std::size_t different = 0;
    for (std::size_t i = 0; i < clean.sent.size(); ++i) different += clean.sent[i] != spoilt.sent[i];
    EXPECT_EQ(1u, different);
    EXPECT_EQ(clean.end_times, spoilt.end_times);
}

}  // namespace
