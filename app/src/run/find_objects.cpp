#include "find_objects.h"

#include <algorithm>

#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/mcastcore_ids.h"

namespace orv::app {

ScriptableVec FindBelow(const CScriptable& root, common::ClassId id) {
    ScriptableVec objects;
    framework::CScriptableLocator::Instance().GetObjectsEx(
        objects, id, &root, framework::CScriptableLocator::LOCATE_SKIP_DELETED);
    return objects;
}

ScriptableVec FindActive(const CScriptable& root, common::ClassId id) {
    ScriptableVec objects = FindBelow(root, id);
    std::erase_if(objects, [](const CScriptable* object) { return !object->GetActive(); });
    return objects;
}

std::vector<const framework::CCommand*> FindStartCommands() {
    std::vector<const framework::CCommand*> commands;
    for (const CScriptable* object :
         FindActive(framework::CSequencer::Instance(), ids::IptvStartTestCommand::CLASS))
        commands.push_back(dynamic_cast<const framework::CCommand*>(object));
    return commands;
}

ScriptableVec FindStbBlocks(const framework::CCommand& start) {
    ScriptableVec blocks;
    start.ProcessInputHandleVec(ids::IptvStbBlockConfig::CLASS,
                                start.GetCollection<std::uint32_t>(ids::IptvStartTestCommand::StbBlockList),
                                blocks, framework::CCommand::INPUT_SKIP_INACTIVE_ROOTS);
    return blocks;
}

ScriptableVec FindStbBlocks(const core::CProject& project) {
    ScriptableVec blocks = FindBelow(project, ids::IptvStbBlockConfig::CLASS);
    ScriptableVec covered;
    for (const framework::CCommand* start : FindStartCommands()) {
        const ScriptableVec more = FindStbBlocks(*start);
        covered.insert(covered.end(), more.begin(), more.end());
    }
    std::sort(covered.begin(), covered.end());
    std::erase_if(blocks, [&covered](CScriptable* block) {
        return !block->GetActive() && !std::binary_search(covered.begin(), covered.end(), block);
    });
    return blocks;
}

ScriptableVec FindBlockResults(const core::CProject& project) {
    ScriptableVec results, blocks;
    for (const CScriptable* device : FindBelow(project, ids::EmulatedDevice::CLASS)) {
        blocks.clear();
        device->GetObjects(blocks, ids::IptvStbBlockConfig::CLASS, common::kParentChild);
        for (const CScriptable* block : blocks) {
            if (block->IsDeleted()) continue;
            CScriptable* result = block->GetObject(ids::IptvStbBlockResults::CLASS, common::kParentChild);
            if (result && !result->IsDeleted()) results.push_back(result);
        }
    }
    return results;
}

bool IsIpv4(const CScriptable& group_or_protocol) {
    return group_or_protocol.IsTypeOf(ids::Ipv4Group::CLASS) ||
           group_or_protocol.IsTypeOf(ids::IgmpHostConfig::CLASS);
}

}  // namespace orv::app
