#include "results_fixture.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "orv/core/result.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"

namespace results_test {

namespace {

class SampleCommand : public CCommand {};

const StaticRegisterClass<core::CResult> result_registration{kSampleResult};
const StaticRegisterClass<SampleCommand> command_registration{kSampleCommand};

}  // namespace

Reader::Reader(const std::string& path) {
    EXPECT_EQ(sqlite3_open_v2(path.c_str(), &connection_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK) << path;
}

std::vector<TextRow> Reader::Query(const std::string& sql, int data_set) const {
    std::vector<TextRow> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection_) << " in " << sql;
    sqlite3_bind_int(statement, sqlite3_bind_parameter_index(statement, "@DataSetId"), data_set);
    int code = SQLITE_OK;
    while (statement && (code = sqlite3_step(statement)) == SQLITE_ROW) {
        TextRow& row = rows.emplace_back();
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
            row.emplace_back(text ? text : "null");
        }
    }
    EXPECT_EQ(code, SQLITE_DONE) << sqlite3_errmsg(connection_) << " in " << sql;
    sqlite3_finalize(statement);
    return rows;
}

std::string Reader::Get(const std::string& sql, int data_set) const {
    const auto rows = Query(sql, data_set);
    EXPECT_EQ(rows.size(), 1u) << sql;
    return rows.empty() ? "" : rows[0].at(0);
}

Folder::Folder() {
    std::string pattern = (fs::temp_directory_path() / "results_XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder: " + pattern);
    path_ = fs::canonical(pattern);
}

std::vector<std::string> Folder::List() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

ResultsTest::ResultsTest(ClockKind clock) : host_({clock}) {
    auto& classes = CMetaClassManager::Instance();
    classes.AddSearchFolder(TEST_MODEL_FOLDER);
    classes.ActivateDataModel(0x7e000000);
    MakeManager();
}

void ResultsTest::MakeManager(const results::WriterOptions& options) {
    manager_.reset();
    manager_ = results::MakeSqliteTestResultManager(folder_ / "", options);
}

void ResultsTest::Begin(const std::string& name, const std::string& path) {
    Manager().SetTestResultSetting({"Samples", name, path});
}

CScriptable& ResultsTest::Make(common::ClassId id, CScriptable* parent) {
    return CScriptableCreator().MakeAs<CScriptable>(id, parent ? parent : &Project());
}

ScriptableVec ResultsTest::MakeResults(int count, const std::string& text) {
    ScriptableVec objects;
    for (int i = 0; i < count; ++i) {
        objects.push_back(&Make(kSampleResult));
        objects.back()->Set("Text", text);
    }
    return objects;
}

void ResultsTest::Destroy(const ScriptableVec& objects) {
    for (CScriptable* object : objects) object->Delete();
}

}  // namespace results_test
