// Removes the objects of the wizard's previous set-up.
#include <algorithm>

#include "IptvLog.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "control/IptvStartTestCommand.h"
#include "control/IptvWaitForTestCompletionCommand.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_endpoint.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/l2l3_ids.h"
#include "wizard/IptvWizardManager.h"
#include "wizard/WizardObjects.h"

namespace orv::iptv {

namespace {

void MarkChildren(const CScriptable& parent, ClassId id) {
    framework::ScriptableVec children;
    parent.GetObjects(children, id, common::kParentChild);
    for (CScriptable* child : children) child->MarkDelete(true, true);
}

bool SendsOnlyToGroups(const CScriptable& stream_block) {
    framework::ScriptableVec endpoints;
    stream_block.GetObjects(endpoints, core::CNetworkEndpoint::CLASS_ID(), ids::relations::DstBinding);
    // A stream block without destination is not from the wizard.
    return !endpoints.empty() &&
           std::all_of(endpoints.begin(), endpoints.end(), [](const CScriptable* endpoint) {
               const CScriptable* parent = endpoint->GetParent();
               return parent && parent->IsTypeOf("MulticastGroup");
           });
}

}  // namespace

void CIptvWizardManager::CleanUp() {
    constexpr const char* kOperation = "CIptvWizardManager::CleanUp";
    const core::CProject& project = GetWizardProject(kOperation);
    MarkChildren(project, CIptvViewedChannels::CLASS_ID());
    MarkChildren(project, CIptvChannelBlock::CLASS_ID());
    MarkChildren(project, CIptvViewingProfileConfig::CLASS_ID());
    for (const auto* device : GetWizardChildren<core::CEmulatedDevice>(
             project, {"EmulatedDevice", "DeviceIterator", kOperation}, "EmulatedDevice.")) {
        MarkChildren(*device, CIptvStbBlockConfig::CLASS_ID());
    }
    for (auto* port :
         GetWizardChildren<core::CPort>(project, {"Port", "PortIterator", kOperation}, "Port.")) {
        RemoveStaleMcastStreamBlocks(port);
    }
    MarkChildren(project, CIptvStartTestCommand::CLASS_ID());
    MarkChildren(project, CIptvWaitForTestCompletionCommand::CLASS_ID());
    DeleteBllObjInVec(m_mcastGroupHandles);
    DeleteBllObjInVec(m_streamBlockHandles);
    DeleteBllObjInVec(m_hostConfigHandles);
    Trace([] { return "CIptvWizardManager::CleanUp() Any previous set up was deleted."; });
}

void CIptvWizardManager::DeleteBllObjInVec(std::vector<std::uint32_t>& handles) {
    for (const std::uint32_t handle : handles) {
        CScriptable* object = framework::CHandleRegistry::Instance().Find(handle);
        if (object) object->MarkDelete(true, true);
    }
    handles.clear();
}

void CIptvWizardManager::RemoveStaleMcastStreamBlocks(core::CPort* port) {
    framework::ScriptableVec stream_blocks;
    port->GetObjects(stream_blocks, std::string("StreamBlock"), common::kParentChild);
    for (CScriptable* block : stream_blocks) {
        if (SendsOnlyToGroups(*block)) block->MarkDelete(true, true);
    }
}

}  // namespace orv::iptv
