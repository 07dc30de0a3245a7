// Saves a test's results, and the tree of views that show them.
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "orv/core/orv_system.h"
#include "orv/core/test_result_manager.h"
#include "orv/ids/framework_ids.h"
#include "results/IptvResultsManager.h"
#include "results/views/ResultTree.h"
#include "results/views/ViewDefinitions.h"

namespace orv::iptv {

namespace {

struct Shown {
    bool ipv4;
    bool ipv6;
    bool event_rows;
    bool retransmission;
};

CScriptable* BuildTree(ResultTree& tree, const Shown& shown) {
    CScriptable* root = tree.CreateIterationSummaryViewNode(&core::COrvSystem::Instance(), 0);
    const auto add_pair = [&](const views::View& config, const views::View& result) {
        tree.CreateViewNode(tree.CreateViewNode(root, config), result);
    };
    add_pair(views::kPortConfig, views::kPortResult);
    if (shown.ipv4) add_pair(views::kIpv4StbConfig, views::kIpv4StbResult);
    if (shown.ipv6) add_pair(views::kIpv6StbConfig, views::kIpv6StbResult);
    add_pair(views::kChannelConfig, views::kChannelResult);
    add_pair(views::kProfileConfig, views::kProfileResult);
    if (shown.event_rows) {
        tree.CreateViewNode(root, views::kEventResult);
        if (shown.retransmission) tree.CreateViewNode(root, views::kRrrEventResult);
        tree.CreateDetailedTemplateViewNode(root);
    }
    tree.CreateSummaryTemplateViewNode(root);
    return root;
}

/// Destroys the tree's objects in any case, also after an exception.
class TreeOfTest : public ResultTree {
  public:
    using ResultTree::ResultTree;
    ~TreeOfTest() { Destroy(); }
};

constexpr std::uint8_t kStatusFailed = 2;

}  // namespace

void CIptvResultsManager::SaveToDatabase(double failPercent) {
    Trace([] {
        return "Saving Final Set of results into database and creating tree views for Results Reporter";
    });
    auto* database = core::TestResultManager::GetCurrentInstance();
    m_resultsPending = false;
    // A test that was stopped before it had a data set must not write to that of the previous test.
    if (database && m_databasePath.empty()) return;
    const std::uint32_t data_set = database ? database->GetDataSetId() : 0;
    TreeOfTest tree(m_run.kind, data_set == 0 ? 1 : data_set);
    CScriptable* root =
        BuildTree(tree, {m_hasIpv4, m_hasIpv6, m_hasEventRows, m_run.kind.HasRetransmission()});
    if (!m_run.Passes(failPercent)) root->Set(ids::EotResultNode::Status, kStatusFailed);
    if (!database) {
        LogResource(devLogger(), LogLevelType::Warn, resource::kBadObjectError,
                    {"TestResultMananger", "Static Function", "CIptvResultsManager::SaveToDatabase"});
        return;
    }
    m_unsavedRows.Save(*database);
    SaveTimeSeries(m_distributions, *database);
    database->SaveObjects({ids::EotResultNode::CLASS});
    database->SetRootNode(*root);
    if (database->MustFinalise()) database->Finalise();
    m_resultsSaved = true;
}

}  // namespace orv::iptv
