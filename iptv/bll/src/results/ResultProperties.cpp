#include "results/ResultProperties.h"

#include "orv/framework/meta_class_manager.h"

namespace orv::iptv {

void ZeroOwnNumbers(framework::CScriptable& result, common::ClassId id) {
    const framework::CMetaClass* meta_class = framework::CMetaClassManager::Instance().GetClass(id);
    for (const framework::CPropertyMeta& property : meta_class->GetDefinition().own_properties) {
        switch (property.type) {
            case framework::PropertyType::Double:
                result.Set(property.id, 0.0);
                break;
            case framework::PropertyType::U64:
                result.Set(property.id, std::uint64_t{0});
                break;
            case framework::PropertyType::U32:
                result.Set(property.id, std::uint32_t{0});
                break;
            default:
                break;
        }
    }
}

}  // namespace orv::iptv
