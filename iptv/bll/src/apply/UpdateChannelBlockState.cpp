// Sending ranges of viewed channels, which are a port's channel blocks.
#include <algorithm>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "apply/ApplyRequests.h"
#include "config/AddressLists.h"
#include "config/ChannelAddress.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvViewedChannels.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/emulated_device.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

namespace {

using iptvcd_1_bll::channelBlockConfig_s;
using iptvcd_1_bll::FilterModeType;
namespace ChannelBlockId = ids::IptvChannelBlock;

constexpr const char* kUpdateChannelBlockState = "CIptvMsgSetCln (Update Channel Block State)";

/// The project's active channel blocks, in ascending order of their first channel. Throws if one has no group
/// or no network block.
ScriptableVec GetChannelBlocks() {
    ScriptableVec blocks;
    if (const auto* project = core::CProject::GetCurrentActiveInstance())
        project->GetObjects(blocks, CIptvChannelBlock::CLASS_ID(), common::kParentChild);
    std::stable_sort(blocks.begin(), blocks.end(), CmpChannelBlock);
    for (const CScriptable* object : blocks) {
        const auto* block = dynamic_cast<const CIptvChannelBlock*>(object);
        if (!block) ThrowLookupFailure({"chanIt", "ChannelBlockVec", kUpdateChannelBlockState}, "");
        if (!block->GetActive() || block->IsDeleted()) continue;
        const auto* group = block->GetMulticastGroup();
        if (!group) {
            ThrowLookupFailure({"MulticastGroup", "IptvChannelBlock", kUpdateChannelBlockState},
                               "MulticastHostConfig associated with " + block->GetChannelName());
        }
        if (!group->GetNetworkBlock())
            ThrowLookupFailure({"NetworkBlock", "MulticastGroup", kUpdateChannelBlockState},
                               group->GetName());
    }
    return blocks;
}

/// Addresses of one IP version, as the record carries them.
template <class NetworkBlock, class Address>
void SetAddresses(channelBlockConfig_s& record, CIptvViewedChannels& range, const NetworkBlock& block,
                  Address increment, std::uint32_t offset) {
    const Address start = GetChannelAddress(block, offset);
    record.channel_ip_start = ToIpAddress(start);
    record.channel_ip_step = ToIpAddress(increment *= range.GetChannelRangeStep());
    CIptvMsgSetCln::NoteAddresses(range, range.SetIpParam(start, block.GetAddrIncrement()));
}

void AddSourcesOfDevice(channelBlockConfig_s& record, const core::CEmulatedDevice& device) {
    CScriptable* top = device.GetObject(core::CNetworkInterface::CLASS_ID(), ids::relations::TopLevelIf);
    if (!top) {
        ThrowLookupFailure({"NetworkInterface", "EmulatedDevice", kUpdateChannelBlockState},
                           "NetworkInterface associated with " + device.GetName());
    }
    if (auto* v4 = dynamic_cast<core::CIpv4If*>(top)) {
        GetSrcList(record.source_list, v4);
    } else if (dynamic_cast<core::CIpv6If*>(top)) {
        ScriptableVec interfaces;
        device.GetObjects(interfaces, core::CIpv6If::CLASS_ID(), common::kParentChild);
        for (CScriptable* interface : interfaces) {
            auto* v6 = dynamic_cast<core::CIpv6If*>(interface);
            if (v6 && !v6->IsDeleted() && !v6->GetIpv6(ids::Ipv6If::Address).IsLinkLocalAddr())
                GetSrcList(record.source_list, v6);
        }
    } else {
        ThrowLookupFailure(
            {"Ipv4If or Ipv6If", "EmulatedDevice",
             "CIptvMsgSetCln (Update Channel Block State) typecast from MulticastGroup to Ipv4 or Ipv6group "
             "failed."},
            "NetworkInterface " + top->GetName() + " cannot be classified as Ipv4If or Ipv6If.");
    }
}

/// Fills in what a range takes from the channel block that it lies in.
class ChannelBlockPart {
  public:
    ChannelBlockPart(channelBlockConfig_s& record, CIptvViewedChannels& range, const CIptvChannelBlock& block)
        : record_(record), range_(range), block_(block), group_(*block.GetMulticastGroup()) {}

    void Fill();

  private:
    void FillAddresses();
    void FillSources();
    bool IsIpv4() const { return group_.IsTypeOf(mcastcore::CIpv4Group::CLASS_ID()); }
    bool IsIpv6() const { return group_.IsTypeOf(mcastcore::CIpv6Group::CLASS_ID()); }
    [[noreturn]] void ThrowNeitherVersion() const;

