// Determines what must be sent to a port.
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
    ApplyTables(CIptvMsgSetCln& client, const core::CPort& port) : m_client(client), m_port(port) {}

    void SortBlocks();
    void SortProfiles();
    void SortRanges();
    const std::vector<std::uint32_t>& GetActiveBlocks() const { return m_activeBlocks; }

  private:
    bool IsKnown(std::uint32_t block) const {
        const auto known = m_client.KnownBlocks().find(block);
        return known != m_client.KnownBlocks().end() && !known->second.deleted;
    }
    void SortBlock(CIptvStbBlockConfig& block);
    void SortDepartedBlocks();
    void NoteUses(const CIptvStbBlockConfig& block);
    template <class Object, class IsDirty>
    void Sort(Object& object, bool used, const char* delete_key, const char* update_key, IsDirty is_dirty);

    CIptvMsgSetCln& m_client;
    const core::CPort& m_port;
    std::unordered_set<std::uint32_t> m_blocksOfPort;
    std::vector<std::uint32_t> m_activeBlocks;
    std::unordered_set<std::uint32_t> m_usedProfiles;
    std::unordered_set<std::uint32_t> m_usedRanges;
};

void ApplyTables::SortBlocks() {
    std::vector<CIptvStbBlockConfig*> blocks;
    CIptvStbBlockConfig::FindObjects(m_port.GetHandle(), blocks);
    for (CIptvStbBlockConfig* block : blocks) {
        m_blocksOfPort.insert(block->GetHandle());
        SortBlock(*block);
    }
    SortDepartedBlocks();
}

void ApplyTables::SortBlock(CIptvStbBlockConfig& block) {
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    // The blocks of an inactive device cannot take part in a test, like those that are inactive themselves.
    const bool wanted = device && device->GetActive() && block.GetActive() && !block.IsDeleted();
    if (!wanted) {
        // A port that does not know the block has nothing to delete; others are sent the deletion once.
        if (block.GetObjectState() != CScriptable::STATE_OBSOLETE &&
            m_client.KnownBlocks().contains(block.GetHandle()))
            m_client.AddToApplyMap(apply_key::kDeleteSettopBlock, &block);
        return;
    }
    const core::CNetworkInterface* interface = block.GetMcastIf();
    if (interface && interface->GetU8(ids::EmulatedIf::IlMembership) != ids::IlMembership::INCLUDED) {
        if (!m_client.KnownBlocks().contains(block.GetHandle())) {
            // The port has lost the interface that an earlier apply attached, or never had it.
            block.ForgetInterface();
            return;
        }
        m_client.AddToApplyMap(apply_key::kDeleteSettopBlock, &block);
        // What it watches still counts as used in this apply; the next one deletes it.
        ConfigChanges::NotePort(m_port.GetHandle());
    } else {
        m_activeBlocks.push_back(block.GetHandle());
        if (block.CheckIfAnyRelatedObjectsAreDirty(false) || block.IsObjectDirty(false) ||
            !IsKnown(block.GetHandle())) {
            m_client.AddToApplyMap(apply_key::kUpdateSettopBlock, &block);
        }
    }
    NoteUses(block);
}

/// Blocks that were deleted, or moved to another port with their device, are no longer among the port's.
void ApplyTables::SortDepartedBlocks() {
    for (const auto& [handle, known] : m_client.KnownBlocks()) {
        if (!m_blocksOfPort.contains(handle)) m_client.AddToApplyMap(apply_key::kDeleteSettopBlock, handle);
    }
}

void ApplyTables::NoteUses(const CIptvStbBlockConfig& block) {
    ScriptableVec ranges;
    block.GetObjects(ranges, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
    for (const CScriptable* range : ranges) {
        if (range->GetActive()) m_usedRanges.insert(range->GetHandle());
    }
    if (const auto* profile =
            block.GetObject(CIptvViewingProfileConfig::CLASS_ID(), ids::relations::IptvProfile))
        m_usedProfiles.insert(profile->GetHandle());
}

template <class Object, class IsDirty>
void ApplyTables::Sort(Object& object, bool used, const char* delete_key, const char* update_key,
                       IsDirty is_dirty) {
    const bool known = object.FindPortinVec(m_port.GetHandle());
    if (object.IsDeleted() || !used) {
        if (known) m_client.AddToApplyMap(delete_key, &object);
    } else if (!known || object.IsObjectDirty(false) || is_dirty()) {
        m_client.AddToApplyMap(update_key, &object);
    }
}

void ApplyTables::SortProfiles() {
    for (CScriptable* object : CIptvMsgSetCln::m_profileList) {
        auto* profile = dynamic_cast<CIptvViewingProfileConfig*>(object);
        ORV_ASSERT(profile != NULL, "Failed to retrieve profile from list");
        Sort(*profile, m_usedProfiles.contains(profile->GetHandle()), apply_key::kDeleteProfile,
             apply_key::kUpdateProfile, [] { return false; });
    }
    for (const std::uint32_t profile : GoneObjects::Get<CIptvViewingProfileConfig>().Find(m_port.GetHandle()))
        m_client.AddToApplyMap(apply_key::kDeleteProfile, profile);
}

void ApplyTables::SortRanges() {
    const ChannelBlockIndex& channel_blocks = *CIptvMsgSetCln::m_channelBlocks;
    for (CScriptable* object : CIptvMsgSetCln::m_viewedChannelList) {
        auto* channel = dynamic_cast<CIptvViewedChannels*>(object);
        ORV_ASSERT(channel != NULL, "Failed to retrieve channel from list");
        Sort(*channel, m_usedRanges.contains(channel->GetHandle()), apply_key::kDeleteChannelBlock,
             apply_key::kUpdateChannelBlock, [&] { return channel->IsViewedChannelDirty(channel_blocks); });
    }
    for (const std::uint32_t range : GoneObjects::Get<CIptvViewedChannels>().Find(m_port.GetHandle()))
        m_client.AddToApplyMap(apply_key::kDeleteChannelBlock, range);
}

}  // namespace

bool IptvSetupState::PrepareState(CIptvMsgSetCln* client) {
    const core::CPort* port = client->GetPort();
    ORV_ASSERT(port != NULL, "Failed to retrieve port from IPTV port client");
    client->ClearApplyMap("");
    Trace([port] { return " In CIptvMsgSetCln::PrepareState for " + port->GetName(); });
    ApplyTables tables(*client, *port);
    tables.SortBlocks();
    // A deleted port expects no groups; the object that holds them is deleted with it.
    if (!port->IsDeleted()) client->UpdateExpectedRxPorts(tables.GetActiveBlocks());
    tables.SortProfiles();
    tables.SortRanges();
    return false;
}

}  // namespace orv::iptv
