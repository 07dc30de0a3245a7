// Event rows are packed, and nobody can tell.
#include <unistd.h>

#include "control/start_run_fixture.h"
#include "orv/framework/handle_registry.h"
#include "random_project.h"
#include "results_fixture.h"

namespace {

using namespace results_test;  // NOLINT: a test
using framework::CHandleRegistry;

std::size_t added = 0;  ///< rows that an observer was told of
void NoteRow(CScriptable&, CScriptable& row, common::RelationType, bool is_added) {
    added += is_added && row.IsTypeOf(ids::IptvBaseEventResults::CLASS);
}

struct EventRowsTest : ResultsTest {
    EventRowsTest() {
        a.Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
        Start();
        Bin(1);  // makes the results
    }
    void Bin(std::size_t views) { Manager().BinManager({EventsOf(a, std::vector(views, MakeView(1, 2)))}); }
    /// The handle that the next object or row gets.
    std::uint32_t GetNextHandle() { return Make<iptv::CIptvStopTestCommand>().GetHandle() + 1; }
    std::string Stored(const std::string& values) const {
        return Reader(DatabasePath()).Get("SELECT " + values + " FROM IptvEventResults");
    }
};

TEST_F(EventRowsTest, BecomeObjectsWhenSomebodyAsks) {
    const auto& registry = CHandleRegistry::Instance();
    const std::uint32_t first = GetNextHandle();
    const std::size_t objects = registry.GetSize();
    Bin(300);
    EXPECT_EQ(registry.GetSize(), objects) << "nobody has asked";
    CScriptable* row = registry.Find(first + 10);
    ASSERT_TRUE(row);
    EXPECT_EQ(row, registry.Find(first + 10));
    EXPECT_EQ(row->GetParent(), &a);
    EXPECT_EQ(row->GetName(), "IptvEventResults " + std::to_string(first + 10));
    EXPECT_EQ(registry.GetSize(), objects + 1);
    row->Set(ids::IptvEventResults::TotalPkts, std::uint64_t{77});
    EXPECT_EQ(a.GetObject(ids::IptvStbBlockResults::CLASS, common::kParentChild)->GetParent(), &a);
    EXPECT_TRUE(b.GetObjects("IptvEventResults", common::kParentChild).empty());
    EXPECT_EQ(registry.GetSize(), objects + 1) << "those were other questions";
    const auto rows = a.GetObjects("IptvEventResults", common::kParentChild);
    EXPECT_EQ(rows.size(), 301u);
    EXPECT_EQ(registry.GetSize(), objects + 301);
    rows.back()->Delete();
    testing_aids::LogCapture log;
    Bin(98);
    EXPECT_EQ(registry.GetSize(), objects + 300) << "of 399 rows";
    Bin(1);
    EXPECT_EQ(registry.GetSize(), objects) << "400 are saved";
    EXPECT_THAT(log.Take(), Contains(HasSubstr("CIptvEventResults is NULL")));
    Manager().FinalProcessing();
    EXPECT_EQ(Stored("count(*), sum(TotalPkts = 77), sum(Active)"), "399 1 399");
}

TEST_F(EventRowsTest, AreObjectsFromTheBeginningForAnObserver) {
    const auto note = framework::RelationChangeDelegate::To<&NoteRow>();
    a.RegisterRelationChangeDelegate(note);
    added = 0;
    Bin(5);
    EXPECT_EQ(added, 5u);
    a.UnregisterRelationChangeDelegate(note);
    a.Set(ids::Scriptable::LocalActive, false);
    Manager().FinalProcessing();
    EXPECT_EQ(Stored("count(*), sum(Active)"), "6 0") << "one of them packed";
}

TEST_F(EventRowsTest, AreSavedOnceIfSomebodyAsksMeanwhile) {
    manager_db.reset();
    start_run_test::Lines journal;
    start_run_test::RecordedResults slow(journal);
    const auto count = [this] { return a.GetObjects("IptvEventResults", common::kParentChild).size(); };
    EXPECT_EQ(count(), 1u);
    Bin(398);
    std::size_t asked = 0;
    slow.on_call = [&](const std::string& call) {
        ++asked;
        EXPECT_EQ(count(), 1u) << call << ": the object, whose values are copied";
    };
    Bin(1);
    EXPECT_THAT(journal, ElementsAre("db SaveResults", "db SaveRows"));
    EXPECT_EQ(asked, 2u);
    EXPECT_EQ(count(), 0u);
}

TEST_F(EventRowsTest, AreNotStoredWithoutTheirBlock) {
    Bin(9);
    testing_aids::LogCapture log;
    a.Delete();
    Manager().FinalProcessing();
    const Texts lines = log.Take();
    const auto is_loss = [](const std::string& line) { return line.ends_with("CIptvEventResults is NULL"); };
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), is_loss), 10);
    EXPECT_EQ(Stored("count(*)"), "0");
}

