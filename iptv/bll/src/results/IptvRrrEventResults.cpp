#include "results/IptvRrrEventResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

ClassId CIptvRrrEventResults::CLASS_ID() {
    static const ClassId id = ids::IptvRrrEventResults::CLASS;
    return id;
}

const framework::CMetaClass* CIptvRrrEventResults::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvRrrEventResults> registration{CIptvRrrEventResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
