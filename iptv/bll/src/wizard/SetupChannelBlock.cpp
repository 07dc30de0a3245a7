// Creates the multicast group and the channel block of a wizard source.
#include "IptvLog.h"
#include "config/IptvChannelBlock.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/framework/notification_service.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"
#include "wizard/IptvWizardMcastSources.h"
#include "wizard/IptvWizardTestConfig.h"
#include "wizard/WizardObjects.h"

namespace orv::iptv {

namespace SourcesId = ids::IptvWizardMcastSources;

namespace {

constexpr const char* kGroupOperation = "CIptvWizardMcastSources::SetupChannelBlocknMcastGroup";
constexpr const char* kSetupChannelBlock = "CIptvWizardMcastSources::SetupChannelBlock";
constexpr std::uint8_t kIpv4Bits = 32;
constexpr std::uint8_t kIpv6Bits = 128;

/// Creates the group, and returns its network block.
template <class Group, class Block>
Block& MakeGroup(CScriptable& project, const char* class_name, const char* block_class_name,
                 std::uint32_t& handle) {
    auto& group = MakeWizardObject<Group>(Group::CLASS_ID(), &project, class_name, kGroupOperation);
    handle = group.GetHandle();
    auto* block = dynamic_cast<Block*>(group.GetObject(Block::CLASS_ID(), common::kParentChild));
    if (!block) {
        ThrowLookupFailure({block_class_name, class_name, kGroupOperation},
                           std::string(block_class_name) + " associated with " + group.GetName());
    }
    return *block;
}

std::string DescribeWithPort(const CScriptable& source) {
    const CScriptable* port = source.GetParent();
    return port ? source.Describe() + " on " + port->GetName() : source.Describe();
}

void Register(CScriptable& object) {
    framework::CNotificationService::Instance().RegisterCallback(&object);
}

}  // namespace

mcastcore::CMulticastGroup& CIptvWizardMcastSources::SetupChannelBlocknMcastGroup(
    const CIptvWizardTestConfig& config, std::uint32_t& groupHandle) {
    if (GetNumOfChannels() == 0)
        LogText(userLogger(), LogLevelType::Warn,
                [this] { return DescribeWithPort(*this) + " has no channels."; });
    CScriptable& project = GetWizardProject(kGroupOperation);
    core::CNetworkBlock* block = nullptr;
    if (config.IsIpv4()) {
        auto& v4 = MakeGroup<mcastcore::CIpv4Group, core::CIpv4NetworkBlock>(project, "Ipv4Group",
                                                                             "Ipv4NetworkBlock", groupHandle);
        v4.SetStartIpList({GetIp(SourcesId::StartIpv4Address)});
        v4.Set(ids::Ipv4NetworkBlock::PrefixLength, kIpv4Bits);
        block = &v4;
    } else {
        auto& v6 = MakeGroup<mcastcore::CIpv6Group, core::CIpv6NetworkBlock>(project, "Ipv6Group",
                                                                             "Ipv6NetworkBlock", groupHandle);
        v6.SetStartIpList({GetIpv6(SourcesId::StartIpv6Address)});
        v6.Set(ids::Ipv6NetworkBlock::PrefixLength, kIpv6Bits);
        block = &v6;
    }
    block->SetNetworkCount(GetNumOfChannels());
    block->SetAddrIncrement(config.GetGroupAddrIncrement());
    auto& group = dynamic_cast<mcastcore::CMulticastGroup&>(*block->GetParent());
    SetupChannelBlock(group, config.IsIpv4());
    Register(group);
    return group;
}

void CIptvWizardMcastSources::SetupChannelBlock(const mcastcore::CMulticastGroup& group, bool ipv4) {
    auto& channel_block = MakeWizardObject<CIptvChannelBlock>(CIptvChannelBlock::CLASS_ID(),
                                                              &GetWizardProject(kSetupChannelBlock),
                                                              "IptvChannelBlock", kSetupChannelBlock);
    static constexpr CopiedProperty kCopied[] = {
        {SourcesId::ChannelName, ids::IptvChannelBlock::ChannelName},
        {SourcesId::ChannelStart, ids::IptvChannelBlock::ChannelStart},
    };
    CopyProperties(*this, channel_block, kCopied);
    AddWizardRelation(channel_block, "MulticastParam-Targets", group.GetHandle(), [&] {
        return std::string("Failed adding relation between IptvChannelBlock and MulticastGroup in ") +
               kSetupChannelBlock;
    });
    if (GetBool(SourcesId::SourceFilterEnable)) SetupSourceFilter(channel_block, ipv4);
    Register(channel_block);
}

void CIptvWizardMcastSources::SetupSourceFilter(CIptvChannelBlock& channelBlock, bool ipv4) {
    channelBlock.Set(ids::IptvChannelBlock::FilterMode, GetU8(SourcesId::FilterMode));
    if (GetBool(SourcesId::UseNetworkBlockSources)) {
        channelBlock.Set(ids::IptvChannelBlock::UseNetworkBlockSources, true);
        CopyNetworkBlock(channelBlock, ipv4);
    } else {
        AddWizardRelation(channelBlock, "TrafficSources-Targets", GetU32(SourcesId::SourceDevice), [&] {
            return std::string("Failed adding relation between IptvChannelBlock and EmulatedDevice in ") +
                   kSetupChannelBlock;
        });
    }
}

void CIptvWizardMcastSources::CopyNetworkBlock(CIptvChannelBlock& channelBlock, bool ipv4) {
    static constexpr CopiedProperty kOfAll[] = {
        {ids::NetworkBlock::NetworkCount, ids::NetworkBlock::NetworkCount},
        {ids::NetworkBlock::AddrIncrement, ids::NetworkBlock::AddrIncrement},
    };
    static constexpr CopiedProperty kOfIpv4[] = {
        {ids::Ipv4NetworkBlock::StartIpList, ids::Ipv4NetworkBlock::StartIpList},
        {ids::Ipv4NetworkBlock::PrefixLength, ids::Ipv4NetworkBlock::PrefixLength},
    };
    static constexpr CopiedProperty kOfIpv6[] = {
        {ids::Ipv6NetworkBlock::StartIpList, ids::Ipv6NetworkBlock::StartIpList},
        {ids::Ipv6NetworkBlock::PrefixLength, ids::Ipv6NetworkBlock::PrefixLength},
    };
    const CScriptable* own = GetObject(core::CNetworkBlock::CLASS_ID(), common::kParentChild);
    if (!own) {
        ThrowLookupFailure({"NetworkBlock", "IptvWizardMcastSources", kSetupChannelBlock},
                           "NetworkBlock associated with " + GetName());
    }
    auto& copy = MakeWizardObject<core::CNetworkBlock>(own->GetClassId(), &channelBlock,
                                                       own->GetMetaClass()->GetName(), kSetupChannelBlock);
    CopyProperties(*own, copy, kOfAll);
    const bool is_ipv4 = own->IsTypeOf(core::CIpv4NetworkBlock::CLASS_ID());
    CopyProperties(*own, copy, is_ipv4 ? kOfIpv4 : kOfIpv6);
    if (is_ipv4 != ipv4)
        WarnOfIpVersion(
            [&] { return DescribeWithPort(*this) + " filters by the sources of " + own->Describe(); }, ipv4);
    Register(copy);
}

}  // namespace orv::iptv
