#include "stb_block_names.h"

#include "orv/core/project.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

const std::string& StbBlockNames::FindName(std::uint32_t handle) {
    if (!names_.contains(handle)) Look();
    return names_.try_emplace(handle, "#" + std::to_string(handle)).first->second;
}

std::uint32_t StbBlockNames::FindHandle(const std::string& name) {
    if (!handles_.contains(name)) Look();
    const auto found = handles_.find(name);
    return found == handles_.end() ? 0 : found->second;
}

void StbBlockNames::Look() {
    framework::ScriptableVec blocks;
    framework::CScriptableLocator::Instance().GetObjectsEx(
        blocks, ids::IptvStbBlockConfig::CLASS, core::CProject::GetCurrentActiveInstance(),
        framework::CScriptableLocator::LOCATE_SKIP_DELETED);
    std::unordered_map<std::string, int> uses;
    for (const auto* block : blocks) ++uses[block->GetName()];
    for (const auto* block : blocks) {
        const bool is_unique = uses[block->GetName()] == 1;
        const std::string name =
            is_unique ? block->GetName() : block->GetParent()->GetName() + "/" + block->GetName();
        names_[block->GetHandle()] = name;
        handles_[name] = block->GetHandle();
    }
}

}  // namespace orv::app
