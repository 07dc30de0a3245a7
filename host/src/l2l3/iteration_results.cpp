#include "orv/l2l3/iteration_results.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <utility>

#include "orv/core/eot_result.h"
#include "orv/core/orv_system.h"
#include "orv/core/result.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/stream_block.h"

namespace orv::l2l3 {

using framework::CScriptable;
using framework::ScriptableVec;
namespace Id = ids::EOTResultsWriteIterationCommand;

namespace {

/// The result nodes and view definitions that come into being while it lives go with it.
class TemporaryNodes {
  public:
    TemporaryNodes() : before_(List()) {}
    ~TemporaryNodes() {
        for (const std::uint32_t handle : List()) {
            CScriptable* object = framework::CHandleRegistry::Instance().Find(handle);
            if (object && !before_.contains(handle)) object->Delete();
        }
    }
    TemporaryNodes(const TemporaryNodes&) = delete;
    TemporaryNodes& operator=(const TemporaryNodes&) = delete;

  private:
    static std::set<std::uint32_t> List() {
        const auto& system = core::COrvSystem::Instance();
        ScriptableVec objects;
        system.GetObjects(objects, core::CEotResultNode::CLASS_ID(), common::kParentChild);
        system.GetObjects(objects, core::CEotResultViewDefinition::CLASS_ID(), common::kParentChild);
        std::set<std::uint32_t> handles;
        for (const CScriptable* object : objects) handles.insert(object->GetHandle());
        return handles;
    }
    std::set<std::uint32_t> before_;
};

/// While it lives, what the manager keeps are the results of an iteration.
class IterationNumber {
  public:
    IterationNumber(core::TestResultManager& database, int iteration)
        : before_(database.GetIterationNumber()) {
        database.SetIterationNumber(iteration);
    }
    ~IterationNumber() {
        // The manager may have been destroyed during a wait.
        if (auto* database = core::TestResultManager::GetCurrentInstance())
            database->SetIterationNumber(before_);
    }
    IterationNumber(const IterationNumber&) = delete;
    IterationNumber& operator=(const IterationNumber&) = delete;

  private:
    int before_;
};

/// A data set: the file, and its number in it.
using DataSet = std::pair<std::string, std::uint32_t>;

/// What was written last. While the manager still has it open, no test has run since.
DataSet& LastWritten() {
    static DataSet data_set;
    return data_set;
}

/// A path without ending, in a folder that does not exist yet: what is there belongs to an earlier run.
std::string MakePath(const std::filesystem::path& results, const std::string& type, int iteration) {
    const std::string name = type + "-Iter-" + std::to_string(iteration);
    std::filesystem::path folder = results.parent_path() / name;
    for (int i = 2; std::filesystem::exists(folder); ++i)
        folder = results.parent_path() / (name + "-" + std::to_string(i));
    return (folder / type).string();
}

/// The node below which the result handlers put theirs.
core::CEotResultNode& MakeNode(const std::string& type, int iteration, std::uint32_t data_set) {
    framework::CScriptableCreator creator;
    auto& system = core::COrvSystem::Instance();
    const std::string name = type + " Iteration " + std::to_string(iteration);
    auto& definition = creator.Make<core::CEotResultViewDefinition>(&system);
    definition.Set("Name", name);
    definition.SetDescription("Files of the iteration's results");
    definition.SetResultViewType("SQL_GRID");
    definition.SetSqlCommand("SELECT Path FROM IterationDatabases WHERE DataSetId = @DataSetId");
    auto& node = creator.Make<core::CEotResultNode>(&system);
    node.Set("Name", name);
    node.SetDescription(name + " Result Description");
    node.SetViewDefinition(definition);
    node.SetParameter("@DataSetId", std::to_string(data_set));
    return node;
}

}  // namespace

framework::ClassId CEotResultsWriteIterationCommand::CLASS_ID() {
    return Id::CLASS;
}

std::uint32_t CEotResultsWriteIterationCommand::GetIteration() const {
    for (const CScriptable* above = GetParent(); above; above = above->GetParent()) {
        if (above->IsTypeOf(framework::CSequencerLoopCommand::CLASS_ID()))
            return std::max(above->GetU32(ids::SequencerLoopCommand::CurrentIteration), 1u);
    }
    return 1;
}

void CEotResultsWriteIterationCommand::RefreshStreamBlocks() const {
    ScriptableVec blocks;
    ProcessInputHandleVec(CStreamBlock::CLASS_ID(), GetCollection<std::uint32_t>(Id::StreamBlockList),
                          blocks);
    for (CScriptable* block : blocks) dynamic_cast<CStreamBlock&>(*block).Refresh();
}

// Storing waits for the disk, and others get their turn then: objects are found anew after each such call.
void CEotResultsWriteIterationCommand::DoRun() {
    RefreshStreamBlocks();
    auto* database = core::TestResultManager::GetCurrentInstance();
    if (!database) return SetStatus("no results are kept");
    const std::string results = database->GetDatabasePath();
    if (results.empty() || LastWritten() == DataSet(results, database->GetDataSetId()))
        return SetStatus("there are no results to write");

    const auto iteration = static_cast<int>(GetIteration());
    const std::string type = GetString(Id::TestType).empty() ? "Test" : GetString(Id::TestType);
    const TemporaryNodes nodes;
    const IterationNumber number(*database, iteration);
    database->SetTestResultSetting({type + "_Iteration_Results", "", MakePath(results, type, iteration)});
    if (database->GetDatabasePath().empty()) return SetStatus(database->GetErrorText());
    LastWritten() = {database->GetDatabasePath(), database->GetDataSetId()};
    database->SaveConfiguration(GetBool(Id::EnableDetailedResultsCollection));
    const std::uint32_t node = MakeNode(type, iteration, database->GetDataSetId()).GetHandle();
    const std::vector<core::CResultHandler*> handlers = core::CResultModule::Instance().GetHandlers();
    for (core::CResultHandler* handler : handlers)
        handler->CollectAndSave(true, {core::CEotResultNode::CLASS_ID()});
    database->SaveObjects({core::CEotResultNode::CLASS_ID()});
    if (CScriptable* root = framework::CHandleRegistry::Instance().Find(node)) database->SetRootNode(*root);
    database->Finalise();
    SetStatus(database->GetErrorText());
}

ORV_REGISTER_CLASS(CEotResultsWriteIterationCommand);

}  // namespace orv::l2l3
