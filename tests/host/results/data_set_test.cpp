// What a test stores from its start to its end.
#include "results_fixture.h"

namespace host_test {
namespace {

using DataSetTest = ResultsTest;

std::string Handle(const CScriptable& object) {
    return std::to_string(object.GetHandle());
}

/// As views are written: one table's data set decides, the others are joined by handle.
constexpr const char* kResultsOfPorts =
    "SELECT Port.Location, SampleResult.Text FROM SampleResult, Port "
    "WHERE SampleResult.ParentHnd = Port.Handle and SampleResult.DataSetId = @DataSetId "
    "ORDER BY SampleResult.Handle";
constexpr const char* kDevices =
    "SELECT AllDevice.Name, EthIIIf.Name FROM AllDevice, RelationTable, EthIIIf "
    "WHERE relationtable.sourcehnd = alldevice.handle and relationtable.type = 'TopLevelIf' "
    "and relationtable.targethnd = ethiiif.handle and alldevice.datasetid = @DataSetId";

TEST_F(DataSetTest, TheConfigurationIsStoredAsItIsWithoutCommandsResultsAndDeletedObjects) {
    CScriptable& port = Make(ids::Port::CLASS);
    CScriptable& deleted = Make(ids::Port::CLASS);
    CScriptable& device = Make(ids::EmulatedDevice::CLASS);
    CScriptable& interface = Make(ids::EthIIIf::CLASS, &device);
    CScriptable& command = Make(kTestCommand);
    CScriptable& result = Make(kSampleResult, &port);
    device.Set("Name", "d");
    interface.Set("Name", "e");
    Relate(device, interface, ids::relations::TopLevelIf);
    Relate(device, port, ids::relations::AffiliationPort);
    Relate(port, result, ids::relations::ResultChild);
    deleted.MarkDelete(true, false);

    Begin();
    Manager().SaveConfiguration(false);
    Manager().SetTestCommand(dynamic_cast<CCommand&>(command));
    Manager().SaveConfiguration(true);
    Manager().SaveConfiguration(true);  // again: the same, not twice
    Manager().Finalise();

    const Reader reader(Manager().GetDatabasePath());
    EXPECT_EQ(reader.Get("SELECT Handle FROM Port"), Handle(port));
    EXPECT_EQ(reader.Get(kDevices), "d e");
    EXPECT_EQ(reader.Get("SELECT SourceHnd, TargetHnd, Type, DataSetId FROM RelationTable ORDER BY Type"),
              Handle(device) + " " + Handle(port) + " AffiliationPort 1 " + Handle(device) + " " +
                  Handle(interface) + " TopLevelIf 1");
    EXPECT_EQ(reader.Get("SELECT count(*) FROM SampleResult"), "0");
    EXPECT_EQ(reader.Get("SELECT Name FROM TestCommand JOIN DataSets ON TestCommand = Handle"),
              command.GetName());
}

TEST_F(DataSetTest, TestsInOneFileAreKeptApartThoughTheObjectsAreTheSame) {
    CScriptable& port = Make(ids::Port::CLASS);
    CScriptable& device = Make(ids::EmulatedDevice::CLASS);
    CScriptable& interface = Make(ids::EthIIIf::CLASS, &device);
    Relate(device, interface, ids::relations::TopLevelIf);
    for (const int data_set : {1, 2, 3}) {
        const std::string number = std::to_string(data_set);
        if (data_set == 3) MakeManager();
        port.Set("Location", "//" + number);
        device.Set("Name", "d" + number);
        interface.Set("Name", "e" + number);
        Begin();
        EXPECT_EQ(Manager().GetDataSetId(), static_cast<std::uint32_t>(data_set));
        Manager().SaveConfiguration(true);
        CScriptable& result = Make(kSampleResult, &port);
        result.Set("Text", "r" + number);
        result.Set("Other", Handle(port));
        result.Set("Others", Handle(port));
        Manager().SaveResults({&result});
        result.Delete();
        EXPECT_TRUE(Manager().MustFinalise());
        if (data_set != 2) Manager().Finalise();  // the second is cut short
    }
    EXPECT_FALSE(Manager().MustFinalise());
    EXPECT_THAT(folder_.List(), ElementsAre("test.db"));
    const Reader reader(Manager().GetDatabasePath());
    for (const int data_set : {1, 2, 3}) {
        const std::string number = std::to_string(data_set);
        EXPECT_EQ(reader.Get(kResultsOfPorts, data_set), "//" + number + " r" + number);
        EXPECT_EQ(reader.Get(kDevices, data_set), "d" + number + " e" + number);
    }
    EXPECT_EQ(reader.Get("SELECT count(*) FROM SampleResult JOIN Port ON Other = Port.Handle AND "
                         "Others = CAST(Port.Handle AS TEXT)"),
              "3");
    EXPECT_EQ(reader.Get("SELECT Category, substr(StartTime, 1, 10), EndTime IS NULL FROM DataSets"),
              "Samples 2000-01-01 0 Samples 2000-01-01 1 Samples 2000-01-01 0");
}

TEST_F(DataSetTest, RowsOutliveTheirObjectsAndAnObjectHasOneRow) {
    Begin();
    for (const char* text : {"a", "b"}) SaveResults(50, text);
    Manager().SaveResults({});
    const ScriptableVec live = MakeResults(3, "early");
    Manager().SaveObjects({});
    live[0]->Set("Text", "late");
    live[1]->MarkDelete(true, true);
    Make(ids::Port::CLASS);
    Manager().SaveObjects({ids::Port::CLASS});
    Manager().Finalise();
    const Reader reader(Manager().GetDatabasePath());
    EXPECT_EQ(reader.Get("SELECT Text, count(*) FROM SampleResult GROUP BY Text ORDER BY Text"),
              "a 50 b 50 early 2 late 1");
    EXPECT_EQ(reader.Get("SELECT count(*) FROM Port"), "1");
}

TEST_F(DataSetTest, TheTreeOfNodesCanBeWalkedAndItsViewsRun) {
    CScriptable& system = core::COrvSystem::Instance();
    const auto make_node = [&](CScriptable& parent, const std::string& name, const std::string& sql) {
        auto& view = Make<core::CEotResultViewDefinition>(&system);
        view.SetSqlCommand(sql);
        auto& node = Make<core::CEotResultNode>(&parent);
        node.Set("Name", name);
        node.SetViewDefinition(view);
        node.SetParameter("@DataSetId", "1");
        node.SetParameter("@DataSetId", std::to_string(Manager().GetDataSetId()));
        return &node;
    };
    for (int test = 0; test < 2; ++test) {
        Begin();
        core::CEotResultNode* root =
            make_node(system, "root", "SELECT count(*) FROM SampleResult WHERE DataSetId = @DataSetId");
        make_node(*root, "leaf", "SELECT DataSetId FROM Project WHERE DataSetId = @DataSetId");
        EXPECT_EQ(root->GetCollection<std::string>(ids::EotResultNode::ParameterValues),
                  std::vector{std::to_string(test + 1)});
        Manager().SaveConfiguration(true);
        Manager().SaveResults(MakeResults(test + 4));
        Manager().SaveObjects({ids::EotResultNode::CLASS});
        Manager().SetRootNode(*root);
        Manager().Finalise();
        root->MarkDelete(true, true);
        Project().MarkDelete(true, true);
        host_.NewProject();
    }
    const Reader reader(Manager().GetDatabasePath());
    const auto tree = reader.Query(
        "WITH RECURSIVE tree(Hnd, Depth) AS (SELECT RootNode, 0 FROM DataSets WHERE DataSetId = @DataSetId "
        "UNION ALL SELECT Handle, Depth + 1 FROM EotResultNode JOIN tree ON ParentHnd = Hnd) "
        "SELECT n.Name, Depth, ParameterNames, ParameterValues, SqlCommand FROM tree "
        "JOIN EotResultNode n ON n.Handle = Hnd JOIN EotResultViewDefinition v ON v.Handle = ViewDefinition",
        2);
    ASSERT_EQ(tree.size(), 2u);
    EXPECT_THAT(tree[0], ElementsAre("root", "0", "@DataSetId", "2", testing::_));
    EXPECT_THAT(tree[1], ElementsAre("leaf", "1", "@DataSetId", "2", testing::_));
    EXPECT_EQ(reader.Get(tree[0][4], 2), "5");
    EXPECT_EQ(reader.Get(tree[1][4], 2), "2");
}

TEST_F(DataSetTest, OthersReadDuringTheTestAndWhileItEnds) {
    Begin();
    Manager().SaveResults(MakeResults(7));
    const Reader reader(Manager().GetDatabasePath());
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (reader.Get("SELECT count(*) FROM SampleResult") != "7") {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline);
    }
    Manager().Finalise();  // the reader keeps the log file, and loses nothing
    EXPECT_EQ(Manager().GetErrorText(), "");
    EXPECT_EQ(reader.Get("SELECT EndTime IS NOT NULL FROM DataSets"), "1");
}

TEST_F(DataSetTest, FilesLieWhereTheSettingSays) {
    const struct {
        std::string base, path;
        int iteration;
        std::string expected;
    } cases[] = {
        {"base", "", 0, "base.db"},
        {"base", "", 3, "base-Iter-3.db"},
        {"base", "deep/er/own", 0, "deep/er/own.db"},
        {"base", folder_ / "absolute", 12, "absolute-Iter-12.db"},
        {"base.v1", "", 0, "base.v1.db"},
    };
    for (const auto& wanted : cases) {
        Manager().SetIterationNumber(wanted.iteration);
        Begin(wanted.base, wanted.path);
        EXPECT_EQ(Manager().GetDatabasePath(), folder_ / wanted.expected);
        EXPECT_EQ(Manager().GetIterationNumber(), wanted.iteration);
        EXPECT_TRUE(fs::exists(folder_ / wanted.expected));
    }
    Manager().StartInteractive();
    EXPECT_EQ(Manager().GetIterationNumber(), 0);
}

TEST_F(DataSetTest, WhatIsStoredAfterTheEndIsInTheOneFileToo) {
    Begin();
    Manager().Finalise();
    Manager().RegisterIterationDatabase(Project(), "/elsewhere/x-Iter-1.db");
    Manager().SaveResults(MakeResults(2));
    manager_.reset();
    EXPECT_THAT(folder_.List(), ElementsAre("test.db"));
    const Reader reader(folder_ / "test.db");
    EXPECT_EQ(reader.Get("SELECT NodeHnd, Path, DataSetId FROM IterationDatabases"),
              Handle(Project()) + " /elsewhere/x-Iter-1.db 1");
    EXPECT_EQ(reader.Get("SELECT count(*) FROM SampleResult"), "2");
}

}  // namespace
}  // namespace host_test
