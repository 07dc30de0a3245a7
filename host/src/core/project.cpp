#include "orv/core/project.h"

#include <algorithm>
#include <vector>

#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"

namespace orv::core {

namespace {

/// A project that replaces another may exist beside it for a while, and either may go first.
std::vector<CProject*>& Projects() {
    static std::vector<CProject*> projects;
    return projects;
}

}  // namespace

CProject::CProject() {
    Projects().push_back(this);
}

CProject::~CProject() {
    std::erase(Projects(), this);
}

framework::ClassId CProject::CLASS_ID() {
    return ids::Project::CLASS;
}

CProject* CProject::GetCurrentActiveInstance() {
    const auto& projects = Projects();
    const auto found = std::find_if(projects.rbegin(), projects.rend(), [](const CProject* project) {
        return project->GetMetaClass() && !project->IsDeleted();
    });
    return found == projects.rend() ? nullptr : *found;
}

ORV_REGISTER_CLASS(CProject);

}  // namespace orv::core
