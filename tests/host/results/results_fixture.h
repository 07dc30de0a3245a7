// A host with a test-result manager, and a reader of the files that it writes.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "orv/core/eot_result.h"
#include "orv/core/host_application.h"
#include "orv/core/orv_system.h"
#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/command.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "sqlite_test_result_manager.h"

namespace results_test {

using namespace orv;             // NOLINT: tests
using namespace orv::framework;  // NOLINT: tests
namespace fs = std::filesystem;

inline constexpr common::ClassId kSampleResult = 0x7e001000;
inline constexpr common::ClassId kSampleCommand = 0x7e002000;

using TextRow = std::vector<std::string>;

/// A connection of a reader's own.
class Reader {
  public:
    explicit Reader(const std::string& path);
    ~Reader() { sqlite3_close(connection_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /// Rows as texts, NULL as "null". A parameter @DataSetId gets `data_set`. An error is a failure of the
    /// test, and no row.
    std::vector<TextRow> Query(const std::string& sql, int data_set = 1) const;
    /// The one value of a query.
    std::string Get(const std::string& sql, int data_set = 1) const;

  private:
    sqlite3* connection_ = nullptr;
};

/// A folder that goes with the test.
class Folder {
  public:
    Folder();
    ~Folder() { fs::remove_all(path_); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    /// Names of the files, sorted.
    std::vector<std::string> List() const;

  private:
    fs::path path_;
};

class ResultsTest : public testing::Test {
  protected:
    explicit ResultsTest(ClockKind clock = ClockKind::Virtual);

    /// Replaces the manager.
    void MakeManager(const results::WriterOptions& options = {});
    core::TestResultManager& Manager() { return *manager_; }
    /// Begins a test that writes "<name>.db" in the folder.
    void Begin(const std::string& name = "test", const std::string& path = "");

    core::CProject& Project() { return host_.GetProject(); }
    CScriptable& Make(common::ClassId id, CScriptable* parent = nullptr);
    /// Results below the project, each with `text`.
    ScriptableVec MakeResults(int count, const std::string& text = "");
    static void Destroy(const ScriptableVec& objects);

    Folder folder_;
    core::CHostApplication host_;
    std::unique_ptr<core::TestResultManager> manager_;
};

}  // namespace results_test
