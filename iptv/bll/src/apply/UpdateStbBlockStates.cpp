// Attaching the interfaces of STB blocks to a port, and sending the blocks.
#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "apply/ApplyRequests.h"
#include "config/AddressLists.h"
#include "config/IptvStbBlockConfig.h"
#include "msgset/interface_requests.h"
#include "msgset/iptvcd_1.h"
#include "orv/common/exceptions.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/port.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace {

using iptvcd_1_bll::rrr_stbConfig_s;
using iptvcd_1_bll::settopBlockConfig_s;
namespace StbBlockId = ids::IptvStbBlockConfig;

/// The blocks to send, without those that were deleted during a wait: their related objects, which records
/// need, may be gone.
std::vector<CIptvStbBlockConfig*> GetBlocks(const CIptvMsgSetCln& client) {
    auto blocks = client.GetFromApplyMap<CIptvStbBlockConfig>(apply_key::kUpdateSettopBlock);
    std::erase_if(blocks, [](const CIptvStbBlockConfig* block) { return block->IsDeleted(); });
    return blocks;
}

settopBlockConfig_s MakeRecord(const CIptvStbBlockConfig& block, const StbBlockValues& values) {
    settopBlockConfig_s record;
    record.stblock_handle = block.GetHandle();
    record.profile_handle = values.profile_handle;
    record.igmp_version = values.igmp_version;
    record.channel_handle = values.channel_handles;
    record.settop_count = values.settop_count;
    record.vlan_tag = values.outer_vlan_id;
    record.vlan_step = values.outer_vlan_step;
    record.vlan_inner_tag = values.inner_vlan_id;
    record.vlan_inner_step = values.inner_vlan_step;
    record.start_delay_step = block.GetU32(StbBlockId::InterClientStartDelayStep);
    record.vif_handle = values.vif_handle;
    record.min_buffer_level = values.min_buffer_level;
    record.fcc_server_address = values.fcc_server_address;
    record.fcc_server_port = values.fcc_server_port;
    record.udp_source_port = values.udp_source_port;
    record.udp_source_port_step = values.udp_source_port_step;
    record.ppp_index = values.ppp_sessions;
    return record;
}

/// The IP interface of a block's hosts.
struct IpInterface {
    const core::CIpv4If* v4 = nullptr;
    const core::CIpv6If* v6 = nullptr;

    explicit IpInterface(const core::CNetworkInterface* interface)
        : v4(dynamic_cast<const core::CIpv4If*>(interface)),
          v6(dynamic_cast<const core::CIpv6If*>(interface)) {}

    bool IsResolved() const {
        const std::uint8_t state = v4   ? v4->GetU8(ids::Ipv4If::AddrResolveState)
                                   : v6 ? v6->GetU8(ids::Ipv6If::AddrResolveState)
                                        : ids::ResolveState::RESOLVE_DONE;
        return state == ids::ResolveState::RESOLVE_DONE || state == ids::ResolveState::RESOLVE_PARTIALLY_DONE;
    }
};

void WarnWhenUnresolved(const core::CPort& port, const CIptvStbBlockConfig& block,
                        const IpInterface& interface) {
    if (!block.GetParent() || interface.IsResolved()) return;
    LogResource(userLogger(), LogLevelType::Warn, resource::kText, {[&] {
                    return " For " + port.GetName() + ": EmulatedDevice: " + block.GetParent()->GetName() +
                           ": Please resolve IP addresses before attempting to " + "start IPTV test.";
                }});
}

rrr_stbConfig_s MakeRetransmissionRecord(const core::CPort& port, const CIptvStbBlockConfig& block,
                                         const IpInterface& interface) {
    if (!interface.v4 && !interface.v6) {
        const CScriptable* device = block.GetParent();
        const std::string text = " For " + port.GetName() +
                                 ": Emulated Device: " + (device ? device->GetName() : "<unknown>") +
                                 ": Host needs to be set up for either IPv4 or IPv6.";
        LogResource(userLogger(), LogLevelType::Error, resource::kText, {text});
        throw common::COrvRunTimeError(text, true);
    }
    rrr_stbConfig_s record;
    record.stbNackEnable = true;
    record.nackInterval = block.GetU32(StbBlockId::RtpNackInterval);
    record.nackDelay = block.GetU32(StbBlockId::RtpNackDelay);
    record.nackSeqBits = block.GetU16(StbBlockId::RtpNackSeqBitmask);
    record.rrrServerAddr = interface.v4 ? ToIpAddress(block.GetIp(StbBlockId::RrrServerAddrV4))
                                        : ToIpAddress(block.GetIpv6(StbBlockId::RrrServerAddrV6));
    record.rrrServerPort = block.GetU16(StbBlockId::RrrServerPort);
    return record;
}

}  // namespace

bool FillAttach(CIptvMsgSetCln& client, Message& message) {
    std::vector<std::uint32_t> interfaces;
    client.AttachedInterfaces().clear();
    for (const CIptvStbBlockConfig* block : GetBlocks(client)) {
        const core::CNetworkInterface* interface = block->GetMcastIf();
        if (!interface) continue;
        interfaces.push_back(interface->GetIlIfHandle(client.GetPort(), block->GetMcastCfg()));
        client.AttachedInterfaces()[block->GetHandle()] = interfaces.back();
    }
    if (interfaces.empty()) return false;
    iptvcd_1_bll::create_req_AttachInterfaces(&message, interfaces, true);
    return true;
}

void NoteAttached(CIptvMsgSetCln& client, Message* response) {
    IFSETUP_1_bll::parse_resp_AttachInterfaces(response);
    for (const auto& [block, il_interface] : client.AttachedInterfaces()) {
        // If the block is not sent after all, the interface is detached again.
        const auto known =
            client.KnownBlocks().try_emplace(block, CIptvMsgSetCln::KnownBlock{.deleted = true});
        known.first->second.il_interface = il_interface;
    }
}

bool FillStbBlocks(CIptvMsgSetCln& client, Message& message) {
    const core::CPort* port = client.GetPort();
    ORV_ASSERT(port != NULL, "Failed to retrieve port from IPTV port client");
    const std::vector<CIptvStbBlockConfig*> blocks = GetBlocks(client);
    if (blocks.empty()) return false;
    std::vector<settopBlockConfig_s> records;
    records.reserve(blocks.size());
    for (const CIptvStbBlockConfig* block : blocks) {
        StbBlockValues& values = client.SentValues()[block->GetHandle()];
        values = {};
        block->GetNewValues(values);
        settopBlockConfig_s& record = records.emplace_back(MakeRecord(*block, values));
        Trace([&] {
            return " In CIptvMsgSetCln (Update Stb Block State) for " + port->GetName() + " and " +
                   block->GetName();
        });
        const IpInterface interface(block->GetMcastIf());
        WarnWhenUnresolved(*port, *block, interface);
        if (block->GetBool(StbBlockId::RtpNackEnable))
            record.rrr_stbConfig.push_back(MakeRetransmissionRecord(*port, *block, interface));
    }
    iptvcd_1_bll::create_req_UpdateSettopBlock(&message, records, true);
    return true;
}

void NoteStbBlocks(CIptvMsgSetCln& client, Message* response) {
    iptvcd_1_bll::parse_resp_UpdateSettopBlock(response);
    for (auto& [handle, values] : client.SentValues()) {
        client.KnownBlocks()[handle] = {.il_interface = values.vif_handle, .deleted = false};
        auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
        if (block) block->SetAppliedValues(std::move(values));
    }
    client.SentValues().clear();
}

}  // namespace orv::iptv
