// Fast channel change and retransmission with a server that the test knows. Packets are 2 ms apart; a message
// is on the wire after 20 microseconds, and answered 5 ms later.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "emulated_server.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

struct UnicastScenario {
    explicit UnicastScenario(TestType type, const orv::nic::UnicastSettings& settings = {})
        : live({host_of(0)}, {}, settings), server(live.peer.timeline, *live.network) {
        auto& scenario = live.peer.scenario;
        scenario.test.test_type = type;
        scenario.test.test_duration = 3'000;
        scenario.profile.unicast_leave_trigger_delay = 300;
        auto& block = scenario.blocks[0];
        block.fcc_server_address.v4 = {{10, 0, 9, 9}};
        block.fcc_server_port = EmulatedServer::kPort;
        block.udp_source_port = 6000;
        block.min_buffer_level = 150;
        if (type == TestType::FAST_CHANNEL_CHANGE) return;
        auto& repairs = block.rrr_stbConfig.emplace_back();
        repairs.stbNackEnable = true;
        repairs.nackInterval = 50;
        repairs.nackDelay = 10;
        repairs.nackSeqBits = 0xffff;
        repairs.rrrServerAddr.v4 = {{10, 0, 9, 9}};
        repairs.rrrServerPort = EmulatedServer::kPort;
        scenario.channels.rrr_cbConfig.emplace_back().cbNackEnable = true;
        scenario.test.rrr_test_config.emplace_back().testRetransThres = 30;
    }
    std::string Nacks() const {
        std::string told;
        for (const auto& nack : live.peer.rrr_events)
            told += fmt::format("{} after {}{}{} / ", nack.nack_rtp_seq_number,
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

    LiveScenario live;
    EmulatedServer server;
};

using Change = std::function<void(UnicastScenario&)>;

TEST(LiveUnicast, ABurstBridgesTheTimeUntilMulticast) {
    const Change with_sbit = [](UnicastScenario& unicast) {
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
        {"by delays", {}, "", "", ""},
        {"by packets", {with_sbit}, "", "", ""},
        {"join time instead of the S-bit",
         {with_sbit, [](auto& u) { u.server.has_sbit = false, u.server.tells_join_time = true; }},
         "",
         "",
         ""},
        {"neither", {with_sbit, [](auto& u) { u.server.has_sbit = false; }}, "", "", ""},
        {"neither, and no bound",
         {with_sbit,
          [](auto& u) { u.server.has_sbit = false, u.live.peer.scenario.test.max_sbit_delay = 0; }},
         "",
         "",
         ""},
        {"S-bit too late", {with_sbit, [](auto& u) { u.server.sbit_after = milliseconds(450); }}, "", "", ""},
        {"S-bit too early",
         {with_sbit, [](auto& u) { u.live.peer.scenario.test.min_sbit_delay = 250; }},
         "",
         "",
         ""},
        {"slow", {with_sbit, [](auto& u) { u.server.burst_gap = milliseconds(3); }}, "", "", ""},
        {"late", {with_sbit, [](auto& u) { u.server.way = milliseconds(250); }}, "", "", ""},
        {"answers the third request", {[](auto& u) { u.server.silent_requests = 2; }}, "", "", ""},
        {"silent", {with_sbit, [](auto& u) { u.server.silent_requests = 100; }}, "", "", ""},
        {"refuses", {with_sbit, [](auto& u) { u.server.response = 503; }}, "", "", ""},
        {"unknown response", {with_sbit, [](auto& u) { u.server.response = 299; }}, "", "", ""},
        {"loses packets",
         {[](auto& u) {
             for (int n = 0; n < 3000; n += 10) u.server.lost.insert(static_cast<std::uint16_t>(n));
         }},
         "",
         "",
         ""},
        {"sends on", {[](auto& u) { u.server.sends_on = true; }}, "", "", ""},
        {"wrong numbers", {[](auto& u) { u.server.osn_error = 3; }}, "", "", ""},
        {"unicast only",
         {with_sbit, [](auto& u) { u.live.peer.scenario.profile.unicast_only = true; }},
         "",
         "",
         ""},
        {"stays", {[](auto& u) { u.live.peer.scenario.profile.unicast_stay = true; }}, "", "", ""},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        UnicastScenario unicast(TestType::FAST_CHANNEL_CHANGE);
        for (const Change& change : one.changes) change(unicast);
        unicast.live.RunTo(1'000);
        unicast.live.RunAll();
        EXPECT_EQ(one.told, unicast.Viewed());
        EXPECT_EQ(one.heard, unicast.Heard());
        const auto& complaints = unicast.live.GetPort().complaints;
        EXPECT_EQ(one.complaint, complaints.empty() ? "" : complaints[0]);
    }
}

TEST(LiveUnicast, AsksForWhatIsLost) {
    struct Case {
        std::string name;
        Change change;
        std::string nacks, heard;
        std::uint64_t missed, repaired;
    };
    const Case cases[] = {
        {"repaired", [](auto&) {}, "", "", 0, 0},
        {"some lost again",
         [](auto& u) {
             u.server.lost = {601, 640};
         },
         "", "", 0, 0},
        {"no bits of the mask",
         [](auto& u) { u.live.peer.scenario.blocks[0].rrr_stbConfig[0].nackSeqBits = 0; }, "", "", 0, 0},
        {"asked once",
         [](auto& u) {
             u.live.peer.scenario.blocks[0].rrr_stbConfig[0].nackInterval = 0;
             u.server.lost = {601};
         },
         "", "", 0, 0},
        {"slow and twice", [](auto& u) { u.server.way = milliseconds(35), u.server.repair_copies = 2; }, "",
         "", 0, 0},
    };
    for (const TestType type : {TestType::RELIABLE_RETRANSMISSION, TestType::FCC_WITH_RRR}) {
        for (const Case& one : cases) {
            SCOPED_TRACE(one.name);
            UnicastScenario unicast(type);
            unicast.live.peer.scenario.test.test_duration = 900;
            unicast.live.network->copies = [](std::uint64_t number, const auto&) {
                return number == 601 || number == 640 || number == 645 || number == 661 ? 0 : 1;
            };
            one.change(unicast);
            unicast.live.RunTo(1'000);
            unicast.live.RunAll();
            EXPECT_EQ(one.nacks, unicast.Nacks());
            EXPECT_EQ(one.heard, unicast.Heard());
            EXPECT_EQ(one.missed, unicast.live.GetPort().figures.packets_missed);
            EXPECT_EQ(one.repaired, unicast.live.GetPort().figures.packets_repaired);
            EXPECT_EQ(4u, unicast.live.peer.events.at(0).lost_mcast_packets);
        }
    }
}

}  // namespace
