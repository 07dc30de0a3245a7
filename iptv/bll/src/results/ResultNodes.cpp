#include "results/ResultNodes.h"

#include "IptvErrors.h"
#include "IptvLog.h"
#include "orv/common/exceptions.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"

namespace orv::iptv {

using framework::CScriptable;

CScriptable* GetResultTypeNode(const common::ClassId& id, CScriptable* parent, bool findExisting,
                               bool addResultChild) {
    const framework::CMetaClass* mc = framework::CMetaClassManager::Instance().GetClass(id);
    ORV_ASSERT(mc != NULL, "Failed to read metaclass");
    CScriptable* result = findExisting ? parent->GetObject(id, common::kParentChild) : nullptr;
    if (!result) {
        // The creator names it after its class and handle.
        result = framework::CScriptableCreator().Create(mc, parent);
        if (!result) {
            LogCreationFailure(mc->GetName());
            return nullptr;
        }
    }
    if (addResultChild && !parent->ContainsObject(*result, ids::relations::ResultChild)) {
        std::string why;
        if (!parent->AddObject(*result, ids::relations::ResultChild, &why)) {
            LogText(devLogger(), LogLevelType::Error, [&] {
                return "Unable to add ResultChild relation for " + result->GetName() + " to " +
                       parent->GetName() + ": " + why;
            });
        }
    }
    return result;
}

}  // namespace orv::iptv
