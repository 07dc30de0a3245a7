// The steps that delete from a port what it no longer needs.
#include <algorithm>

#include "apply/ApplyStates.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "msgset/interface_requests.h"
#include "msgset/iptvcd_1.h"

namespace orv::iptv {

namespace {

/// (request, handles, copy arrays)
using Encode = void (*)(Message*, const std::vector<std::uint32_t>&, bool);

bool FillHandles(Message& message, const std::vector<std::uint32_t>& handles, Encode encode,
                 bool& await_response) {
    await_response = !handles.empty();
    if (await_response) encode(&message, handles, true);
    return await_response;
}

/// The objects that are gone from the port are told so.
template <class Object>
void ForgetPort(CIptvMsgSetCln& client, const char* key) {
    for (Object* object : client.GetFromApplyMap<Object>(key))
        object->RemovePortInVec(client.GetPortHandle());
    GoneObjects::Get<Object>().Erase(client.GetPortHandle());
}

}  // namespace

bool DeleteStbBlockState::FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) {
    std::vector<std::uint32_t> blocks = client->GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock);
    std::erase_if(blocks, [client](std::uint32_t block) {
        const auto known = client->KnownBlocks().find(block);
        return known != client->KnownBlocks().end() && known->second.deleted;
    });
    return FillHandles(message, blocks, iptvcd_1_bll::create_req_DeleteSettopBlock, awaitResponse);
}

void DeleteStbBlockState::ProcessResponse(CIptvMsgSetCln* client, std::uint16_t, Message* response, void*) {
    iptvcd_1_bll::parse_resp_DeleteSettopBlock(response);
    for (const std::uint32_t block : client->GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock)) {
        const auto known = client->KnownBlocks().find(block);
        if (known != client->KnownBlocks().end()) known->second.deleted = true;
    }
}

void DeleteStbBlockState::CommitObjects(CIptvMsgSetCln* client) {
    CommitKey(*client, apply_key::kDeleteSettopBlock);
}

bool DetachInterfaceState::FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) {
    std::vector<std::uint32_t> interfaces;
    for (const std::uint32_t block : client->GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock)) {
        const auto known = client->KnownBlocks().find(block);
        if (known != client->KnownBlocks().end()) interfaces.push_back(known->second.il_interface);
    }
    return FillHandles(message, interfaces, iptvcd_1_bll::create_req_DetachInterfaces, awaitResponse);
}

void DetachInterfaceState::ProcessResponse(CIptvMsgSetCln* client, std::uint16_t, Message* response, void*) {
    IFSETUP_1_bll::parse_resp_DetachInterfaces(response);
    for (const std::uint32_t block : client->GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock))
        client->KnownBlocks().erase(block);
    for (auto* block : client->GetFromApplyMap<CIptvStbBlockConfig>(apply_key::kDeleteSettopBlock)) {
        // One that has moved on may have been attached to its new port already.
        if (block->GetBlockKey() == client->GetPortHandle()) block->ForgetInterface();
    }
}

bool DeleteChannelBlockState::FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) {
    return FillHandles(message, client->GetHandlesFromApplyMap(apply_key::kDeleteChannelBlock),
                       iptvcd_1_bll::create_req_DeleteChannelBlock, awaitResponse);
}

void DeleteChannelBlockState::ProcessResponse(CIptvMsgSetCln* client, std::uint16_t, Message* response,
                                              void*) {
    iptvcd_1_bll::parse_resp_DeleteChannelBlock(response);
    ForgetPort<CIptvViewedChannels>(*client, apply_key::kDeleteChannelBlock);
}

void DeleteChannelBlockState::CommitObjects(CIptvMsgSetCln* client) {
    CommitRanges(*client, apply_key::kDeleteChannelBlock);
}

bool DeleteProfileState::FillMessage(CIptvMsgSetCln* client, Message& message, bool& awaitResponse) {
    return FillHandles(message, client->GetHandlesFromApplyMap(apply_key::kDeleteProfile),
                       iptvcd_1_bll::create_req_DeleteProfile, awaitResponse);
}

void DeleteProfileState::ProcessResponse(CIptvMsgSetCln* client, std::uint16_t, Message* response, void*) {
    iptvcd_1_bll::parse_resp_DeleteProfile(response);
    ForgetPort<CIptvViewingProfileConfig>(*client, apply_key::kDeleteProfile);
}

void DeleteProfileState::CommitObjects(CIptvMsgSetCln* client) {
    CommitKey(*client, apply_key::kDeleteProfile);
}

}  // namespace orv::iptv
