// Tables, columns and values of a results file.
#include <set>

#include "orv/framework/meta_class_manager.h"
#include "results_fixture.h"

namespace host_test {
namespace {

using FileFormatTest = ResultsTest;

TEST_F(FileFormatTest, EveryClassThatIsNoCommandHasATableWithAColumnPerProperty) {
    Begin();
    const Reader reader(Manager().GetDatabasePath());
    for (const CMetaClass* meta_class : CMetaClassManager::Instance().GetClasses()) {
        SCOPED_TRACE(meta_class->GetName());
        std::set<std::string> columns;
        for (const Strings& row :
             reader.Query("SELECT name FROM pragma_table_info('" + meta_class->GetName() + "')")) {
            columns.insert(row[0]);
        }
        std::set<std::string> expected;
        const bool stored =
            !meta_class->GetDefinition().is_abstract && !meta_class->IsTypeOf(ids::Command::CLASS);
        if (stored) {
            expected = {"ParentHnd", "DataSetId"};
            for (const CPropertyMeta* property : meta_class->GetProperties()) expected.insert(property->name);
            EXPECT_TRUE(expected.contains("Handle") && expected.contains("Name") &&
                        expected.contains("Active"));
        }
        EXPECT_EQ(columns, expected);
    }
    EXPECT_EQ(reader.Query("SELECT name FROM pragma_table_info('AllDevice')"),
              reader.Query("SELECT name FROM pragma_table_info('emulateddevice')"));
    EXPECT_EQ(reader.Get("SELECT type FROM pragma_table_info('SampleResult') WHERE name = 'Number'"), "REAL");
}

TEST_F(FileFormatTest, AValueOfEveryTypeReadsBack) {
    Begin();
    CScriptable& other = Make(ids::Port::CLASS);
    const std::string handle = std::to_string(other.GetHandle());
    const struct {
        const char* property;
        std::string text, stored;
        const char* type;
    } cases[] = {
        {"Name", "O'Brien \"x\" \xc3\xa9", "O'Brien \"x\" \xc3\xa9", "text"},
        {"IsSet", "true", "1", "integer"},
        {"Small", "255", "255", "integer"},
        {"Short", "-32768", "-32768", "integer"},
        {"Whole", "-2147483648", "-2147483648", "integer"},
        {"Long", "-9223372036854775808", "-9223372036854775808", "integer"},
        {"LongUnsigned", "18446744073709551615", "1.84467440737096e+19", "real"},
        {"Number", "0.125", "0.125", "real"},
        {"Text", "", "", "text"},
        {"Ip", "192.0.2.1", "192.0.2.1", "text"},
        {"Ip6", "2001:DB8:0::1", "2001:db8::1", "text"},
        {"MacAddress", "00:1b:2c:3d:4e:5f", "00:1b:2c:3d:4e:5f", "text"},
        {"File", "a/b.txt", "a/b.txt", "text"},
        {"Other", handle, handle, "integer"},
        {"Colour", "GREEN", "5", "integer"},
        {"Perhaps", "", "null", "null"},
        {"Numbers", "1 65535 0", "1 65535 0", "text"},
        {"Colours", "GREEN RED", "5 3", "text"},
        {"Texts", "a \"b c\"", "a \"b c\"", "text"},
        {"Others", handle + " 0", handle + " 0", "text"},
        {"Order", "7", "7", "integer"},
    };
    CScriptable& result = Make(kSampleResult, &other);
    for (const auto& value : cases) result.Set(value.property, value.text);
    Manager().SaveResults({&result});
    Manager().Finalise();

    const Reader reader(Manager().GetDatabasePath());
    for (const auto& value : cases) {
        const std::string column = std::string("\"") + value.property + "\"";
        EXPECT_THAT(reader.Query("SELECT " + column + ", typeof(" + column + ") FROM SampleResult"),
                    ElementsAre(ElementsAre(value.stored, value.type)))
            << column;
    }
    EXPECT_EQ(reader.Get("SELECT Handle, ParentHnd, DataSetId, Active FROM sampleresult"),
              std::to_string(result.GetHandle()) + " " + handle + " 1 1");
}

TEST_F(FileFormatTest, AnOlderFileGetsTheColumnsThatItLacks) {
    sqlite3* older = nullptr;
    sqlite3_open((folder_ / "older.db").c_str(), &older);
    EXPECT_EQ(sqlite3_exec(older,
                           "CREATE TABLE port(handle INTEGER PRIMARY KEY, name TEXT);"
                           "INSERT INTO port VALUES(5, 'old');"
                           "CREATE TABLE DataSets(DataSetId INTEGER PRIMARY KEY, Category TEXT);"
                           "INSERT INTO DataSets VALUES(41, 'old')",
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

}  // namespace
}  // namespace host_test
