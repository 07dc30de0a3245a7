#include "orv/core/protocol.h"

#include <algorithm>
#include <tuple>

#include "orv/common/exceptions.h"

namespace orv::core {

CProtocol::~CProtocol() = default;
void CProtocol::StartStopProtocol(bool) {}
void CProtocol::StartStopProtocol(bool, const std::vector<std::uint32_t>&) {}
void CProtocol::StartStopProtocolConfigs(bool, const std::vector<std::uint32_t>&) {}
int CProtocol::EstablishProtocol(std::list<CScriptable*>&) {
    return 0;
}
int CProtocol::AdvertiseProtocol(std::list<CScriptable*>&) {
    return 0;
}
int CProtocol::GetFlapEvents(std::vector<FlapEvent>&) {
    return 0;
}
void CProtocol::ConfigureFlapCommands(const std::vector<std::uint32_t>&) {}

CProtocolModule& CProtocolModule::Instance() {
    static CProtocolModule module;
    return module;
}

void CProtocolModule::RegisterProtocol(CProtocol* protocol) {
    for (const CProtocol* known : protocols_) {
        if (known->GetId() == protocol->GetId() || known->GetName() == protocol->GetName()) {
            throw common::COrvLogicError("protocol " + protocol->GetName() + " (id " +
                                         std::to_string(protocol->GetId()) +
                                         ") cannot be registered beside " + known->GetName() + " (id " +
                                         std::to_string(known->GetId()) + ")");
        }
    }
    protocols_.push_back(protocol);
}

std::vector<CProtocol*> CProtocolModule::GetProtocols() const {
    std::vector<CProtocol*> ordered = protocols_;
    std::stable_sort(ordered.begin(), ordered.end(), [](const CProtocol* a, const CProtocol* b) {
        return std::make_tuple(a->GetCategoryStartPriority(), a->GetProtocolStartPriority()) <
               std::make_tuple(b->GetCategoryStartPriority(), b->GetProtocolStartPriority());
    });
    return ordered;
}

CProtocol* CProtocolModule::FindProtocol(const std::string& name) const {
    const auto found = std::find_if(protocols_.begin(), protocols_.end(),
                                    [&name](const CProtocol* known) { return known->GetName() == name; });
    return found == protocols_.end() ? nullptr : *found;
}

}  // namespace orv::core