    channelBlockConfig_s& record_;
    CIptvViewedChannels& range_;
    const CIptvChannelBlock& block_;
    const mcastcore::CMulticastGroup& group_;
};

void ChannelBlockPart::ThrowNeitherVersion() const {
    ThrowLookupFailure({"Ipv4Group or Ipv6Group", "MulticastGroup",
                        "CIptvMsgSetCln (Update Channel Block State)typecast from MulticastGroup to Ipv4 or "
                        "Ipv6group failed."},
                       group_.GetName() + " cannot be classified as Ipv4Group or Ipv6Group.");
}

void ChannelBlockPart::Fill() {
    const std::uint32_t offset = range_.GetChannelRangeStart() - block_.GetChannelStart();
    // From channel to channel the UDP port rises by the port step, but the first one's offset ignores it.
    record_.fcc_multicast_udp_port =
        static_cast<std::uint16_t>(block_.GetU16(ChannelBlockId::UdpDestinationPort) + offset);
    record_.fcc_multicast_udp_port_step = block_.GetU16(ChannelBlockId::UdpDestinationPortStep);
    FillAddresses();
    if (block_.GetU8(ChannelBlockId::FilterMode) == ids::SourceFilterMode::INCLUDE)
        record_.filterMode = FilterModeType::INCLUDE;
    if (block_.GetBool(ChannelBlockId::RtpNackEnable) && record_.rrr_cbConfig.empty())
        record_.rrr_cbConfig.push_back({.cbNackEnable = true});
    FillSources();
}

void ChannelBlockPart::FillAddresses() {
    const std::uint32_t offset = range_.GetChannelRangeStart() - block_.GetChannelStart();
    const core::CNetworkBlock* addresses = group_.GetNetworkBlock();
    const auto* v4 = dynamic_cast<const core::CIpv4NetworkBlock*>(addresses);
    const auto* v6 = dynamic_cast<const core::CIpv6NetworkBlock*>(addresses);
    if (IsIpv4() && v4) {
        SetAddresses(record_, range_, *v4, common::CIpAddress(v4->GetAddrIncrement()), offset);
    } else if (IsIpv6() && v6) {
        SetAddresses(record_, range_, *v6, common::CIpv6Address::FromLow32(v6->GetAddrIncrement()), offset);
    } else {
        ThrowNeitherVersion();
    }
}

void ChannelBlockPart::FillSources() {
    if (!block_.GetBool(ChannelBlockId::UseNetworkBlockSources)) {
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(
            block_.GetObject(core::CEmulatedDevice::CLASS_ID(), ids::relations::TrafficSources));
        if (device) AddSourcesOfDevice(record_, *device);
        return;
    }
    CScriptable* sources = block_.GetObject(core::CNetworkBlock::CLASS_ID(), common::kParentChild);
    if (auto* v4 = dynamic_cast<core::CIpv4NetworkBlock*>(sources); v4 && IsIpv4()) {
        FillSrcListUserDefinedSources(record_.source_list, v4);
    } else if (auto* v6 = dynamic_cast<core::CIpv6NetworkBlock*>(sources); v6 && IsIpv6()) {
        FillSrcListUserDefinedSources(record_.source_list, v6);
    }
}

channelBlockConfig_s MakeNumbering(const CIptvViewedChannels& range) {
    channelBlockConfig_s record;
    record.filterMode = FilterModeType::EXCLUDE;
    record.channel_handle = range.GetHandle();
    const std::uint32_t step = range.GetChannelRangeStep();
    record.channel_count =
        step == 0 ? 1 : (range.GetChannelRangeEnd() - range.GetChannelRangeStart()) / step + 1;
    record.channel_number_start = static_cast<std::uint16_t>(range.GetChannelRangeStart());
    record.channel_number_step = static_cast<std::uint16_t>(step);
    record.channel_initial_start = static_cast<std::uint16_t>(range.GetInitialChannelStart());
    record.channel_initial_step = static_cast<std::uint16_t>(range.GetInitialChannelStep());
    return record;
}

}  // namespace

bool FillRanges(CIptvMsgSetCln& client, Message& message) {
    const auto ranges = client.GetFromApplyMap<CIptvViewedChannels>(apply_key::kUpdateChannelBlock);
    if (ranges.empty()) return false;
    const ChannelBlockIndex channel_blocks(GetChannelBlocks());
    std::vector<channelBlockConfig_s> records;
    records.reserve(ranges.size());
    for (CIptvViewedChannels* range : ranges) {
        records.push_back(MakeNumbering(*range));
        Trace([&] {
            return " In " + std::string(kUpdateChannelBlockState) + " for " + client.GetPort()->GetName() +
                   " and " + range->GetName();
        });
        if (const CIptvChannelBlock* block = range->GetChannelBlockForViewChan(channel_blocks))
            ChannelBlockPart(records.back(), *range, *block).Fill();
    }
    iptvcd_1_bll::create_req_UpdateChannelBlock(&message, records, true);
    return true;
}

void NoteRanges(CIptvMsgSetCln& client, Message* response) {
    iptvcd_1_bll::parse_resp_UpdateChannelBlock(response);
    for (auto* range : client.GetFromApplyMap<CIptvViewedChannels>(apply_key::kUpdateChannelBlock))
        range->AddPortInVec(client.GetPortHandle());
    // The port has these, even if a later step fails.
    client.ClearApplyMap(apply_key::kUpdateChannelBlock);
}

}  // namespace orv::iptv
