#include "results/EventRows.h"

#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IlTimestamp.h"
#include "results/IptvEventResults.h"
#include "results/IptvRrrEventResults.h"

namespace orv::iptv {

using common::CIpAddress;
using common::CIpv6Address;
using framework::PropId;
using iptvcd_1_bll::ipAddress_t;

namespace {

constexpr const char* kOperation = "CIptvResultsManager::CopyResultFromILEventToBLLClass";

template <class If, class Address>
Address GetHostAddress(const If& interface, const Address& first, Address step, std::uint32_t settop) {
    if (settop == 0) return {};
    const auto& list = interface.GetAddrList();
    if (!list.empty()) return settop <= list.size() ? list[settop - 1] : Address();
    Address address = first;
    return address += (step *= settop - 1);
}

void SetTime(CIptvBaseEventResults& row, PropId column, std::int64_t ts) {
    row.SetT<std::string>(column, ConvertTimestampToString(ts));
}

void SetDuration(CIptvEventResults& row, PropId column, std::int64_t last, std::int64_t first) {
    row.Set(column, static_cast<double>(TimestampsDifference(last, first)) / 100000.0);
}

bool HasUnderflow(const iptvcd_1_bll::stbox_event_s& ev) {
    for (const std::uint64_t counter :
         {ev.total_mcast_packets, ev.lost_mcast_packets, ev.reordered_mcast_packets,
          ev.duplicate_mcast_packets, ev.late_mcast_packets, ev.mcast_prbs_errors}) {
        if (counter == UINT64_MAX) return true;
    }
    return false;
}

}  // namespace

EventRowWriter::EventRowWriter(const CIptvStbBlockConfig& block) : base_stb_index_(block.GetBaseStbIndex()) {
    const framework::CScriptable* protocol = block.GetMcastCfg();
    if (!protocol) {
        ThrowLookupFailure({"MulticastHostConfig", "IptvStbBlockConfig", kOperation},
                           "MulticastHostConfig associated with " + block.GetName());
    }
    const core::CNetworkInterface* interface = block.GetMcastIf();
    v4_ = dynamic_cast<const core::CIpv4If*>(interface);
    v6_ = dynamic_cast<const core::CIpv6If*>(interface);
    if (!v4_ && !v6_) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return std::string(kOperation) + " NetworkInterface typecast to Ipv4 or Ipv6 failed.";
        });
        throw common::COrvRunTimeError(
            "NetworkInterface " + (interface ? interface->GetName() : "") + " not IPv4 or IPv6. ", true);
    }
}

template <class Event>
void EventRowWriter::CopyCommon(const Event& ev, CIptvBaseEventResults& row) const {
    using namespace ids::IptvBaseEventResults;
    row.Set(EventNumber, ev.event_number);
    row.Set(SetTopIndex, ev.settop_index + base_stb_index_);
    row.Set(ViewedChannel, ev.viewed_channel);
    row.Set(VlanTag, ev.vlan_tag);
    row.Set(VlanInnerTag, ev.vlan_inner_tag);
    row.Set(PppIndex, ev.ppp_index);
    row.Set(Vci, ev.vci);
    row.Set(Vpi, ev.vpi);
    if (ev.viewed_ip.type == ipAddress_t::kV4) {
        row.Set(ViewedIpv4Addr, CIpAddress(ev.viewed_ip.v4.address));
    } else {
        row.Set(ViewedIpv6Addr, CIpv6Address(ev.viewed_ip.v6.address));
    }
    if (v4_) {
        SaveSourceIp(row, ev.settop_index, *v4_);
    } else {
        SaveSourceIp(row, ev.settop_index, *v6_);
    }
}

