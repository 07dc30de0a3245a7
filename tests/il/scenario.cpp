#include "scenario.h"

#include <fmt/format.h>

#include <cmath>

namespace testing_aids {

using orv::tm::Message;

Scenario::Scenario() {
    test.config_handle = kTest;
    test.test_duration = 10'000;
    profile.profile_handle = kProfile;
    profile.zap_behavior = ZapBehavior::ZAP_ONLY;
    profile.zap_direction = ZapDirection::DIR_UP;
    profile.zap_interval_type = ZapIntervalType::LTL;
    profile.leave_to_leave_delay = 1000;
    profile.leave_to_join_delay = 100;
    profile.view_duration = 3000;
    profile.zap_changes_before_view = 2;
    profile.join_latency_threshold = profile.leave_latency_threshold = 500;
    profile.unicast_join_threshold = profile.unicast_leave_threshold = 500;
    channels.channel_handle = kChannels;
    channels.channel_count = 10;
    channels.channel_number_start = channels.channel_initial_start = 1;
    channels.channel_number_step = 1;
    channels.channel_ip_start.v4 = {{225, 0, 0, 1}};
    channels.channel_ip_step.v4 = {{0, 0, 0, 1}};
    channels.filterMode = FilterModeType::EXCLUDE;
    settopBlockConfig_s block;
    block.stblock_handle = kBlock;
    block.profile_handle = kProfile;
    block.channel_handle = {kChannels};
    block.settop_count = 1;
    block.igmp_version = IgmpVersion::IGMP_VERSION2;
    blocks = {block};
    network.behaviour.join_delay.a = 37;
    network.behaviour.leave_delay.a = 112;
    network.behaviour.unicast_join_delay.a = 11;
    network.behaviour.unicast_leave_delay.a = 23;
}

Peer::Peer(const Scenario& what)
    : Peer(what, [this](orv::il::ITimeline& time, auto send, auto hang_up) {
          return std::make_unique<orv::il::SimulatedPort>(
              orv::il::SimulatedPort::Setup{scenario.port_name, scenario.faults, scenario.recordings},
              scenario.network, time, std::move(send), std::move(hang_up));
      }) {}

Peer::Peer(const Scenario& what, const MakePort& make_port) : scenario(what) {
    port = make_port(
        timeline, [this](std::vector<std::byte> bytes) { OnBytes(std::move(bytes)); },
        [this](const std::string& reason) { hang_up_reason = reason; });
}

void Peer::OnBytes(std::vector<std::byte> bytes) {
    sent.push_back(bytes);
    try {
        OnMessage(Message::decode(std::move(bytes)));
    } catch (const orv::tm::Tm_exception&) {  // spoilt on purpose: it is among what was sent
    }
}

void Peer::OnMessage(Message message) {
    const int now = static_cast<int>(timeline.GetNow() / milliseconds(1));
    if (message.get_msg_type() != orv::tm::TMT_REQUEST) {
        answer_ = std::move(message);
    } else if (message.get_request_name() == "iptvcd_1.EOTNotification") {
        end_times.push_back(now);
    } else {
        std::vector<stblock_event_s> blocks;
        parse_req_ResultsNotification(&message, &blocks);
        report_times.push_back(now);
        reports.emplace_back();
        for (const auto& block : blocks) {
            reports.back().push_back(block.stblock_handle);
            events.insert(events.end(), block.events.begin(), block.events.end());
            rrr_events.insert(rrr_events.end(), block.rrr_events.begin(), block.rrr_events.end());
        }
    }
}

Message Peer::Ask(Message request) {
    request.header().set_seq_no(++requests_);
    answer_ = {};
    port->Receive(request.encode());
    if (!answer_.get_request_name().empty()) {
        EXPECT_EQ(requests_, answer_.header().get_seq_no());
        EXPECT_EQ(request.get_request_name(), answer_.get_request_name());
    }
    return std::move(answer_);
}

std::string Peer::FaultOf(Message request) {
    const Message answer = Ask(std::move(request));
    return answer.get_msg_type() == orv::tm::TMT_FAULT ? answer.get_fault_string() : "";
}

std::vector<std::uint32_t> Peer::GetBlockHandles() const {
    std::vector<std::uint32_t> handles;
    for (const auto& block : scenario.blocks) handles.push_back(block.stblock_handle);
    return handles;
}

void Peer::Configure() {
    EXPECT_EQ("", FaultOf(create_req_UpdateProfile, std::vector{scenario.profile}, true));
    EXPECT_EQ("", FaultOf(create_req_UpdateChannelBlock, std::vector{scenario.channels}, true));
    EXPECT_EQ("", FaultOf(create_req_UpdateSettopBlock, scenario.blocks, true));
    EXPECT_EQ("", FaultOf(create_req_UpdateConfig, scenario.test, true));
    EXPECT_EQ("", FaultOf(create_req_RegisterResultsNotify, GetBlockHandles(), scenario.interval_ms, true));
    EXPECT_EQ("", FaultOf(create_req_RegisterEOTNotify, scenario.interval_ms, true));
}

Message Peer::StartRequest() const {
    return Make(create_req_Start, kTest, GetBlockHandles(), scenario.start_delay_step, true);
}

std::vector<stbox_event_s> RunAll(const Scenario& scenario) {
    Peer peer(scenario, static_cast<int>(scenario.test.test_duration));
    EXPECT_EQ(1u, peer.end_times.size());
    return peer.events;
}

std::string Told(const std::vector<stbox_event_s>& events) {
    std::vector<std::pair<int, std::string>> told;
    for (const stbox_event_s& e : events) {
        const std::int64_t start = e.unicast_join_ts != 0 ? e.unicast_join_ts : e.mcast_join_ts;
        const auto at = [start](std::int64_t ts) {
            return ts == 0 ? "" : fmt::format("{}", std::round(Between(ts, start) * 100) / 100);
        };
        std::string text = fmt::format("0 {}-{} {}-{} {}; ", at(e.first_unicast_nosb_pkt_ts),
                                       at(e.last_unicast_nosb_pkt_ts), at(e.first_unicast_sbit_pkt_ts),
                                       at(e.last_unicast_sbit_pkt_ts), at(e.unicast_leave_ts));
        if (e.unicast_join_ts == 0) text.clear();
        text += fmt::format("{} {}-{} {}, {} packets", at(e.mcast_join_ts), at(e.first_mcast_pkt_ts),
                            at(e.last_mcast_pkt_ts), at(e.mcast_leave_ts), e.total_mcast_packets);
        for (const auto& [count, what] :
             {std::pair(e.uni_multi_overlap_count, "overlap"), {e.uni_multi_gap_count, "gap"}})
            if (count > 0) text += fmt::format(", {} {}", what, count);
        for (const auto& [count, what] : {std::pair(e.lost_mcast_packets, "lost"),
                                          {e.reordered_mcast_packets, "reordered"},
                                          {e.duplicate_mcast_packets, "duplicate"},
                                          {e.late_mcast_packets, "late"},
                                          {e.mcast_prbs_errors, "damaged"}})
            if (count > 0) text += fmt::format(", {} {}", count, what);
        if (e.sbit_failure) text += ", no S-bit";
        if (!e.first_pkt_ts_valid || !e.last_pkt_ts_valid)
            text += e.first_pkt_ts_valid ? ", no last" : ", no first";
        if (told.empty() || told.back().second != text) told.emplace_back(0, text);
        ++told.back().first;
    }
    std::string all;
    for (const auto& [count, text] : told)
        all += (all.empty() ? "" : " / ") + (count > 1 ? fmt::format("{} x ", count) : "") + text;
    return all;
}

double Between(std::int64_t a, std::int64_t b) {
    if (a == 0 || b == 0) return NAN;
    constexpr std::int64_t kHalf = std::int64_t{1} << 45;
    const std::int64_t ticks = ((a - b + kHalf) & (2 * kHalf - 1)) - kHalf;
    return static_cast<double>(ticks) / 1e5;
}

}  // namespace testing_aids
