#include "orv/core/rcm_db.h"

#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"

namespace orv::core {

bool RcmKeyMgr::GetLookupKey(std::uint32_t portHandle, const std::string& service, RcmKey& key) {
    const auto* port = dynamic_cast<const CPort*>(framework::CHandleRegistry::Instance().Find(portHandle));
    key = {service, port ? port->GetMessenger().ToMessengerString() : std::string()};
    return port != nullptr;
}

RcmDBMgr& RcmDBMgr::Instance() {
    static RcmDBMgr manager;
    return manager;
}

std::optional<RcmValue> RcmDBMgr::GetDBValue(const RcmKey& key, const std::string& name) const {
    auto found = values_.find(Place(key.service, key.location, name));
    if (found == values_.end()) found = values_.find(Place(key.service, std::string(), name));
    if (found == values_.end()) return std::nullopt;
    return found->second;
}

void RcmDBMgr::SetDBValue(const RcmKey& key, const std::string& name, RcmValue value) {
    values_[Place(key.service, key.location, name)] = std::move(value);
}

}  // namespace orv::core
