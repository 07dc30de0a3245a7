#include "results/IptvBaseEventResults.h"

#include "InitAttributeBuilder.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

ClassId CIptvBaseEventResults::CLASS_ID() {
    static const ClassId id = ids::IptvBaseEventResults::CLASS;
    return id;
}

const framework::CMetaClass* CIptvBaseEventResults::GetMetaClassStatic() {
    static const framework::CMetaClass* const meta_class =
        framework::CMetaClassManager::Instance().GetClass(CLASS_ID());
    return meta_class;
}

namespace {

const bool init_ab = InitAttributeBuilder();

}  // namespace

}  // namespace orv::iptv
