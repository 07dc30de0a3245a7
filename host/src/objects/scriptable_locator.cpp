#include "orv/framework/scriptable_locator.h"

#include "model/containment.h"
#include "orv/framework/singletons.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

CScriptableLocator& CScriptableLocator::Instance() {
    static CScriptableLocator locator;
    return locator;
}

void CScriptableLocator::GetObjectsEx(ScriptableVec& objects, ClassId id, const CScriptable* root,
                                      std::uint32_t options) const {
    if (!root) root = FindSingleton(ids::System::CLASS);
    if (!root || ((options & LOCATE_SKIP_INACTIVE_ROOTS) && !root->GetActive())) return;
    if ((options & LOCATE_SKIP_DELETED) && root->IsDeleted()) return;
    if (root->IsTypeOf(id)) objects.push_back(const_cast<CScriptable*>(root));
    if (!Holders::Of(id).Contains(root->GetMetaClass())) return;
    ScriptableVec children;
    root->GetObjects(children, CScriptable::CLASS_ID(), common::kParentChild);
    for (const CScriptable* child : children) {
        GetObjectsEx(objects, id, child, options & ~std::uint32_t{LOCATE_SKIP_INACTIVE_ROOTS});
    }
}

}  // namespace orv::framework
