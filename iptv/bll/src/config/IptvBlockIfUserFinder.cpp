#include "config/IptvBlockIfUserFinder.h"

#include "config/IptvStbBlockConfig.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"

namespace orv::iptv {

core::INetworkInterfaceUserFinder* CIptvBlockIfUserFinder::IptvBlockIfUserFinderMaker(
    const core::CPort* port) {
    return new CIptvBlockIfUserFinder(port);
}

void CIptvBlockIfUserFinder::GetInterfaceUserContainerMapForPort(core::InterfaceUserMap& users) {
    if (!port_) return;
    std::vector<CIptvStbBlockConfig*> blocks;
    CIptvStbBlockConfig::FindObjects(port_->GetHandle(), blocks);
    for (CIptvStbBlockConfig* block : blocks) {
        if (block->IsDeleted() || !block->GetActive()) continue;
        if (core::CNetworkInterface* interface = block->GetMcastIf())
            users[block->GetParent()][block].insert(interface);
    }
}

}  // namespace orv::iptv
