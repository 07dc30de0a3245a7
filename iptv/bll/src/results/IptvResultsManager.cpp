#include "results/IptvResultsManager.h"

namespace orv::iptv {

CIptvResultsManager* CIptvResultsManager::m_resultManager = nullptr;

CIptvResultsManager* CIptvResultsManager::GetResultsManager() {
    // Never destroyed: messages of ports may arrive until the process is gone.
    if (!m_resultManager) m_resultManager = new CIptvResultsManager;
    return m_resultManager;
}

}  // namespace orv::iptv
