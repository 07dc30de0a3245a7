#include "orv/core/if_manager.h"

#include <algorithm>
#include <memory>

namespace orv::core {

CIfManager& CIfManager::Instance() {
    static CIfManager manager;
    return manager;
}

void CIfManager::RegisterInterfaceUserFinderFactoryMethod(const FinderFactory& factory) {
    if (std::find(factories_.begin(), factories_.end(), factory) == factories_.end())
        factories_.push_back(factory);
}

InterfaceUserMap CIfManager::GetInterfaceUsers(const CPort& port) const {
    InterfaceUserMap users;
    for (const FinderFactory& factory : factories_) {
        const std::unique_ptr<INetworkInterfaceUserFinder> finder(factory(&port));
        if (finder) finder->GetInterfaceUserContainerMapForPort(users);
    }
    return users;
}

}  // namespace orv::core
