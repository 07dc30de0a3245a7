// What becomes of the reports of ports: they are counted and stored, also of incomplete blocks, subscribers
// are told, and each iteration has a file.
#include <fstream>

#include "orv/core/orv_system.h"
#include "results/IptvResultsHandler.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CScriptableCreator, iptv::CIptvResultsHandler;
namespace fs = std::filesystem;
namespace relations = ids::relations;

struct EventBinningTest : ResultsTest {
    /// Channel changes that have been counted for a block.
    static int Count(const CScriptable& block) {
        const auto* results = block.GetObject(ids::IptvStbBlockResults::CLASS, common::kParentChild);
        return results ? std::stoi(results->Get("NumOfChannelChanges")) : 0;
    }
};

TEST_F(EventBinningTest, IncompleteBlocksDoNotDisturbTheOthers) {
    const struct {
        const char* name;
        std::function<void()> spoil;
        std::string logged;
        int counted = 0;
        std::uint16_t channel = 2;
    } cases[] = {
        {"a channel that no range has", [] {}, "Channel Number obtained from IL cannot be found", 0, 99},
        {"no protocol", [&] { a.SetObjects({}, relations::MulticastParam); },
         "object MulticastHostConfig from IptvStbBlockConfig in CIptvResultsManager::BinManager", 1},
        {"no profile", [&] { a.SetObjects({}, relations::IptvProfile); },
         "object IptvViewingProfileConfig from IptvStbBlockConfig"},
        {"no port", [&] { device1.SetObjects({}, relations::AffiliationPort); },
         "object Port from EmulatedDevice"},
        {"switched off", [&] { a.Set(ids::Scriptable::LocalActive, false); }, ""},
        {"deleted", [&] { a.MarkDelete(true, true); }, ""}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.name);
        a.SetObjects({&TestProject::McastOf(device1)}, relations::MulticastParam);
        a.SetObjects({&profile}, relations::IptvProfile);
        device1.SetObjects({&p1}, relations::AffiliationPort);
        a.Set(ids::Scriptable::LocalActive, true);
        Start();
        test.spoil();
        const int before_a = Count(a), before_b = Count(b);
        testing_aids::LogCapture log;
        Manager().BinManager({EventsOf(a, {MakeView(1, test.channel)}),
                              {4711, {MakeView(1, 2)}, {}},
                              EventsOf(b, {MakeView(1, 12)})});
        EXPECT_THAT(log.Take(), testing::IsSupersetOf(
                                    {HasSubstr(test.logged),
                                     HasSubstr("object IptvStbBlockConfig from StbHnd got from IL in result "
                                               "events in CIptvResultsManager::CollectEventsFromIL")}));
        EXPECT_EQ(Count(a) - before_a, test.counted);
        EXPECT_EQ(Count(b) - before_b, 1);
    }
}

TEST_F(EventBinningTest, RowsAreStoredWhenEnoughArePending) {
    a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
    Start();
    const auto pending_after = [this](std::size_t views) {
        if (views > 0) Manager().BinManager({EventsOf(a, std::vector(views, MakeView(1, 2)))});
        return a.GetObjects("IptvEventResults", common::kParentChild).size();
    };
    EXPECT_EQ(pending_after(399), 399u);
    EXPECT_EQ(pending_after(1), 0u) << "200 for each of two ports";
    EXPECT_EQ(pending_after(1000), 200u) << "within one report, too";
    Manager().FinalProcessing();
    EXPECT_EQ(pending_after(0), 0u);
    EXPECT_EQ(Reader(DatabasePath()).Get("SELECT count(*) FROM IptvEventResults"), "1400");
    for (const auto& [ports, limit] : {std::pair{0u, 0u}, {3u, 600u}, {20u, 4000u}, {25u, 4000u}}) {
        Manager().SetPortCount(ports);
        EXPECT_EQ(Manager().GetRowLimit(), limit);
    }
}

TEST_F(EventBinningTest, AFailedTestMarksItsNode) {
    Start();
    Manager().BinManager({EventsOf(a, {MakeFailedView(1, 2), MakeView(2, 2)})});
    Manager().FinalProcessing();
    const Reader reader(DatabasePath());
    EXPECT_EQ(reader.Get("SELECT Status FROM EotResultNode WHERE Name = 'IPTV Test Summary'"), "2");
    EXPECT_EQ(reader.Get("SELECT TestResult FROM IptvTestResults"), "0");
}

TEST_F(EventBinningTest, WithoutDatabaseTheTestEndsAllTheSame) {
    Start();
    manager_db.reset();
    Manager().FinalProcessing();
    EXPECT_FALSE(IsRunning());
}

struct HandlerTest : ResultsTest {
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
    const std::uint32_t all = subscribe(project.Root(), "all "), one = subscribe(b, "one ");
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
struct IterationTest : ResultsTest {
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
                "EotResultNode n, EotResultViewDefinition d WHERE i.NodeHnd = n.Handle AND n.ViewDefinition "
                "= d.Handle ORDER BY i.DataSetId");
    }

    const fs::path own_ = folder_ / "own" / "iptvTest.db";
};

TEST_F(IterationTest, HasANodeThatNamesTheMovedFile) {
    const std::string moved = (folder_ / "iptvTest.db").string();
    const std::string row = "IPTV Iteration #2|Iteration Result Description|IPTV Iteration 2|";
    EXPECT_EQ(Collect(), row + "1|" + moved + "|1");
    EXPECT_TRUE(fs::exists(moved) && !fs::exists(own_.parent_path()));
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
