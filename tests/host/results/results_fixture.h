// A host with a test-result manager, and a reader of the files that it writes.
#pragma once

#include <sqlite3.h>

#include "host/host_fixture.h"
#include "orv/core/eot_result.h"
#include "orv/core/orv_system.h"
#include "orv/core/test_result_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "sqlite_test_result_manager.h"

namespace host_test {

using namespace orv;  // NOLINT: tests

inline constexpr common::ClassId kSampleResult = 0x7e009000;

/// A connection of a reader's own.
class Reader {
  public:
    explicit Reader(const std::string& path);
    ~Reader() { sqlite3_close(connection_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Rows as texts, NULL as "null". A parameter @DataSetId gets `data_set`. An error is a failure of the
    /// test, and no row.
    std::vector<Strings> Query(const std::string& sql, int data_set = 1) const;
    /// All values of a query, with blanks between them.
    std::string Get(const std::string& sql, int data_set = 1) const;

  private:
    sqlite3* connection_ = nullptr;
};

class ResultsTest : public HostTest {
  protected:
    explicit ResultsTest(ClockKind clock = ClockKind::Virtual);

    /// Replaces the manager.
    void MakeManager(const results::WriterOptions& options = {});
    core::TestResultManager& Manager() { return *manager_; }
    /// Begins a test that writes "<name>.db" in the folder.
    void Begin(const std::string& name = "test", const std::string& path = "") {
        Manager().SetTestResultSetting({"Samples", name, path});
    }
    /// Results below the project, each with `text`.
    ScriptableVec MakeResults(int count, const std::string& text = "");
    /// Of results that are gone afterwards.
    void SaveResults(int count, const std::string& text);

    Folder folder_;
    std::unique_ptr<core::TestResultManager> manager_;
};

}  // namespace host_test