void EventRowWriter::CopyResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_s& ev,
                                                     CIptvEventResults& row) const {
    using namespace ids::IptvEventResults;
    CopyCommon(ev, row);
    SetTime(row, LeaveTS, ev.mcast_leave_ts);
    SetTime(row, LastMcastPktTS, ev.last_mcast_pkt_ts);
    SetTime(row, JoinTS, ev.mcast_join_ts);
    SetTime(row, FirstMcastPktTS, ev.first_mcast_pkt_ts);
    SetDuration(row, TotalTime, ev.last_mcast_pkt_ts, ev.first_mcast_pkt_ts);
    SetDuration(row, TotalUnicastTimeNosb, ev.last_unicast_nosb_pkt_ts, ev.first_unicast_nosb_pkt_ts);
    SetDuration(row, TotalUnicastTimeSbit, ev.last_unicast_sbit_pkt_ts, ev.first_unicast_sbit_pkt_ts);
    SetTime(row, UnicastLeaveTS, ev.unicast_leave_ts);
    SetTime(row, UnicastJoinTS, ev.unicast_join_ts);
    SetTime(row, LastUnicastNosbPktTs, ev.last_unicast_nosb_pkt_ts);
    SetTime(row, FirstUnicastNosbPktTs, ev.first_unicast_nosb_pkt_ts);
    SetTime(row, LastUnicastSbitPktTs, ev.last_unicast_sbit_pkt_ts);
    SetTime(row, FirstUnicastSbitPktTs, ev.first_unicast_sbit_pkt_ts);
    row.Set(TotalUnicastPktsNosb, ev.total_unicast_nosb_packets);
    row.Set(TotalUnicastPktsSbit, ev.total_unicast_sbit_packets);
    const bool underflow = HasUnderflow(ev);
    const bool clean = HasNoErrors(ev) && !underflow;
    row.Set(UnicastMulticastPktOverlapCount, clean ? ev.uni_multi_overlap_count : std::uint64_t{0});
    row.Set(UnicastMulticastPktGapCount, clean ? ev.uni_multi_gap_count : std::uint64_t{0});
    row.Set(UnderflowEvent, underflow);
    row.Set(TotalPkts, CountOrZero(ev.total_mcast_packets));
    row.Set(DroppedFrameCount, CountOrZero(ev.lost_mcast_packets));
    row.Set(ReorderedFrameCount, CountOrZero(ev.reordered_mcast_packets));
    row.Set(DuplicateFrameCount, CountOrZero(ev.duplicate_mcast_packets));
    row.Set(LateFrameCount, CountOrZero(ev.late_mcast_packets));
    row.Set(PrbsErrorCount, CountOrZero(ev.mcast_prbs_errors));
    row.Set(DroppedUnicastFrameCount, ev.lost_unicast_packets);
    row.Set(ReorderedUnicastFrameCount, ev.reordered_unicast_packets);
    row.Set(DuplicateUnicastFrameCount, ev.duplicate_unicast_packets);
    row.Set(LateUnicastFrameCount, ev.late_unicast_packets);
    row.Set(UnicastPrbsErrorCount, ev.unicast_prbs_errors);
    row.Set(JoinLatencyFlag, ev.mcast_join_latency_flag);
    row.Set(LeaveLatencyFlag, ev.mcast_leave_latency_flag);
    row.Set(UnicastJoinLatencyFlag, ev.unicast_join_latency_flag);
    row.Set(UnicastLeaveLatencyFlag, ev.unicast_leave_latency_flag);
    row.Set(ExtensionHeaderError, std::uint64_t{ev.ext_hdr_error});
    row.Set(SbitFailure, std::uint64_t{ev.sbit_failure});
    row.Set(InvalidFirstPktTs, ev.first_pkt_ts_valid);
    row.Set(InvalidLastPktTs, ev.last_pkt_ts_valid);
}

void EventRowWriter::CopyRrrResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_rrr_s& ev,
                                                        CIptvRrrEventResults& row) const {
    using namespace ids::IptvRrrEventResults;
    CopyCommon(ev, row);
    row.Set(NackRtpSeqNum, std::uint32_t{ev.nack_rtp_seq_number});
    SetTime(row, RtpNackTs, ev.nack_pkt_tx_ts);
    SetTime(row, LastRetransmissionRtpPktTs, ev.last_retrans_rtp_pkt_rx_ts);
    row.Set(FlaggedRetransmissionCount, std::uint64_t{ev.flagged_retrans});
    row.Set(FailedRetransmissionCount, std::uint64_t{ev.retrans_fail});
}

void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv4If& interface) {
    row.Set(ids::IptvBaseEventResults::Ipv4Addr,
            GetHostAddress(interface, interface.GetIp(ids::Ipv4If::Address),
                           interface.GetIp(ids::Ipv4If::AddrStep), settopIndex));
}

void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv6If& interface) {
    row.Set(ids::IptvBaseEventResults::Ipv6Addr,
            GetHostAddress(interface, CIpv6Address(interface.GetIpv6(ids::Ipv6If::Address)),
                           CIpv6Address(interface.GetIpv6(ids::Ipv6If::AddrStep)), settopIndex));
}

}  // namespace orv::iptv
