#include "orv/core/network_interface_stack_enumerator.h"

#include "orv/common/exceptions.h"
#include "orv/framework/meta_class.h"

namespace orv::core {

CNetworkInterfaceStackEnumerator::CNetworkInterfaceStackEnumerator(const CNetworkInterface& top)
    : count_(top.GetInstanceCount()) {
    for (const CNetworkInterface* layer = &top; layer; layer = layer->GetLowerInterface()) {
        // Made without the creator: such an object needs neither a handle nor its class's OnInit.
        framework::CScriptable* object = layer->GetMetaClass()->GetFactory().make();
        object->SetMetaClass(layer->GetMetaClass());
        object->DoCloneCopyProperties(*layer);
        ranges_.push_back(layer);
        interfaces_.push_back(dynamic_cast<CNetworkInterface*>(object));
    }
}

CNetworkInterfaceStackEnumerator::~CNetworkInterfaceStackEnumerator() {
    for (CNetworkInterface* interface : interfaces_) framework::ReleaseScriptable(interface);
}

const std::vector<CNetworkInterface*>& CNetworkInterfaceStackEnumerator::GetInterfaceList(
    std::uint32_t endpoint) {
    ORV_ASSERT(endpoint < count_, "There is no such endpoint");
    for (std::size_t layer = 0; layer < interfaces_.size(); ++layer) {
        interfaces_[layer]->TakeValuesOfHost(*ranges_[layer], endpoint);
    }
    return interfaces_;
}

}  // namespace orv::core
