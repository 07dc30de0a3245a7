#include "orv/framework/command_status_manager.h"

namespace orv::framework {

CCommandStatusManager& CCommandStatusManager::Instance() {
    static CCommandStatusManager manager;
    return manager;
}

void CCommandStatusManager::SetCommandStatus(std::uint32_t handle, common::ClassId commandClass,
                                             bool enabled) {
    if (enabled) {
        disabled_.erase({handle, commandClass});
    } else {
        disabled_.emplace(handle, commandClass);
    }
}

bool CCommandStatusManager::GetCommandStatus(std::uint32_t handle, common::ClassId commandClass) const {
    return !disabled_.contains({handle, commandClass});
}

}  // namespace orv::framework
