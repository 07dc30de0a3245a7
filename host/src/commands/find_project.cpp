#include "find_project.h"

#include "orv/framework/scriptable.h"
#include "orv/framework/singletons.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

CScriptable* FindProject(const CScriptable& object) {
    for (CScriptable* above = object.GetParent(); above; above = above->GetParent()) {
        if (above->IsTypeOf(ids::Project::CLASS)) return above;
    }
    const CScriptable* system = FindSingleton(ids::System::CLASS);
    return system ? system->GetObject(ids::Project::CLASS, common::kParentChild) : nullptr;
}

}  // namespace orv::framework
