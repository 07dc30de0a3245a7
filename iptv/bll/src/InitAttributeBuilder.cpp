#include "InitAttributeBuilder.h"

#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"

namespace orv::iptv {

bool InitAttributeBuilder() {
    static const bool activated = [] {
        framework::CStaticRegistration::Run(
            [] { framework::CMetaClassManager::Instance().ActivateDataModel(kDataModelId); });
        return true;
    }();
    return activated;
}

}  // namespace orv::iptv
