// What the steps have in common, and their order.
#include "apply/ApplyStates.h"

#include <string_view>

#include "config/IptvChannelBlock.h"
#include "config/IptvViewedChannels.h"

namespace orv::iptv {

BaseState::~BaseState() = default;

bool BaseState::PrepareState(CIptvMsgSetCln*) {
    return true;
}

bool BaseState::FillMessage(CIptvMsgSetCln*, Message&, bool& awaitResponse) {
    awaitResponse = false;
    return false;
}

std::string BaseState::SendFailed(CIptvMsgSetCln*, Message&) {
    return {};
}

void BaseState::ProcessResponse(CIptvMsgSetCln*, std::uint16_t, Message*, void*) {}

void BaseState::CommitObjects(CIptvMsgSetCln*) {}

namespace {

template <class State>
std::unique_ptr<BaseState> Make() {
    return std::make_unique<State>();
}

struct Step {
    std::string_view key;
    std::unique_ptr<BaseState> (*make)();
};

/// Every step that follows on nothing but its own work. Detaching follows on every deletion of blocks,
/// updating blocks on every attaching.
constexpr Step kSteps[] = {{apply_key::kDeleteSettopBlock, Make<DeleteStbBlockState>},
                           {apply_key::kDeleteChannelBlock, Make<DeleteChannelBlockState>},
                           {apply_key::kDeleteProfile, Make<DeleteProfileState>},
                           {apply_key::kUpdateProfile, Make<UpdateProfileState>},
                           {apply_key::kUpdateChannelBlock, Make<UpdateChannelBlockState>},
                           {apply_key::kUpdateSettopBlock, Make<AttachInterfaceState>}};

}  // namespace

std::unique_ptr<BaseState> MakeStateFrom(CIptvMsgSetCln& client, const char* key) {
    bool reached = false;
    for (const Step& step : kSteps) {
        reached = reached || step.key == key;
        if (reached && client.EntriesInApplyMap(std::string(step.key))) return step.make();
    }
    return nullptr;
}

void CommitKey(CIptvMsgSetCln& client, const char* key) {
    ScriptableVec objects;
    client.GetFromApplyMap(key, objects);
    client.AddProcessedObjects(objects, false);
}

void CommitRanges(CIptvMsgSetCln& client, const char* key) {
    CommitKey(client, key);
    const ChannelBlockIndex channel_blocks = ChannelBlockIndex::OfProject();
    for (const CIptvViewedChannels* range : client.GetFromApplyMap<CIptvViewedChannels>(key)) {
        CIptvChannelBlock* block = range->GetChannelBlockForViewChan(channel_blocks);
        if (block && !block->IsDeleted()) client.AddProcessedObject(*block, false);
    }
}

std::unique_ptr<BaseState> IptvSetupState::NextState(CIptvMsgSetCln* client) {
    return MakeStateFrom(*client, apply_key::kDeleteSettopBlock);
}

std::unique_ptr<BaseState> DeleteStbBlockState::NextState(CIptvMsgSetCln*) {
    return std::make_unique<DetachInterfaceState>();
}

std::unique_ptr<BaseState> DetachInterfaceState::NextState(CIptvMsgSetCln* client) {
    return MakeStateFrom(*client, apply_key::kDeleteChannelBlock);
}

std::unique_ptr<BaseState> DeleteChannelBlockState::NextState(CIptvMsgSetCln* client) {
    return MakeStateFrom(*client, apply_key::kDeleteProfile);
}

std::unique_ptr<BaseState> DeleteProfileState::NextState(CIptvMsgSetCln* client) {
    return MakeStateFrom(*client, apply_key::kUpdateProfile);
}

std::unique_ptr<BaseState> UpdateProfileState::NextState(CIptvMsgSetCln* client) {
    return MakeStateFrom(*client, apply_key::kUpdateChannelBlock);
}

std::unique_ptr<BaseState> UpdateChannelBlockState::NextState(CIptvMsgSetCln* client) {
    return MakeStateFrom(*client, apply_key::kUpdateSettopBlock);
}

std::unique_ptr<BaseState> AttachInterfaceState::NextState(CIptvMsgSetCln*) {
    return std::make_unique<UpdateStbBlockState>();
}

std::unique_ptr<BaseState> UpdateStbBlockState::NextState(CIptvMsgSetCln*) {
    return nullptr;
}

}  // namespace orv::iptv
