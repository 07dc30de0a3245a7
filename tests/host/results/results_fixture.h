// A host with a test-result manager, and a reader of the files that it writes.
#pragma once

#include <sqlite3.h>

#include "host/host_fixture.h"
#include "orv/core/eot_result.h"
#include "orv/core/orv_system.h"
#include "orv/core/result.h"
#include "orv/core/test_result_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "sqlite_test_result_manager.h"

namespace host_test {

using namespace orv;  // NOLINT: tests

inline constexpr common::ClassId kSampleResult = 0x7e009000;
inline const StaticRegisterClass<core::CResult> result_registration{kSampleResult};

/// A connection of a reader's own.
class Reader {
  public:
    explicit Reader(const std::string& path) {
        EXPECT_EQ(sqlite3_open_v2(path.c_str(), &connection_, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK)
            << path;
    }
    ~Reader() { sqlite3_close(connection_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// All values of a query, with blanks between them; NULL as "null". A parameter @DataSetId gets
    /// `data_set`.
    std::string Get(const std::string& sql, int data_set = 1) const {
        std::string text;
        sqlite3_stmt* statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(connection_, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
            << sqlite3_errmsg(connection_) << " in " << sql;
        sqlite3_bind_int(statement, sqlite3_bind_parameter_index(statement, "@DataSetId"), data_set);
        int code = SQLITE_OK;
        while (statement && (code = sqlite3_step(statement)) == SQLITE_ROW) {
            for (int column = 0; column < sqlite3_column_count(statement); ++column) {
                const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
                text += (text.empty() ? "" : " ") + std::string(value ? value : "null");
            }
        }
        EXPECT_EQ(code, SQLITE_DONE) << sqlite3_errmsg(connection_) << " in " << sql;
        sqlite3_finalize(statement);
        return text;
    }

  private:
    sqlite3* connection_ = nullptr;
};

class ResultsTest : public HostTest {
  protected:
    explicit ResultsTest(ClockKind clock = ClockKind::Virtual) : HostTest(clock) { MakeManager(); }

    /// Replaces the manager.
    void MakeManager(const results::WriterOptions& options = {}) {
        manager_.reset();
        manager_ = results::MakeSqliteTestResultManager(folder_ / "", options);
    }
    core::TestResultManager& Manager() { return *manager_; }
    /// Begins a test that writes "<name>.db" in the folder.
    void Begin(const std::string& name = "test", const std::string& path = "") {
        Manager().SetTestResultSetting({"Samples", name, path});
    }
    /// Results below the project, each with `text`.
    ScriptableVec MakeResults(int count, const std::string& text = "") {
        ScriptableVec objects;
        for (int i = 0; i < count; ++i) {
            objects.push_back(&Make(kSampleResult));
            objects.back()->Set("Text", text);
        }
        return objects;
    }
    /// Of results that are gone afterwards.
    void SaveResults(int count, const std::string& text) {
        const ScriptableVec results = MakeResults(count, text);
        Manager().SaveResults(results);
        for (CScriptable* result : results) result->Delete();
    }

    Folder folder_;
    std::unique_ptr<core::TestResultManager> manager_;
};

}  // namespace host_test
