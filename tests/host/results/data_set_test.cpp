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
