#include "control/StbMap.h"

#include "FindByHandle.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"

namespace orv::iptv {

namespace {

void LogMissing(const char* object, const char* from) {
    LogResource(devLogger(), LogLevelType::Error, resource::kBadObjectError,
                {object, from, "CIptvStartTestCommand::CreateStbMap"});
}

/// Null for a block on no port, which is logged.
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

void CreateStbMap(StbPortMap& map, const std::vector<std::uint32_t>& stbBlocks, bool onlineOnly) {
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
