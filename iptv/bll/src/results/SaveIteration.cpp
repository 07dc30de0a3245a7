// Saving the results of one iteration of a sequence.
#include <algorithm>
#include <boost/filesystem.hpp>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "orv/common/exceptions.h"
#include "orv/core/orv_system.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/framework_ids.h"
#include "results/IptvResultsHandler.h"
#include "results/IptvResultsManager.h"
#include "results/views/ResultTree.h"

namespace orv::iptv {

namespace fs = boost::filesystem;

namespace {

void LogMissing(const char* object) {
    LogResource(devLogger(), LogLevelType::Error, resource::kBadObjectError,
                {"CIptvResultsHandler", object, "CIptvResultsHandler::CollectAndSave"});
}

/// Moves the results of a test to the folder of the iteration's database, and removes their old folder if it
/// is empty then. Returns the new path; empty, after logging, on failure.
std::string MoveDatabase(const std::string& from, const std::string& iteration_database) {
    const fs::path old_path(from);
    const fs::path new_path = fs::path(iteration_database).parent_path() / old_path.filename();
    if (old_path == new_path) return new_path.string();
    const auto stays = [&from](const std::string& why) {
        LogText(userLogger(), LogLevelType::Error,
                [&] { return "The results of the iteration stay in " + from + ": " + why; });
        return std::string();
    };
    // Rows in the write-ahead log beside the file would be lost.
    if (fs::exists(from + "-wal")) return stays("another program is reading them");
    boost::system::error_code error;
    fs::rename(old_path, new_path, error);
    if (error) return stays(error.message());
    fs::remove(old_path.parent_path(), error);  // fails if other files are in it
    return new_path.string();
}

CScriptable* MakeIterationView(int iteration) {
    CScriptable* view = framework::CScriptableCreator().Create(ids::EotResultViewDefinition::CLASS,
                                                               &core::COrvSystem::Instance());
    if (!view) return nullptr;
    view->Set("Name", "IPTV Iteration " + std::to_string(iteration));
    view->Set("Description", "Summary of IPTV Results");
    view->Set("Category", "");
    view->Set("ResultViewType", "SQL_GRID");
    view->Set("SqlCommand",
              "SELECT TestResult AS 'Test Result' FROM IptvTestResults WHERE DataSetId = @DataSetId");
    return view;
}

/// Null, after logging, if it cannot be created.
CScriptable* MakeIterationNode(ResultTree& tree, CScriptable& parent, int iteration) {
    try {
        return tree.CreateIterationSummaryViewNode(&parent, iteration);
    } catch (const common::COrvException& error) {
        LogText(devLogger(), LogLevelType::Error, error.what());
        return nullptr;
    }
}

}  // namespace

void CIptvResultsHandler::CollectAndSave(bool, std::set<ClassId>) {
    CIptvResultsManager* manager = CIptvResultsManager::FindResultsManager();
    if (!manager) return LogMissing("iptvResManager");
    if (!manager->GetRun().save_per_iteration) return;
    auto* database = core::TestResultManager::GetCurrentInstance();
    if (!database) return LogMissing("testResManager");
    const std::string current = database->GetDatabasePath();
    if (current.find("-Iter-") == std::string::npos || manager->GetDatabasePath().empty()) return;

    const std::string moved = MoveDatabase(manager->GetDatabasePath(), current);
    const auto* first =
        core::COrvSystem::Instance().GetObject(ids::EotResultNode::CLASS, common::kParentChild);
    if (!first || first->GetU32(ids::EotResultNode::ViewDefinition) == 0) return;
    const std::string description = first->GetString(ids::EotResultNode::Description);
    if (description.find("Result Description") == std::string::npos) return;

    CScriptable* view = MakeIterationView(database->GetIterationNumber());
    ResultTree tree(manager->GetRun().kind, std::max(database->GetDataSetId(), 1u));
    CScriptable* node =
        view ? MakeIterationNode(tree, *const_cast<CScriptable*>(first), database->GetIterationNumber())
             : nullptr;
    if (!node) {
        if (view) view->MarkDelete(true, true);
        return LogMissing("newSummaryEotNode");
    }
    node->Set(ids::EotResultNode::ViewDefinition, view->GetHandle());
    node->SetT<std::string>(ids::EotResultNode::Description, description);
    database->SaveObjects({ids::EotResultNode::CLASS});
    if (!moved.empty()) database->RegisterIterationDatabase(*node, moved);
}

}  // namespace orv::iptv
