// Deleting from a port what it no longer needs.
#include <algorithm>

#include "apply/ApplyRequests.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "msgset/interface_requests.h"
#include "msgset/iptvcd_1.h"

namespace orv::iptv {

namespace {

/// (request, handles, copy arrays)
using Encode = void (*)(Message*, const std::vector<std::uint32_t>&, bool);

/// False, and no request, without handles.
bool FillHandles(Message& message, const std::vector<std::uint32_t>& handles, Encode encode) {
    if (handles.empty()) return false;
    encode(&message, handles, true);
    return true;
}

/// Objects under the key no longer list the port.
template <class Object>
void ForgetPort(CIptvMsgSetCln& client, const char* key) {
    for (Object* object : client.GetFromApplyMap<Object>(key))
        object->RemovePortInVec(client.GetPortHandle());
    GoneObjects::Get<Object>().Erase(client.GetPortHandle());
}

}  // namespace

bool FillStbBlockDeletion(CIptvMsgSetCln& client, Message& message) {
    std::vector<std::uint32_t> blocks = client.GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock);
    std::erase_if(blocks, [&client](std::uint32_t block) {
        const auto known = client.KnownBlocks().find(block);
        return known != client.KnownBlocks().end() && known->second.deleted;
    });
    return FillHandles(message, blocks, iptvcd_1_bll::create_req_DeleteSettopBlock);
}

void NoteDeletedStbBlocks(CIptvMsgSetCln& client, Message* response) {
    iptvcd_1_bll::parse_resp_DeleteSettopBlock(response);
    for (const std::uint32_t block : client.GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock)) {
        const auto known = client.KnownBlocks().find(block);
        if (known != client.KnownBlocks().end()) known->second.deleted = true;
    }
}

bool FillDetach(CIptvMsgSetCln& client, Message& message) {
    std::vector<std::uint32_t> interfaces;
    for (const std::uint32_t block : client.GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock)) {
        const auto known = client.KnownBlocks().find(block);
        if (known != client.KnownBlocks().end()) interfaces.push_back(known->second.il_interface);
    }
    return FillHandles(message, interfaces, iptvcd_1_bll::create_req_DetachInterfaces);
}

void NoteDetached(CIptvMsgSetCln& client, Message* response) {
    IFSETUP_1_bll::parse_resp_DetachInterfaces(response);
    for (const std::uint32_t block : client.GetHandlesFromApplyMap(apply_key::kDeleteSettopBlock))
        client.KnownBlocks().erase(block);
    for (auto* block : client.GetFromApplyMap<CIptvStbBlockConfig>(apply_key::kDeleteSettopBlock)) {
        // A block that has moved may have been attached to its new port already.
        if (block->GetBlockKey() == client.GetPortHandle()) block->ForgetInterface();
    }
}

bool FillRangeDeletion(CIptvMsgSetCln& client, Message& message) {
    return FillHandles(message, client.GetHandlesFromApplyMap(apply_key::kDeleteChannelBlock),
                       iptvcd_1_bll::create_req_DeleteChannelBlock);
}

void NoteDeletedRanges(CIptvMsgSetCln& client, Message* response) {
    iptvcd_1_bll::parse_resp_DeleteChannelBlock(response);
    ForgetPort<CIptvViewedChannels>(client, apply_key::kDeleteChannelBlock);
}

bool FillProfileDeletion(CIptvMsgSetCln& client, Message& message) {
    return FillHandles(message, client.GetHandlesFromApplyMap(apply_key::kDeleteProfile),
                       iptvcd_1_bll::create_req_DeleteProfile);
}

void NoteDeletedProfiles(CIptvMsgSetCln& client, Message* response) {
    iptvcd_1_bll::parse_resp_DeleteProfile(response);
    ForgetPort<CIptvViewingProfileConfig>(client, apply_key::kDeleteProfile);
}

}  // namespace orv::iptv
