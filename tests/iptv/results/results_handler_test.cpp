// Results for subscribers, and the files of single iterations.
#include "results/IptvResultsHandler.h"

#include <fstream>

#include "control/IptvStartTestCommand.h"
#include "orv/core/orv_system.h"
#include "orv/framework/scriptable_creator.h"
#include "results/IptvStbBlockResults.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CScriptable;
using iptv::CIptvResultLocator;
using iptv::CIptvResultsHandler;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

class HandlerTest : public ResultsTest {
  protected:
    HandlerTest() {
        [[maybe_unused]] static const bool once = [] {
            core::CResultModule::Instance().RegisterResultHandler(CIptvResultsHandler::Instance(), false);
            return true;
        }();
    }
    std::uint32_t Subscribe(common::ClassId results, std::vector<std::uint32_t> parents) {
        return core::CResultModule::Instance().Subscribe(
            results, std::move(parents), [this](std::uint32_t id, const core::CResult* result) {
                told_.push_back(std::to_string(id) + " " +
                                (result ? result->GetParent()->GetName() : std::string("gone")));
            });
    }
    std::vector<std::string> Told() { return std::exchange(told_, {}); }
    void Report() {
        Manager().BinManager({EventsOf(a, {MakeView(1, 2, 0)}), EventsOf(b, {MakeView(1, 12, 0)})});
    }

  private:
    std::vector<std::string> told_;
};

TEST_F(HandlerTest, SubscribersSeeTheResultsThatTheyAskedForUntilTheyLeave) {
    Start();
    const std::uint32_t all = Subscribe(ids::IptvStbBlockResults::CLASS, {project.Root().GetHandle()});
    const std::uint32_t one = Subscribe(ids::IptvStbBlockResults::CLASS, {b.GetHandle()});
    const std::string all_name = std::to_string(all);
    const std::string one_name = std::to_string(one);
    Report();
    EXPECT_THAT(Told(), testing::UnorderedElementsAre(all_name + " A", all_name + " B", one_name + " B"));
    core::CResultModule::Instance().Unsubscribe(all);
    EXPECT_THAT(Told(), Contains(all_name + " gone"));
    Report();
    EXPECT_THAT(Told(), ElementsAre(one_name + " B"));
    core::CResultModule::Instance().Unsubscribe(one);
    Told();
    Report();
    EXPECT_THAT(Told(), IsEmpty());
}

TEST_F(HandlerTest, ParentsAreFoundUpToTheFirstThatIsGone) {
    const std::uint32_t root = project.Root().GetHandle();
    const auto find = [](common::ClassId results, std::vector<std::uint32_t> parents) {
        framework::ScriptableVec found;
        CIptvResultLocator::Instance().GetResultParents({1, results, std::move(parents)}, found);
        return found;
    };
    constexpr auto kBlocks = ids::IptvStbBlockResults::CLASS;
    EXPECT_THAT(find(kBlocks, {root}), ElementsAre(&a, &b));
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
        framework::CScriptableCreator().Create(ids::IptvTestResults::CLASS, &project.Root())->GetHandle());
    iptv::CIptvStartTestCommand::ResetResultClasses({project.Root().GetHandle()});
    Report();
    Manager().FinalProcessing();
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT count(*) FROM IptvTestResults WHERE TestEndTime <> ''"), "1");
    EXPECT_EQ(reader.Get("SELECT TestResult FROM IptvTestResults"), "1");
    EXPECT_EQ(reader.Get("SELECT NumOfChannelChanges FROM IptvStbBlockResults WHERE ParentHnd = " +
                         std::to_string(a.GetHandle())),
              "1.0")
        << "what was cleared does not come back";
}

/// An iteration's database is open; the test's own lies in a folder of its own.
class IterationTest : public ResultsTest {
  protected:
    IterationTest() {
        fs::create_directories(own_.parent_path());
        std::ofstream(own_) << "results";
        auto& system = core::COrvSystem::Instance();
        CScriptable& node = *framework::CScriptableCreator().Create("EotResultNode", &system);
        node.Set(ids::EotResultNode::Description, "Iteration Result Description");
        node.Set(ids::EotResultNode::ViewDefinition,
                 framework::CScriptableCreator().Create("EotResultViewDefinition", &system)->GetHandle());
    }
    /// The end of iteration 2, its database named as given.
    void Collect(bool per_iteration = true, const std::string& name = "test") {
        iptv::TestRun run;
        run.save_per_iteration = per_iteration;
        Manager().Prepare(run);
        manager_db->SetIterationNumber(2);
        manager_db->SetTestResultSetting({"IPTV_Test_Results", name, ""});
        manager_db->SaveConfiguration(true);
        Manager().SetDatabasePath(own_.string());
        CIptvResultsHandler::Instance()->CollectAndSave(true, {});
        manager_db->Finalise();
    }
    std::string Nodes() const {
        const Table table = Reader((folder_ / "test-Iter-2.db").string())
                                .Query(
                                    "SELECT n.Name, n.Description, d.Name, n.ParameterValues, i.Path, "
                                    "i.DataSetId FROM IterationDatabases i, EotResultNode n, "
                                    "EotResultViewDefinition d WHERE i.NodeHnd = n.Handle AND "
                                    "n.ViewDefinition = d.Handle ORDER BY i.DataSetId");
        std::string text;
        for (const auto& row : table.rows) {
            for (const std::string& value : row) text += value + "|";
            text += "\n";
        }
        return text;
    }

    const fs::path own_ = folder_ / "own" / "iptvTest.db";
    const std::string moved_ = (folder_ / "iptvTest.db").string();
};

TEST_F(IterationTest, HasANodeThatNamesTheMovedFile) {
    const std::string row = "IPTV Iteration #2|Iteration Result Description|IPTV Iteration 2|";
    Collect();
    EXPECT_TRUE(fs::exists(moved_));
    EXPECT_FALSE(fs::exists(own_.parent_path()));
    EXPECT_EQ(Nodes(), row + "1|" + moved_ + "|1|\n");

    fs::create_directories(own_.parent_path());
    std::ofstream(own_) << "results";
    Collect();
    EXPECT_THAT(Nodes(), HasSubstr(row + "2|" + moved_ + "|2|\n")) << "its own data set, not the first one";
}

TEST_F(IterationTest, StaysWhereItIsWhileSomebodyReadsIt) {
    std::ofstream(own_.string() + "-wal") << "rows";
    testing_aids::LogCapture log;
    Collect();
    EXPECT_TRUE(fs::exists(own_));
    EXPECT_THAT(log.Take(), Contains(HasSubstr("stay in " + own_.string())));
    EXPECT_EQ(Nodes(), "");
}

TEST_F(IterationTest, IsNoneForATestThatKeepsItsResultsTogether) {
    Collect(false);
    EXPECT_TRUE(fs::exists(own_));
    manager_db->SetIterationNumber(0);
    EXPECT_EQ(Nodes(), "");
}

}  // namespace
