// Results for subscribers, and the files of single iterations.
#include "results/IptvResultsHandler.h"

#include <fstream>

#include "orv/core/orv_system.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CScriptableCreator;
using iptv::CIptvResultsHandler;
namespace fs = std::filesystem;

class HandlerTest : public ResultsTest {
  protected:
    HandlerTest() {
        [[maybe_unused]] static const bool once = [] {
            core::CResultModule::Instance().RegisterResultHandler(CIptvResultsHandler::Instance(), false);
            return true;
        }();
    }
    void Report() { Manager().BinManager({EventsOf(a, {MakeView(1, 2)}), EventsOf(b, {MakeView(1, 12)})}); }
};

TEST_F(HandlerTest, SubscribersSeeTheResultsThatTheyAskedForUntilTheyLeave) {
    std::vector<std::string> told;
    auto& module = core::CResultModule::Instance();
    const auto subscribe = [&](const CScriptable& parent, const std::string& name) {
        return module.Subscribe(
            ids::IptvStbBlockResults::CLASS, {parent.GetHandle()},
            [&told, name](std::uint32_t, const core::CResult* result) {
                told.push_back(name + (result ? result->GetParent()->GetName() : std::string("gone")));
            });
    };
    Start();
    const std::uint32_t all = subscribe(project.Root(), "all ");
    const std::uint32_t one = subscribe(b, "one ");
    Report();
    EXPECT_THAT(std::exchange(told, {}), testing::UnorderedElementsAre("all A", "all B", "one B"));
    module.Unsubscribe(all);
    EXPECT_THAT(std::exchange(told, {}), Contains("all gone"));
    Report();
    EXPECT_THAT(std::exchange(told, {}), ElementsAre("one B"));
    module.Unsubscribe(one);
    told.clear();
    Report();
    EXPECT_THAT(told, IsEmpty());
}

TEST_F(HandlerTest, ParentsAreFoundUpToTheFirstThatIsGone) {
    const std::uint32_t root = project.Root().GetHandle();
    const auto find = [](common::ClassId results, std::vector<std::uint32_t> parents) {
        framework::ScriptableVec found;
        iptv::CIptvResultLocator::Instance().GetResultParents({1, results, std::move(parents)}, found);
        return found;
    };
    constexpr auto kBlocks = ids::IptvStbBlockResults::CLASS;
    EXPECT_THAT(find(kBlocks, {b.GetHandle(), device1.GetHandle()}), ElementsAre(&b, &a));
    EXPECT_THAT(find(kBlocks, {b.GetHandle(), 987654321, a.GetHandle()}), ElementsAre(&b));
    EXPECT_THAT(find(ids::IptvPortResults::CLASS, {root}), ElementsAre(&p1, &p2));
    EXPECT_THAT(find(ids::IptvChannelResults::CLASS, {root}), ElementsAre(&low, &high, &six));
    device2.Set(ids::Scriptable::LocalActive, false);
    EXPECT_THAT(find(kBlocks, {b.GetHandle(), a.GetHandle()}), ElementsAre(&a));
}

TEST_F(HandlerTest, ATestWhoseResultsAreClearedMeanwhileKeepsItsVerdict) {
    Start({}, 100);
    Report();
    Manager().SetTestResults(
        CScriptableCreator().Create(ids::IptvTestResults::CLASS, &project.Root())->GetHandle());
    iptv::CIptvStartTestCommand::ResetResultClasses({project.Root().GetHandle()});
    Report();
    Manager().FinalProcessing();
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT count(*) FROM IptvTestResults WHERE TestEndTime <> ''"), "1");
    EXPECT_EQ(reader.Get("SELECT TestResult FROM IptvTestResults"), "1");
    EXPECT_EQ(reader.Get("SELECT group_concat(NumOfChannelChanges) FROM IptvStbBlockResults"), "1.0,1.0")
        << "what was cleared does not come back";
}

/// An iteration's database is open; the test's own lies in a folder of its own.
class IterationTest : public ResultsTest {
  protected:
    IterationTest() {
        auto& system = core::COrvSystem::Instance();
        CScriptable& node = *CScriptableCreator().Create("EotResultNode", &system);
        node.Set(ids::EotResultNode::Description, "Iteration Result Description");
        node.Set(ids::EotResultNode::ViewDefinition,
                 CScriptableCreator().Create("EotResultViewDefinition", &system)->GetHandle());
    }
    /// The end of iteration 2. Returns its nodes.
    std::string Collect(bool per_iteration = true) {
        fs::create_directories(own_.parent_path());
        std::ofstream(own_) << "results";
        iptv::TestRun run;
        run.save_per_iteration = per_iteration;
        Manager().Prepare(run);
        manager_db->SetIterationNumber(2);
        UseDatabase({"IPTV_Test_Results", "test", ""});
        Manager().SetDatabasePath(own_.string());
        CIptvResultsHandler::Instance()->CollectAndSave(true, {});
        manager_db->Finalise();
        return Reader((folder_ / "test-Iter-2.db").string())
            .Get(
                "SELECT group_concat(n.Name || '|' || n.Description || '|' || d.Name || '|' || "
                "n.ParameterValues || '|' || i.Path || '|' || i.DataSetId, ';') FROM IterationDatabases i, "
                "EotResultNode n, EotResultViewDefinition d WHERE i.NodeHnd = n.Handle AND "
                "n.ViewDefinition = d.Handle ORDER BY i.DataSetId");
    }

    const fs::path own_ = folder_ / "own" / "iptvTest.db";
};

TEST_F(IterationTest, HasANodeThatNamesTheMovedFile) {
    const std::string moved = (folder_ / "iptvTest.db").string();
    const std::string row = "IPTV Iteration #2|Iteration Result Description|IPTV Iteration 2|";
    EXPECT_EQ(Collect(), row + "1|" + moved + "|1");
    EXPECT_TRUE(fs::exists(moved));
    EXPECT_FALSE(fs::exists(own_.parent_path()));
    EXPECT_THAT(Collect(), HasSubstr(row + "2|" + moved + "|2")) << "its own data set, not the first one";
}

TEST_F(IterationTest, StaysWhereItIsWhileSomebodyReadsIt) {
    fs::create_directories(own_.parent_path());
    std::ofstream(own_.string() + "-wal") << "rows";
    testing_aids::LogCapture log;
    EXPECT_EQ(Collect(), "null");
    EXPECT_TRUE(fs::exists(own_));
    EXPECT_THAT(log.Take(), Contains(HasSubstr("stay in " + own_.string())));
}

TEST_F(IterationTest, IsNoneForATestThatKeepsItsResultsTogether) {
    EXPECT_EQ(Collect(false), "null");
    EXPECT_TRUE(fs::exists(own_));
    manager_db->SetIterationNumber(0);
}

}  // namespace
