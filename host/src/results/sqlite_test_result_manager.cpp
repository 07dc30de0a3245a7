#include "sqlite_test_result_manager.h"

#include <fmt/chrono.h>

#include <boost/filesystem/operations.hpp>
#include <ctime>
#include <utility>

#include "orv/common/exceptions.h"
#include "orv/framework/command.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "snapshot.h"

namespace orv::results {

namespace {

/// Universal time with milliseconds, as SQLite's date functions read it.
std::string FormatTime(std::chrono::system_clock::duration since_1970) {
    using std::chrono::milliseconds;
    const auto time = std::chrono::duration_cast<milliseconds>(since_1970).count();
    return fmt::format("{:%Y-%m-%d %H:%M:%S}.{:03}", fmt::gmtime(static_cast<std::time_t>(time / 1000)),
                       time % 1000);
}

/// By the clock of the test.
std::string GetTimeText() {
    return FormatTime(framework::CTaskManager::Instance().GetSystemTime());
}

std::string GetWallClockText() {
    return FormatTime(std::chrono::system_clock::now().time_since_epoch());
}

}  // namespace

SqliteTestResultManager::SqliteTestResultManager(const std::string& folder, const WriterOptions& options,
                                                 int run_iteration)
    : folder_(boost::filesystem::absolute(folder)), run_iteration_(run_iteration), writer_(options) {}

SqliteTestResultManager::~SqliteTestResultManager() {
    // While this is still the one that lives: the wait lets others run.
    writer_.Stop();
}

std::string SqliteTestResultManager::GetDatabasePath() const {
    const std::string detour = writer_.GetDetour();
    const std::lock_guard guard(mutex_);
    return path_.empty() || detour.empty() ? path_ : detour;
}

void SqliteTestResultManager::SetPath(const std::string& path) {
    const std::lock_guard guard(mutex_);
    path_ = path;
}

void SqliteTestResultManager::Describe(const std::string& name, const std::string& text) {
    std::erase_if(description_, [&name](const auto& entry) { return entry.first == name; });
    description_.emplace_back(name, text);
    if (data_set_id_ == 0 || writer_.HasFailed()) return;
    writer_.PushAndWait({ResultsWriter::Kind::Write, "storing a description", text.size(),
                         [&name, &text](ResultsFile& file) { file.Describe(name, text); }, ""});
}

void SqliteTestResultManager::StartInteractive() {
    iteration_ = 0;
}

void SqliteTestResultManager::SetIterationNumber(int iteration) {
    ORV_ASSERT(iteration >= 0, "Iterations count from 1; 0 ends them");
    iteration_ = iteration;
}

std::string SqliteTestResultManager::MakePath(const TestResultSetting& setting) const {
    const bool has_path = !setting.output_file_path.empty();
    std::string name = has_path ? setting.output_file_path : setting.base_name;
    if (name.empty()) name = "results";
    if (iteration_ > 0) name += "-Iter-" + std::to_string(iteration_);
    return boost::filesystem::absolute(name + ".db", folder_).lexically_normal().string();
}

void SqliteTestResultManager::SetTestResultSetting(const TestResultSetting& setting) {
    has_setting_ = true;
    must_finalise_ = false;
    data_set_id_ = 0;
    SetPath("");
    const std::string path = MakePath(setting);
    NewDataSet data_set{path,
                        setting.category,
                        GetTimeText(),
                        iteration_ > 0 ? iteration_.load() : run_iteration_,
                        GetStoredClasses(),
                        framework::CMetaClassManager::Instance().GetClass(ids::EmulatedDevice::CLASS),
                        description_};
    data_set.description.emplace_back(core::description::kStartTime, GetWallClockText());
    std::uint32_t id = 0;
    writer_.PushAndWait({ResultsWriter::Kind::Begin, "opening", 0,
                         [&](ResultsFile& file) { id = file.Begin(std::move(data_set)); }, path});
    if (id == 0) return;
    SetPath(path);
    data_set_id_ = id;
    must_finalise_ = true;
}

bool SqliteTestResultManager::CanWrite(const char* purpose) {
    if (writer_.HasFailed()) return false;
    // The setting, not the data set: what others store while the file is being opened comes behind that.
    if (!has_setting_) writer_.Fail(purpose, "there is no data set before the test's result setting");
    return has_setting_;
}

void SqliteTestResultManager::Write(const char* purpose, std::size_t bytes,
                                    std::function<void(ResultsFile&)> work) {
    writer_.Push({ResultsWriter::Kind::Write, purpose, bytes, std::move(work), ""});
}

void SqliteTestResultManager::SaveConfiguration(bool save) {
    constexpr const char* kPurpose = "storing the configuration";
    if (!save || !CanWrite(kPurpose)) return;
    const auto rows = std::make_shared<RowGroup>();
    AddConfiguration(*rows);
    Write(kPurpose, rows->GetSize(), [rows](ResultsFile& file) { file.WriteWithRelations(*rows); });
}

void SqliteTestResultManager::SetTestCommand(framework::CCommand& command) {
    constexpr const char* kPurpose = "storing the test command";
    if (!CanWrite(kPurpose)) return;
    const auto rows = std::make_shared<RowGroup>();
    rows->Add(command);
    Write(kPurpose, rows->GetSize(), [rows, handle = command.GetHandle()](ResultsFile& file) {
        file.Write(*rows);
        file.SetTestCommand(handle);
    });
}

void SqliteTestResultManager::SaveResults(const framework::ScriptableVec& results) {
    constexpr const char* kPurpose = "storing results";
    if (results.empty() || !CanWrite(kPurpose)) return;
    const auto rows = std::make_shared<RowGroup>(results.size());
    for (const framework::CScriptable* result : results) rows->Add(*result);
    Write(kPurpose, rows->GetSize(), [rows](ResultsFile& file) { file.Write(*rows); });
}

void SqliteTestResultManager::SaveRows(core::PackedRows packed) {
    constexpr const char* kPurpose = "storing results";
    if (packed.GetCount() == 0 || !CanWrite(kPurpose)) return;
    const auto rows = std::make_shared<const core::PackedRows>(std::move(packed));
    Write(kPurpose, rows->GetSize(), [rows](ResultsFile& file) { file.Write(*rows); });
}

void SqliteTestResultManager::SaveObjects(const std::set<common::ClassId>& classes) {
    constexpr const char* kPurpose = "storing the end of the test";
    if (!CanWrite(kPurpose)) return;
    const auto rows = std::make_shared<RowGroup>();
    AddResults(*rows, classes);
    Write(kPurpose, rows->GetSize(), [rows](ResultsFile& file) { file.Write(*rows); });
}

void SqliteTestResultManager::SetRootNode(framework::CScriptable& node) {
    constexpr const char* kPurpose = "storing the root node";
    if (!CanWrite(kPurpose)) return;
    Write(kPurpose, 0, [handle = node.GetHandle()](ResultsFile& file) { file.SetRootNode(handle); });
}

void SqliteTestResultManager::RegisterIterationDatabase(framework::CScriptable& node,
                                                        const std::string& path) {
    constexpr const char* kPurpose = "noting the file of an iteration";
    if (!CanWrite(kPurpose)) return;
    Write(kPurpose, path.size(),
          [handle = node.GetHandle(), path](ResultsFile& file) { file.AddIterationDatabase(handle, path); });
}

void SqliteTestResultManager::Finalise() {
    if (!must_finalise_) return;
    writer_.PushAndWait({ResultsWriter::Kind::Finish, "finalising", 0,
                         [this, time = GetTimeText(), wall_clock = GetWallClockText()](ResultsFile& file) {
                             // What is incomplete has no end.
                             writer_.HasFailed() ? file.Close() : file.Finalise(time, wall_clock);
                         },
                         ""});
    must_finalise_ = false;
}

std::unique_ptr<core::TestResultManager> MakeSqliteTestResultManager(const std::string& folder,
                                                                     const WriterOptions& options) {
    return std::make_unique<SqliteTestResultManager>(folder, options);
}

}  // namespace orv::results

namespace orv::core {

std::unique_ptr<TestResultManager> MakeSqliteTestResultManager(const std::string& folder, int run_iteration) {
    return std::make_unique<results::SqliteTestResultManager>(folder, results::WriterOptions{},
                                                              run_iteration);
}

}  // namespace orv::core
