#include "results/EventRows.h"

#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/framework/meta_class.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IlTimestamp.h"
#include "results/IptvEventResults.h"
#include "results/IptvRrrEventResults.h"
#include "results/figures/FigureSums.h"

namespace orv::iptv {

using common::CIpAddress;
using common::CIpv6Address;
using framework::PropId;
using iptvcd_1_bll::ipAddress_t;

namespace {

constexpr const char* kCopyResultFromILEventToBLLClass =
    "CIptvResultsManager::CopyResultFromILEventToBLLClass";

HostAddresses<CIpAddress> GetAddresses(const core::CIpv4If& interface) {
    return {&interface.GetAddrList(), interface.GetIp(ids::Ipv4If::Address),
            interface.GetIp(ids::Ipv4If::AddrStep)};
}
HostAddresses<CIpv6Address> GetAddresses(const core::CIpv6If& interface) {
    return {&interface.GetAddrList(), interface.GetIpv6(ids::Ipv6If::Address),
            interface.GetIpv6(ids::Ipv6If::AddrStep)};
}

template <class Row>
void SetSourceIp(Row& row, const CIpAddress& address) {
    row.Set(ids::IptvBaseEventResults::Ipv4Addr, address);
}
template <class Row>
void SetSourceIp(Row& row, const CIpv6Address& address) {
    row.Set(ids::IptvBaseEventResults::Ipv6Addr, address);
}

template <class Row>
void SetDuration(Row& row, PropId column, std::int64_t last, std::int64_t first) {
    row.Set(column, static_cast<double>(TimestampsDifference(last, first)) / 100000.0);
}

/// All texts of event rows are time stamps.
std::shared_ptr<const core::PackedRowLayout> MakeLayout(const framework::CMetaClass& meta_class) {
    std::vector<core::PackedRowLayout::Text> texts;
    for (const framework::CPropertyMeta* property : meta_class.GetProperties()) {
        if (property->type == framework::PropertyType::String && property->id != ids::Scriptable::Name)
            texts.push_back({property->id, &FormatTimestamp});
    }
    return std::make_shared<const core::PackedRowLayout>(meta_class, texts);
}

}  // namespace

const std::shared_ptr<const core::PackedRowLayout>& GetViewLayout() {
    static const auto layout = MakeLayout(*CIptvEventResults::GetMetaClassStatic());
    return layout;
}

const std::shared_ptr<const core::PackedRowLayout>& GetRetransmissionLayout() {
    static const auto layout = MakeLayout(*CIptvRrrEventResults::GetMetaClassStatic());
    return layout;
}

void SetTime(framework::CScriptable& row, PropId column, std::int64_t ts) {
    row.SetT<std::string>(column, ConvertTimestampToString(ts));
}

EventRowWriter::EventRowWriter(const CIptvStbBlockConfig& block) : base_stb_index_(block.GetBaseStbIndex()) {
    const framework::CScriptable* protocol = block.GetMcastCfg();
    if (!protocol) {
        ThrowLookupFailure({"MulticastHostConfig", "IptvStbBlockConfig", kCopyResultFromILEventToBLLClass},
                           "MulticastHostConfig associated with " + block.GetName());
    }
    const core::CNetworkInterface* interface = block.GetMcastIf();
    if (const auto* v4 = dynamic_cast<const core::CIpv4If*>(interface)) {
        addresses_ = GetAddresses(*v4);
    } else if (const auto* v6 = dynamic_cast<const core::CIpv6If*>(interface)) {
        addresses_ = GetAddresses(*v6);
    } else {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return std::string(kCopyResultFromILEventToBLLClass) +
                   " NetworkInterface typecast to Ipv4 or Ipv6 failed.";
        });
        throw common::COrvRunTimeError(
            "NetworkInterface " + (interface ? interface->GetName() : "") + " not IPv4 or IPv6. ", true);
    }
}

template <class Event, class Row>
void EventRowWriter::CopyCommon(const Event& ev, Row& row) const {
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
    std::visit([&](const auto& hosts) { SetSourceIp(row, hosts.Get(ev.settop_index)); }, addresses_);
}

template <class Row>
void EventRowWriter::Copy(const iptvcd_1_bll::stbox_event_s& ev, Row& row) const {
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
    row.Set(UnderflowEvent, figures::HasUnderflow(ev));
    figures::SetColumns(ev, row);
}

template <class Row>
void EventRowWriter::Copy(const iptvcd_1_bll::stbox_event_rrr_s& ev, Row& row) const {
    using namespace ids::IptvRrrEventResults;
    CopyCommon(ev, row);
    row.Set(NackRtpSeqNum, std::uint32_t{ev.nack_rtp_seq_number});
    SetTime(row, RtpNackTs, ev.nack_pkt_tx_ts);
    SetTime(row, LastRetransmissionRtpPktTs, ev.last_retrans_rtp_pkt_rx_ts);
    figures::SetColumns(ev, row);
}

void EventRowWriter::CopyResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_s& ev,
                                                     CIptvEventResults& row) const {
    Copy(ev, row);
}

void EventRowWriter::CopyResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_s& ev,
                                                     core::PackedRow& row) const {
    Copy(ev, row);
}

void EventRowWriter::CopyRrrResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_rrr_s& ev,
                                                        CIptvRrrEventResults& row) const {
    Copy(ev, row);
}

void EventRowWriter::CopyRrrResultFromILEventToBLLClass(const iptvcd_1_bll::stbox_event_rrr_s& ev,
                                                        core::PackedRow& row) const {
    Copy(ev, row);
}

void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv4If& interface) {
    SetSourceIp(row, GetAddresses(interface).Get(settopIndex));
}

void SaveSourceIp(CIptvBaseEventResults& row, std::uint32_t settopIndex, const core::CIpv6If& interface) {
    SetSourceIp(row, GetAddresses(interface).Get(settopIndex));
}

}  // namespace orv::iptv
