#include "wizard/IptvWizardMcastPorts.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

ClassId CIptvWizardMcastPorts::CLASS_ID() {
    static const ClassId id = ids::IptvWizardMcastPorts::CLASS;
    return id;
}

const framework::CMetaClass* CIptvWizardMcastPorts::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvWizardMcastPorts> registration{CIptvWizardMcastPorts::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
