#include "traffic.h"

#include <fmt/format.h>

#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/generator.h"
#include "orv/l2l3/stream_index_manager.h"

namespace orv::app {

bool IsGeneratorRunning(const core::CPort& port) {
    const auto* generator = dynamic_cast<const l2l3::CGenerator*>(
        port.GetObject(l2l3::CGenerator::CLASS_ID(), common::kParentChild));
    return generator && generator->GetState() == ids::GeneratorState::RUNNING;
}

std::vector<const l2l3::CStreamBlock*> GetActiveStreamBlocks(const core::CPort& port) {
    framework::ScriptableVec objects;
    port.GetObjects(objects, l2l3::CStreamBlock::CLASS_ID(), common::kParentChild);
    std::vector<const l2l3::CStreamBlock*> blocks;
    for (const framework::CScriptable* object : objects) {
        if (!object->IsDeleted() && object->GetActive())
            blocks.push_back(&dynamic_cast<const l2l3::CStreamBlock&>(*object));
    }
    return blocks;
}

std::string FindStreamCountProblem(const l2l3::CStreamBlock& block) {
    constexpr std::uint64_t most = l2l3::CStreamIndexManager::kMaxStreamsPerBlock;
    const std::uint64_t count = block.GetStreamCount();
    if (count <= most) return {};
    return fmt::format("it has {} streams; a stream block has at most {}", count, most);
}

}  // namespace orv::app
