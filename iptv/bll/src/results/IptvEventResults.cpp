#include "results/IptvEventResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

ClassId CIptvEventResults::CLASS_ID() {
    static const ClassId id = ids::IptvEventResults::CLASS;
    return id;
}

const framework::CMetaClass* CIptvEventResults::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvEventResults> registration{CIptvEventResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