TEST_F(EventRowsTest, AreNotStoredWithADeletedBlock) {
    Bin(9);
    a.MarkDelete(true, true);
    Manager().FinalProcessing();
    EXPECT_EQ(Stored("count(*)"), "0");
}

/// What a data set has in a table, without what differs from one to the next.
Reader::Rows ReadRows(const Reader& reader, const std::string& table, int data_set) {
    std::string columns =
        "ParentHnd - ((DataSetId - 1) << 32), "
        "Name = '" +
        table + " ' || (Handle - ((DataSetId - 1) << 32))";
    for (const auto& column : reader.Query("SELECT name FROM pragma_table_info('" + table +
                                           "') WHERE name "
                                           "NOT IN ('Handle', 'ParentHnd', 'DataSetId', 'Name')"))
        columns += ", typeof(" + column[0] + "), " + column[0];
    return reader.Query(
        "SELECT " + columns + " FROM " + table + " WHERE DataSetId = @DataSetId ORDER BY Handle", data_set);
}

TEST(RandomEventRowsTest, AreStoredAsTheirObjectsWouldBe) {
    framework::BLLLoggerFactory::GetInstance().SetConsole(false);  // events without a range are reported
    auto& manager = *iptv::CIptvResultsManager::GetResultsManager();
    const auto folder = std::filesystem::temp_directory_path() / ("rows" + std::to_string(getpid()));
    const auto note = framework::RelationChangeDelegate::To<&NoteRow>();
    std::size_t rows = 0;
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Dice dice(seed);
        const RandomProject project(dice);
        const std::vector<Notification> stream = MakeStream(dice, project);
        const auto database = core::MakeSqliteTestResultManager(folder.string());
        for (iptv::CIptvStbBlockConfig* block : project.blocks)
            block->Set(ids::IptvStbBlockConfig::SaveTimeStamps, true);
        for (const int data_set : {1, 2, 3}) {  // packed; objects on request; objects for an observer
            database->SetTestResultSetting({"", "test" + std::to_string(seed), ""});
            manager.Prepare({});
            manager.SetDatabasePath(database->GetDatabasePath());
            manager.NoteDataSet();
            manager.SetPortCount(1);
            for (iptv::CIptvStbBlockConfig* block : project.blocks)
                if (data_set == 3) block->RegisterRelationChangeDelegate(note);
            for (const Notification& notification : stream) {
                manager.BinManager(notification);
                if (data_set == 2 && dice.Hit(2))
                    project.blocks.front()->GetObjects("IptvEventResults", common::kParentChild);
            }
            manager.FinalProcessing();
        }
        const Reader reader(database->GetDatabasePath());
        for (const std::string table : {"IptvEventResults", "IptvRrrEventResults"}) {
            const auto packed = ReadRows(reader, table, 1);
            rows += packed.size();
            for (const int data_set : {2, 3})
                EXPECT_EQ(packed, ReadRows(reader, table, data_set)) << "seed " << seed;
            for (const auto& row : packed) EXPECT_EQ(row[1], "1") << "the name";
        }
    }
    EXPECT_GT(rows, 150u);
    std::filesystem::remove_all(folder);
    framework::BLLLoggerFactory::GetInstance().SetConsole(true);
}

}  // namespace
