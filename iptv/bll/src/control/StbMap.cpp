// Which STB blocks a test has, and on which ports.
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "control/FindByHandle.h"
#include "control/IptvStartTestCommand.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"

namespace orv::iptv {

namespace {

void LogMissing(const char* object, const char* from) {
    LogResource(devLogger(), LogLevelType::Error, resource::kBadObjectError,
                {object, from, "CIptvStartTestCommand::CreateStbMap"});
}

/// Null, and a word in the log, for a block that lies on no port.
const core::CPort* FindPort(const CIptvStbBlockConfig& block) {
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    if (!device) {
        LogMissing("EmulatedDevice", "IptvStbBlockConfig");
        return nullptr;
    }
    const core::CPort* port = device->GetPort();
    if (!port) LogMissing("Port", "EmulatedDevice");
    return port;
}

}  // namespace

std::vector<CIptvStbBlockConfig*> CIptvStartTestCommand::GetStbBlocks() const {
    framework::ScriptableVec objects;
    ProcessInputHandleVec(CIptvStbBlockConfig::CLASS_ID(), GetStbBlockList(), objects,
                          INPUT_SKIP_INACTIVE_ROOTS);
    std::vector<CIptvStbBlockConfig*> blocks;
    blocks.reserve(objects.size());
    for (CScriptable* object : objects) {
        auto* block = dynamic_cast<CIptvStbBlockConfig*>(object);
        if (!block) {
            ThrowLookupFailure(
                {"IptvStbBlockConfig", "Block Handle List", "CIptvStartTestCommand::GetStbBlocks"},
                "IptvStbBlockConfig.");
        }
        // A block that is named itself is found even when the next apply will destroy it.
        if (!block->IsDeleted()) blocks.push_back(block);
    }
    return blocks;
}

void CIptvStartTestCommand::CreateStbMap(StbPortMap& map, const std::vector<std::uint32_t>& stbBlocks,
                                         bool onlineOnly) {
    for (auto& [port, blocks] : map) blocks.clear();
    for (const std::uint32_t handle : stbBlocks) {
        const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
        if (!block || !block->GetActive() || block->IsDeleted()) continue;
        const core::CPort* port = FindPort(*block);
        if (!port || (onlineOnly && !port->IsReachable())) continue;
        map[port->GetHandle()].push_back(handle);
    }
}

}  // namespace orv::iptv
