#include "IptvProtocol.h"

#include "config/IptvStbBlockConfig.h"

namespace orv::iptv {

CIptvProtocol* CIptvProtocol::Instance() {
    static CIptvProtocol protocol;
    return &protocol;
}

void CIptvProtocol::GetManagedProtocolConfig(std::vector<std::uint32_t>& handles) {
    std::vector<std::uint32_t> ports;
    CIptvStbBlockConfig::FindObjectHandles(ports);
    for (const std::uint32_t port : ports) {
        std::vector<CIptvStbBlockConfig*> blocks;
        CIptvStbBlockConfig::FindObjects(port, blocks);
        for (const CIptvStbBlockConfig* block : blocks) {
            if (block && !block->IsDeleted()) handles.push_back(block->GetHandle());
        }
    }
}

}  // namespace orv::iptv
