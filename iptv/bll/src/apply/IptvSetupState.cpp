// Works out what a port has to be told.
#include <unordered_set>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "apply/ApplyStates.h"
#include "config/ConfigChanges.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace {

class ApplyTables {
  public:
    ApplyTables(CIptvMsgSetCln& client, const core::CPort& port) : client_(client), port_(port) {}

    void SortBlocks();
    void SortProfiles();
    void SortRanges();
    const std::vector<std::uint32_t>& GetActiveBlocks() const { return active_blocks_; }

  private:
    bool IsKnown(std::uint32_t block) const {
        const auto known = client_.KnownBlocks().find(block);
        return known != client_.KnownBlocks().end() && !known->second.deleted;
    }
    void SortBlock(CIptvStbBlockConfig& block);
    void SortDepartedBlocks();
    void NoteUses(const CIptvStbBlockConfig& block);
    template <class Object, class IsDirty>
    void Sort(Object& object, bool used, const char* delete_key, const char* update_key, IsDirty is_dirty);

    CIptvMsgSetCln& client_;
    const core::CPort& port_;
    std::unordered_set<std::uint32_t> blocks_of_port_;
    std::vector<std::uint32_t> active_blocks_;
    std::unordered_set<std::uint32_t> used_profiles_;
    std::unordered_set<std::uint32_t> used_ranges_;
};

void ApplyTables::SortBlocks() {
    std::vector<CIptvStbBlockConfig*> blocks;
    CIptvStbBlockConfig::FindObjects(port_.GetHandle(), blocks);
    for (CIptvStbBlockConfig* block : blocks) {
        blocks_of_port_.insert(block->GetHandle());
        SortBlock(*block);
    }
    SortDepartedBlocks();
}

void ApplyTables::SortBlock(CIptvStbBlockConfig& block) {
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    // The blocks of a device that is off are no more of use to the port than those that are off themselves.
    const bool wanted = device && device->GetActive() && block.GetActive() && !block.IsDeleted();
    if (!wanted) {
        // A port that does not know the block has nothing to delete, and is told once only.
        if (block.GetObjectState() != CScriptable::STATE_OBSOLETE &&
            client_.KnownBlocks().contains(block.GetHandle()))
            client_.AddToApplyMap(apply_key::kDeleteSettopBlock, &block);
        return;
    }
    const core::CNetworkInterface* interface = block.GetMcastIf();
    if (interface && interface->GetU8(ids::EmulatedIf::IlMembership) != ids::IlMembership::INCLUDED) {
        if (!client_.KnownBlocks().contains(block.GetHandle())) {
            // The port has lost, or never had, what an apply had attached.
            block.ForgetInterface();
            return;
        }
        client_.AddToApplyMap(apply_key::kDeleteSettopBlock, &block);
        // What it watches counts as used once more, and is the next apply's.
        ConfigChanges::NotePort(port_.GetHandle());
    } else {
        active_blocks_.push_back(block.GetHandle());
        if (block.CheckIfAnyRelatedObjectsAreDirty(false) || block.IsObjectDirty(false) ||
            !IsKnown(block.GetHandle())) {
            client_.AddToApplyMap(apply_key::kUpdateSettopBlock, &block);
        }
    }
    NoteUses(block);
}

/// Blocks that were deleted, or moved to another port with their device, are not among the port's any more.
void ApplyTables::SortDepartedBlocks() {
    for (const auto& [handle, known] : client_.KnownBlocks()) {
        if (!blocks_of_port_.contains(handle)) client_.AddToApplyMap(apply_key::kDeleteSettopBlock, handle);
    }
}

void ApplyTables::NoteUses(const CIptvStbBlockConfig& block) {
    ScriptableVec ranges;
    block.GetObjects(ranges, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
    for (const CScriptable* range : ranges) {
        if (range->GetActive()) used_ranges_.insert(range->GetHandle());
    }
    if (const auto* profile =
            block.GetObject(CIptvViewingProfileConfig::CLASS_ID(), ids::relations::IptvProfile))
        used_profiles_.insert(profile->GetHandle());
}

template <class Object, class IsDirty>
void ApplyTables::Sort(Object& object, bool used, const char* delete_key, const char* update_key,
                       IsDirty is_dirty) {
    const bool known = object.FindPortinVec(port_.GetHandle());
    if (object.IsDeleted() || !used) {
        if (known) client_.AddToApplyMap(delete_key, &object);
    } else if (!known || object.IsObjectDirty(false) || is_dirty()) {
        client_.AddToApplyMap(update_key, &object);
    }
}

void ApplyTables::SortProfiles() {
    for (CScriptable* object : CIptvMsgSetCln::m_profileList) {
        auto* profile = dynamic_cast<CIptvViewingProfileConfig*>(object);
        ORV_ASSERT(profile != NULL, "Failed to retrieve profile from list");
        Sort(*profile, used_profiles_.contains(profile->GetHandle()), apply_key::kDeleteProfile,
             apply_key::kUpdateProfile, [] { return false; });
    }
    for (const std::uint32_t profile : GoneObjects::Get<CIptvViewingProfileConfig>().Find(port_.GetHandle()))
        client_.AddToApplyMap(apply_key::kDeleteProfile, profile);
}

void ApplyTables::SortRanges() {
    const ChannelBlockIndex& channel_blocks = *CIptvMsgSetCln::m_channelBlocks;
    for (CScriptable* object : CIptvMsgSetCln::m_viewedChannelList) {
        auto* channel = dynamic_cast<CIptvViewedChannels*>(object);
        ORV_ASSERT(channel != NULL, "Failed to retrieve channel from list");
        Sort(*channel, used_ranges_.contains(channel->GetHandle()), apply_key::kDeleteChannelBlock,
             apply_key::kUpdateChannelBlock, [&] { return channel->IsViewedChannelDirty(channel_blocks); });
    }
    for (const std::uint32_t range : GoneObjects::Get<CIptvViewedChannels>().Find(port_.GetHandle()))
        client_.AddToApplyMap(apply_key::kDeleteChannelBlock, range);
}

}  // namespace

bool IptvSetupState::PrepareState(CIptvMsgSetCln* client) {
    const core::CPort* port = client->GetPort();
    ORV_ASSERT(port != NULL, "Failed to retrieve port from IPTV port client");
    client->ClearApplyMap("");
    Trace([port] { return " In CIptvMsgSetCln::PrepareState for " + port->GetName(); });
    ApplyTables tables(*client, *port);
    tables.SortBlocks();
    // A deleted port expects nothing any more, and what kept the groups is deleted with it.
    if (!port->IsDeleted()) client->UpdateExpectedRxPorts(tables.GetActiveBlocks());
    tables.SortProfiles();
    tables.SortRanges();
    return false;
}

}  // namespace orv::iptv
