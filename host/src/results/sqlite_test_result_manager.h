// The test-result manager that writes SQLite files.
#pragma once

#include <atomic>
#include <boost/filesystem/path.hpp>
#include <memory>
#include <mutex>
#include <string>

#include "orv/core/test_result_manager.h"
#include "results_writer.h"

namespace orv::results {

/// Copies what is to be stored and leaves the writing to a thread.
class SqliteTestResultManager : public core::TestResultManager {
  public:
    SqliteTestResultManager(const std::string& folder, const WriterOptions& options, int run_iteration = 0);
    ~SqliteTestResultManager() override;

    void Describe(const std::string& name, const std::string& text) override;
    void StartInteractive() override;
    void SetTestResultSetting(const TestResultSetting& setting) override;
    void SaveConfiguration(bool save) override;
    std::string GetDatabasePath() const override;
    std::uint32_t GetDataSetId() const override { return data_set_id_; }
    void SetTestCommand(framework::CCommand& command) override;
    void SaveResults(const framework::ScriptableVec& results) override;
    void SaveRows(core::PackedRows rows) override;
    void SaveObjects(const std::set<common::ClassId>& classes) override;
    void SetRootNode(framework::CScriptable& node) override;
    bool MustFinalise() const override { return must_finalise_; }
    void Finalise() override;
    int GetIterationNumber() const override { return iteration_; }
    void SetIterationNumber(int iteration) override;
    void RegisterIterationDatabase(framework::CScriptable& node, const std::string& path) override;
    std::string GetErrorText() const override { return writer_.GetErrorText(); }

  private:
    void SetPath(const std::string& path);
    std::string MakePath(const TestResultSetting& setting) const;
    bool CanWrite(const char* purpose);
    void Write(const char* purpose, std::size_t bytes, std::function<void(ResultsFile&)> work);

    Description description_;
    const boost::filesystem::path folder_;  ///< absolute
    const int run_iteration_;               ///< of data sets outside of a sequence's iterations
    mutable std::mutex mutex_;              ///< of the path
    std::string path_;
    std::atomic<bool> has_setting_ = false;
    std::atomic<std::uint32_t> data_set_id_ = 0;
    std::atomic<int> iteration_ = 0;
    std::atomic<bool> must_finalise_ = false;
    ResultsWriter writer_;
};

std::unique_ptr<core::TestResultManager> MakeSqliteTestResultManager(const std::string& folder,
                                                                     const WriterOptions& options);

}  // namespace orv::results
