// Fast channel change and retransmission with a server that the test knows. Packets are 2 ms apart; a message
// is on the wire after 20 microseconds, and answered 5 ms later.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "emulated_server.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

struct UnicastTest : UnicastScenario {
    using UnicastScenario::UnicastScenario;

    std::string Nacks() const {
        std::string told;
        for (const auto& nack : live.peer.rrr_events)
            told += fmt::format("{}:{}{}{} ", nack.nack_rtp_seq_number,
                                Between(nack.last_retrans_rtp_pkt_rx_ts, nack.nack_pkt_tx_ts),
                                nack.flagged_retrans ? " slow" : "", nack.retrans_fail ? " failed" : "");
        return told;
    }

    /// During the first view.
    std::string Heard() const {
        std::string told;
        for (const std::string& message : server.heard)
            if (std::stoi(message) < 2'000) told += (told.empty() ? "" : ", ") + message;
        return told;
    }
    std::string Viewed() const {
        std::string told = Told(live.peer.events);
        const auto& first = live.peer.events.at(0);
        if (first.lost_unicast_packets > 0)
            told += fmt::format("; {} of burst lost", first.lost_unicast_packets);
        if (first.reordered_unicast_packets + first.duplicate_unicast_packets + first.late_unicast_packets +
                first.unicast_prbs_errors >
            0)
            told += "; burst out of order";
        return told;
    }
};

using Change = std::function<void(UnicastTest&)>;

TEST(LiveUnicast, ABurstBridgesTheTimeUntilMulticast) {
    const Change with_sbit = [](UnicastTest& unicast) {
        unicast.live.peer.scenario.test.mcast_join_trigger = MulticastJoinTriggerType::SBIT_AND_DELAY;
        unicast.live.peer.scenario.test.unicast_leave_trigger =
            UnicastLeaveTriggerType::MULTICAST_PKT_AND_DELAY;
        unicast.live.peer.scenario.profile.unicast_leave_trigger_delay = 10;
        unicast.live.peer.scenario.profile.mcast_join_trigger_delay = 20;
        unicast.live.peer.scenario.test.max_sbit_delay = 400;
    };
    struct Case {
        std::string name;
        std::vector<Change> changes;
        std::string told, heard, complaint;
    };
    const Case cases[] = {
        {"by delays",
         {},
         "3 x 0 5-203 205-299 300.02; 0.02 37.96-1011.96 900, 488 packets, overlap 130",
         "1000 RAMS-R e1000001 min 150, 1300 RAMS-T e1000001 519",
         ""},
        {"by packets",
         {with_sbit},
         "3 x 0 5-203 205-273 273.98; 225.02 263.96-1011.96 900, 375 packets, overlap 4",
         "1000 RAMS-R e1000001 min 150, 1274 RAMS-T e1000001 632",
         ""},
        {"join time instead of the S-bit",
         {with_sbit, [](auto& u) { u.server.has_sbit = false, u.server.tells_join_time = true; }},
         "3 x 0 5-203 205-273 273.98; 225.02 263.96-1011.96 900, 375 packets, overlap 4",
         "1000 RAMS-R e1000001 min 150, 1274 RAMS-T e1000001 632",
         ""},
        {"neither",
         {with_sbit, [](auto& u) { u.server.has_sbit = false; }},
         "3 x 0 5-473 - 473.98; 425.02 463.96-1011.96 900, 275 packets, overlap 4, no S-bit",
         "1000 RAMS-R e1000001 min 150, 1474 RAMS-T e1000001 732",
         "the server 10.0.9.9:5000 has sent 1 STB no S-bit, which is to trigger the multicast join, "
         "first of STB 1 of STB block 3"},
        {"neither, and no bound",
         {with_sbit,
          [](auto& u) { u.server.has_sbit = false, u.live.peer.scenario.test.max_sbit_delay = 0; }},
         "3 x 0 5-899 - 900;  - , 0 packets, no S-bit",
         "1000 RAMS-R e1000001 min 150, 1900 RAMS-T e1000001",
         "the server 10.0.9.9:5000 has sent 1 STB no S-bit, which is to trigger the multicast join, "
         "first of STB 1 of STB block 3"},
        {"S-bit too late",
         {with_sbit, [](auto& u) { u.server.sbit_after = milliseconds(450); }},
         "3 x 0 5-453 455-473 473.98; 425.02 463.96-1011.96 900, 275 packets, overlap 4, no S-bit",
         "1000 RAMS-R e1000001 min 150, 1474 RAMS-T e1000001 732",
         ""},
        {"S-bit too early",
         {with_sbit, [](auto& u) { u.live.peer.scenario.test.min_sbit_delay = 250; }},
         "3 x 0 5-203 205-273 273.98; 225.02 263.96-1011.96 900, 375 packets, overlap 4, no S-bit",
         "1000 RAMS-R e1000001 min 150, 1274 RAMS-T e1000001 632",
         ""},
        {"slow",
         {with_sbit, [](auto& u) { u.server.burst_gap = milliseconds(3); }},
         "3 x 0 5-203 206-692 273.98; 226.02 263.96-1011.96 900, 375 packets",
         "1000 RAMS-R e1000001 min 150, 1274 RAMS-T e1000001 632",
         ""},
        {"late",
         {with_sbit, [](auto& u) { u.server.way = milliseconds(250); }},
         "3 x 0 250-449 451-519 519.98; 471.02 509.96-1011.96 900, 252 packets, overlap 4",
         "1000 RAMS-R e1000001 min 150, 1100 RAMS-R e1000001 min 150, 1520 RAMS-T e1000001 755",
         ""},
        {"answers the third request",
         {[](auto& u) { u.server.silent_requests = 2; }},
         "0 305-501 - 300.02; 0.02 37.96-1011.96 900, 488 packets, overlap 230 / 2 x 0 5-203 205-299 300.02; "
         "0.02 37.96-1011.96 900, 488 packets, overlap 130",
         "1000 RAMS-R e1000001 min 150, 1100 RAMS-R e1000001 min 150, 1300 RAMS-R e1000001 min 150, 1300 "
         "RAMS-T e1000001 519, 1501 RAMS-T e1000001 519",
         ""},
        {"silent",
         {with_sbit, [](auto& u) { u.server.silent_requests = 100; }},
         "3 x 0 - - 467.98; 420.02 457.96-1011.96 900, 278 packets",
         "1000 RAMS-R e1000001 min 150, 1100 RAMS-R e1000001 min 150, 1300 RAMS-R e1000001 min 150, 1468 "
         "RAMS-T e1000001 729",
         "the server 10.0.9.9:5000 has not answered 3 requests for bursts, first of STB 1 of STB block 3"},
        {"accepts and sends nothing",
         {with_sbit, [](auto& u) { u.server.sends_packets = false; }},
         "3 x 0 - - 467.98; 420.02 457.96-1011.96 900, 278 packets",
         "1000 RAMS-R e1000001 min 150, 1468 RAMS-T e1000001 729",
         "the server 10.0.9.9:5000 has accepted 3 requests for bursts and sent no packet, first of STB 1 of "
         "STB block 3"},
        {"refuses",
         {with_sbit, [](auto& u) { u.server.response = 503; }},
         "3 x 0 - - 53.96; 5.02 43.96-1011.96 900, 485 packets",
         "1000 RAMS-R e1000001 min 150",
         "the server 10.0.9.9:5000 has refused 3 requests for bursts with response 503 (the server has not "
         "enough processor time), first of STB 1 of STB block 3"},
        {"unknown response",
         {with_sbit, [](auto& u) { u.server.response = 299; }},
         "3 x 0 - - 53.96; 5.02 43.96-1011.96 900, 485 packets",
         "1000 RAMS-R e1000001 min 150, 1005 RAMS-T e1000001",
         "the server 10.0.9.9:5000 has refused 3 requests for bursts with response 299 (an unknown "
         "response), first of STB 1 of STB block 3"},
        {"loses packets",
         {[](auto& u) {
             for (int n = 0; n < 3000; n += 10) u.server.lost.insert(static_cast<std::uint16_t>(n));
         }},
         "3 x 0 5-202 205-299 300.02; 0.02 37.96-1011.96 900, 488 packets, overlap 130; 24 of burst lost",
         "1000 RAMS-R e1000001 min 150, 1300 RAMS-T e1000001 519",
         ""},
        {"sends on",
         {[](auto& u) { u.server.sends_on = true; }},
         "2 x 0 5-203 205-1899 300.02; 0.02 37.96-1011.96 900, 488 packets, overlap 930 / 0 5-203 205-2349 "
         "300.02; 0.02 37.96-1011.96 900, 488 packets, overlap 1155",
         "1000 RAMS-R e1000001 min 150, 1300 RAMS-T e1000001 519, 1501 RAMS-T e1000001 519, 1701 RAMS-T "
         "e1000001 519",
         "the server 10.0.9.9:5000 went on sending 3 bursts after it was asked three times for the end, "
         "first of STB 1 of STB block 3"},
        {"wrong numbers",
         {[](auto& u) { u.server.osn_error = 3; }},
         "3 x 0 5-203 205-299 300.02; 0.02 37.96-1011.96 900, 488 packets, overlap 133",
         "1000 RAMS-R e1000001 min 150, 1300 RAMS-T e1000001 519",
         "the server 10.0.9.9:5000 has sent 741 packets whose original sequence numbers are not those of the "
         "stream, first of STB 1 of STB block 3"},
        {"unicast only",
         {with_sbit, [](auto& u) { u.live.peer.scenario.profile.unicast_only = true; }},
         "3 x 0 5-203 205-899 900;  - , 0 packets",
         "1000 RAMS-R e1000001 min 150, 1900 RAMS-T e1000001",
         ""},
        {"stays",
         {[](auto& u) { u.live.peer.scenario.profile.unicast_stay = true; }},
         "3 x 0 5-203 205-899 900; 0.02 37.96-1011.96 900, 488 packets, overlap 430",
         "1000 RAMS-R e1000001 min 150, 1900 RAMS-T e1000001",
         ""},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        UnicastTest unicast(TestType::FAST_CHANNEL_CHANGE);
        for (const Change& change : one.changes) change(unicast);
        unicast.live.RunTo(1'000);
        unicast.live.RunAll();
        EXPECT_EQ(one.told, unicast.Viewed());
        EXPECT_EQ(one.heard, unicast.Heard());
        const auto& complaints = unicast.live.GetPort().complaints;
        EXPECT_EQ(one.complaint, complaints.empty() ? "" : complaints[0]);
    }
}

// Of 601, 603, 645 and 661: in both, the burst brings those that multicast lost while it lasts.
TEST(LiveUnicast, AsksForWhatIsLost) {
    struct Case {
        std::string name;
        Change change;
        std::string multicast, both;  ///< outcomes of NACKs, and what was missed and repaired
    };
    const auto settings = [](UnicastScenario & u) -> auto& {
        return u.live.peer.scenario.blocks[0].rrr_stbConfig[0];
    };
    const Case cases[] = {
        {"repaired", [](auto&) {}, "601:5 645:5 661:5 4/4", "661:5 1/1"},
        {"some lost again",
         [](auto& u) {
             u.server.lost = {601, 645};
         },
         "601:5 failed 601:5 645:0 failed 661:5 645:5 4/4", "601:5 645:5 661:5 3/3"},
        {"no bits of the mask", [&](auto& u) { settings(u).nackSeqBits = 0; }, "601:5 603:5 645:5 661:5 4/4",
         "661:5 1/1"},
        {"asked once", [&](auto& u) { settings(u).nackInterval = 0, u.server.lost = {601}; },
         "601:5 failed 645:5 661:5 4/3", "601:5 661:5 2/2"},
        {"slower than repetitions",
         [&](auto& u) { settings(u).nackInterval = 10, u.server.way = milliseconds(35); },
         "601:65 slow 601:45 slow 601:25 601:5 645:35 slow 645:35 slow 645:35 slow 645:35 slow 661:35 slow "
         "661:35 slow 661:35 slow 4/4",
         "601:35 slow 661:65 slow 661:45 slow 661:15 661:15 1/1"},
        {"slow and twice", [](auto& u) { u.server.way = milliseconds(35), u.server.repair_copies = 2; },
         "601:35 slow 645:35 slow 661:35 slow 4/4", "601:35 slow 661:35 slow 1/1"},
    };
    for (const TestType type : {TestType::RELIABLE_RETRANSMISSION, TestType::FCC_WITH_RRR}) {
        for (const Case& one : cases) {
            SCOPED_TRACE(one.name);
            UnicastTest unicast(type);
            unicast.live.peer.scenario.test.test_duration = 900;
            unicast.live.network->copies = [](std::uint64_t number, const auto&) {
                return number == 601 || number == 603 || number == 645 || number == 661 ? 0 : 1;
            };
            one.change(unicast);
            unicast.live.RunTo(1'000);
            unicast.live.RunAll();
            const auto& figures = unicast.live.GetPort().figures;
            EXPECT_EQ(
                type == TestType::FCC_WITH_RRR ? one.both : one.multicast,
                fmt::format("{}{}/{}", unicast.Nacks(), figures.packets_missed, figures.packets_repaired));
            EXPECT_EQ(4u, unicast.live.peer.events.at(0).lost_mcast_packets);
        }
    }
}

// The first message to a server has a CNAME (RFC 5506), requests have a token (RFC 6284).
TEST(LiveUnicast, SpeaksAsTheServerWants) {
    UnicastTest unicast(TestType::FAST_CHANNEL_CHANGE, {.port_mapping = true, .reduced_size = true});
    unicast.server.wants_token = true;
    unicast.live.RunTo(1'000);
    unicast.live.RunAll();
    EXPECT_EQ(
        "1000 CNAME, 1000 token request, 1005 token shown, 1005 RAMS-R e1000001 min 150, 1305 token shown, "
        "1305 RAMS-T e1000001 522",
        unicast.Heard());
    EXPECT_EQ(3u, unicast.live.peer.events.size());
    EXPECT_EQ(0u, unicast.live.GetPort().figures.bursts_unanswered);
}

TEST(LiveUnicast, ATokenMayExpireBeforeTheEndOfTheBurst) {
    UnicastTest unicast(TestType::FAST_CHANNEL_CHANGE, {.port_mapping = true});
    unicast.server.wants_token = true;
    unicast.server.token_life = 1;
    unicast.live.peer.scenario.profile.unicast_stay = true;
    unicast.live.peer.scenario.profile.leave_to_leave_delay = 1'500;
    unicast.live.RunTo(300);
    unicast.live.RunAll();
    EXPECT_EQ(
        "300 CNAME, 300 token request, 305 CNAME, 305 token shown, 305 RAMS-R e1000001 min 150, 1700 CNAME, "
        "1700 token request, 1705 CNAME, 1705 token shown, 1705 RAMS-T e1000001, 1800 CNAME, 1800 token "
        "shown, "
        "1800 RAMS-R e1000002 min 150",
        unicast.Heard());
    EXPECT_EQ(std::vector<std::string>(), unicast.live.GetPort().complaints);
}

}  // namespace
