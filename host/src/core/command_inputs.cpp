#include "command_inputs.h"

#include <algorithm>

#include "orv/core/project.h"

namespace orv::core {

void CoverWholeProject(framework::CCommand& command, framework::PropId list) {
    if (const CProject* project = CProject::GetCurrentActiveInstance()) {
        command.SetCollection<std::uint32_t>(list, {project->GetHandle()});
    }
}

std::string JoinNames(const framework::ScriptableVec& objects, std::size_t most) {
    std::string text;
    const std::size_t shown = std::min(objects.size(), most);
    for (std::size_t i = 0; i < shown; ++i) text += (i == 0 ? "" : ", ") + objects[i]->GetName();
    if (shown < objects.size()) text += " and " + std::to_string(objects.size() - shown) + " more";
    return text;
}

}  // namespace orv::core
