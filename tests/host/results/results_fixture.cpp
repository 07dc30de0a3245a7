#include "results_fixture.h"

#include "orv/core/result.h"
#include "orv/framework/static_registration.h"

namespace host_test {

namespace {

const StaticRegisterClass<core::CResult> result_registration{kSampleResult};

}  // namespace

Reader::Reader(const std::string& path) {
    EXPECT_EQ(sqlite3_open_v2(path.c_str(), &connection_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK) << path;
}

std::vector<Strings> Reader::Query(const std::string& sql, int data_set) const {
    std::vector<Strings> rows;
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(connection_) << " in " << sql;
    sqlite3_bind_int(statement, sqlite3_bind_parameter_index(statement, "@DataSetId"), data_set);
    int code = SQLITE_OK;
    while (statement && (code = sqlite3_step(statement)) == SQLITE_ROW) {
        Strings& row = rows.emplace_back();
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
    std::string text;
    for (const Strings& row : Query(sql, data_set)) {
        for (const std::string& value : row) text += (text.empty() ? "" : " ") + value;
    }
    return text;
}

ResultsTest::ResultsTest(ClockKind clock) : HostTest(clock) {
    MakeManager();
}

void ResultsTest::MakeManager(const results::WriterOptions& options) {
    manager_.reset();
    manager_ = results::MakeSqliteTestResultManager(folder_ / "", options);
}

ScriptableVec ResultsTest::MakeResults(int count, const std::string& text) {
    ScriptableVec objects;
    for (int i = 0; i < count; ++i) {
        objects.push_back(&Make(kSampleResult));
        objects.back()->Set("Text", text);
    }
    return objects;
}

void ResultsTest::SaveResults(int count, const std::string& text) {
    const ScriptableVec results = MakeResults(count, text);
    Manager().SaveResults(results);
    for (CScriptable* result : results) result->Delete();
}

}  // namespace host_test
