// What a test stores from its start to its end.
#include "orv/framework/sequencer.h"
#include "results_fixture.h"

namespace {

using namespace host_test;  // NOLINT: a test

using DataSetTest = ResultsTest;

const auto Handle = [](const CScriptable& object) { return std::to_string(object.GetHandle()); };

/// As views are written: one table's data set decides, the others are joined by handle.
constexpr const char* kResultsOfPorts =
    "SELECT Port.Location, SampleResult.Text FROM SampleResult, Port WHERE SampleResult.ParentHnd = "
    "Port.Handle and SampleResult.DataSetId = @DataSetId ORDER BY SampleResult.Handle";
constexpr const char* kDevices =
    "SELECT AllDevice.Name, EthIIIf.Name FROM AllDevice, RelationTable, EthIIIf WHERE "
    "relationtable.sourcehnd = alldevice.handle and relationtable.type = 'TopLevelIf' and "
    "relationtable.targethnd = ethiiif.handle and alldevice.datasetid = @DataSetId";

TEST_F(DataSetTest, TheConfigurationIsStoredAsItIsWithoutCommandsResultsAndDeletedObjects) {
    CScriptable &port = Make(ids::Port::CLASS), &deleted = Make(ids::Port::CLASS);
    CScriptable &device = Make(ids::EmulatedDevice::CLASS), &interface = Make(ids::EthIIIf::CLASS, &device);
    CScriptable &command = Make(kTestCommand), &result = Make(kSampleResult, &port);
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
    CScriptable &port = Make(ids::Port::CLASS), &device = Make(ids::EmulatedDevice::CLASS);
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
    EXPECT_EQ(reader.Get("SELECT count(*) FROM SampleResult JOIN Port ON Other = Port.Handle AND Others = "
                         "CAST(Port.Handle AS TEXT)"),
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
    const std::tuple<std::string, std::string, int, std::string> cases[] = {
        {"base", "", 0, "base.db"},
        {"base", "", 3, "base-Iter-3.db"},
        {"base", "deep/er/own", 0, "deep/er/own.db"},
        {"base", folder_ / "absolute", 12, "absolute-Iter-12.db"},
        {"base.v1", "", 0, "base.v1.db"}};
    for (const auto& [base, path, iteration, expected] : cases) {
        Manager().SetIterationNumber(iteration);
        Begin(base, path);
        EXPECT_EQ(Manager().GetDatabasePath(), folder_ / expected);
        EXPECT_EQ(Manager().GetIterationNumber(), iteration);
        EXPECT_TRUE(fs::exists(folder_ / expected));
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

TEST_F(DataSetTest, AValueOfEveryTypeReadsBack) {
    Begin();
    CScriptable& other = Make(ids::Port::CLASS);
    const std::string handle = std::to_string(other.GetHandle());
    const struct {
        const char* property;
        std::string text, stored;
        const char* type;
    } cases[] = {{"Name", "O'Brien \"x\" \xc3\xa9", "O'Brien \"x\" \xc3\xa9", "text"},
                 {"IsSet", "true", "1", "integer"},
                 {"Short", "-32768", "-32768", "integer"},
                 {"Long", "-9223372036854775808", "-9223372036854775808", "integer"},
                 {"LongUnsigned", "18446744073709551615", "1.84467440737096e+19", "real"},
                 {"Number", "0.125", "0.125", "real"},
                 {"Text", "", "", "text"},
                 {"Ip", "192.0.2.1", "192.0.2.1", "text"},
                 {"Ip6", "2001:DB8:0::1", "2001:db8::1", "text"},
                 {"MacAddress", "00:1b:2c:3d:4e:5f", "00:1b:2c:3d:4e:5f", "text"},
                 {"Other", handle, handle, "integer"},
                 {"Colour", "GREEN", "5", "integer"},
                 {"Perhaps", "", "null", "null"},
                 {"Numbers", "1 65535 0", "1 65535 0", "text"},
                 {"Colours", "GREEN RED", "5 3", "text"},
                 {"Texts", "a \"b c\"", "a \"b c\"", "text"},
                 {"Others", handle + " 0", handle + " 0", "text"},
                 {"Order", "7", "7", "integer"}};
    CScriptable& result = Make(kSampleResult, &other);
    for (const auto& value : cases) result.Set(value.property, value.text);
    Manager().SaveResults({&result});
    Manager().Finalise();

    const Reader reader(Manager().GetDatabasePath());
    for (const auto& value : cases) {
        const std::string column = std::string("\"") + value.property + "\"";
        EXPECT_EQ(reader.Get("SELECT " + column + ", typeof(" + column + ") FROM SampleResult"),
                  value.stored + (value.stored.empty() ? "" : " ") + value.type);
    }
    EXPECT_EQ(reader.Get("SELECT Handle, ParentHnd, DataSetId, Active FROM sampleresult"),
              std::to_string(result.GetHandle()) + " " + handle + " 1 1");
}

TEST_F(DataSetTest, AnOlderFileGetsTheColumnsThatItLacks) {
    sqlite3* older = nullptr;
    sqlite3_open((folder_ / "older.db").c_str(), &older);
    EXPECT_EQ(sqlite3_exec(older,
                           "CREATE TABLE port(handle INTEGER PRIMARY KEY, name TEXT);INSERT INTO port "
                           "VALUES(5, 'old');CREATE TABLE DataSets(DataSetId INTEGER PRIMARY KEY, Category "
                           "TEXT);INSERT INTO DataSets VALUES(41, 'old')",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(older);
    Begin("older");
    CScriptable& port = Make(ids::Port::CLASS);
    port.Set("Location", "//a/1/1");
    Manager().SaveConfiguration(true);
    Manager().Finalise();
    EXPECT_EQ(Manager().GetErrorText(), "");
    EXPECT_EQ(Manager().GetDataSetId(), 42u);
    EXPECT_EQ(Reader(folder_ / "older.db").Get("SELECT DataSetId, Location FROM Port ORDER BY Handle"),
              "null null 42 //a/1/1");
}

struct IterationTest : ResultsTest {
    CCommand& MakeWrite(CScriptable& parent, const std::string& type) {
        auto& write = dynamic_cast<CCommand&>(MakeByName("EOTResultsWriteIterationCommand", &parent));
        write.Set("TestType", type);
        return write;
    }
};

TEST_F(IterationTest, IsThatOfTheLoop) {
    auto& loop = Make<CSequencerLoopCommand>();
    loop.Set(ids::SequencerLoopCommand::CurrentIteration, 3u);
    auto &in_loop = MakeWrite(loop, "Video"), &alone = MakeWrite(Project(), "");
    alone.Set("EnableDetailedResultsCollection", "false");
    const std::tuple<CCommand&, const char*, const char*> cases[] = {
        {in_loop, "Video-Iter-3/Video-Iter-3.db", "1"},
        {in_loop, "Video-Iter-3-2/Video-Iter-3.db", "1"},
        {alone, "Test-Iter-1/Test-Iter-1.db", "0"}};
    for (const auto& [write, file, configuration] : cases) {
        Begin();
        Manager().Finalise();
        write.Execute(false);
        EXPECT_EQ(write.GetStatus(), "");
        EXPECT_EQ(Manager().GetDatabasePath(), folder_ / file);
        EXPECT_EQ(Manager().GetIterationNumber(), 0) << "the next test is none";
        EXPECT_FALSE(Manager().MustFinalise());
        const Reader reader(folder_ / file);
        EXPECT_EQ(reader.Get("SELECT count(*) FROM Project"), configuration);
        EXPECT_EQ(reader.Get("SELECT Iteration FROM DataSets"), file[0] == 'V' ? "3" : "1");
        // What was written are not the results of another test.
        write.Execute(false);
        EXPECT_EQ(write.GetStatus(), "there are no results to write");
        EXPECT_TRUE(core::COrvSystem::Instance().GetObjects("EotResultNode", kParentChild).empty());
    }
}

TEST_F(IterationTest, WhatCannotBeWrittenIsSaidAndStopsNothing) {
    auto& write = MakeWrite(Project(), "Video");
    write.Execute(false);
    EXPECT_EQ(write.GetStatus(), "there are no results to write");
    Begin("test", folder_ / "tests/test");
    Manager().Finalise();
    fs::remove_all(folder_ / "tests");
    folder_.Write("tests", "no folder");
    setenv("TMPDIR", (folder_ / "").c_str(), 1);  // where the results go instead
    write.Execute(false);
    unsetenv("TMPDIR");
    EXPECT_EQ(write.GetCommandState(), CCommand::COMMAND_COMPLETED);
    EXPECT_THAT(write.GetStatus(), HasSubstr(folder_ / "tests/Video-Iter-1"));
    EXPECT_EQ(Manager().GetIterationNumber(), 0);
    EXPECT_TRUE(core::COrvSystem::Instance().GetObjects("EotResultNode", kParentChild).empty());
    manager_.reset();
    write.Execute(false);
    EXPECT_EQ(write.GetStatus(), "no results are kept");
}

}  // namespace
