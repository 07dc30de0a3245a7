// A host with a test-result manager, and a reader of the files that it writes.
#pragma once

#include "database_reader.h"
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

inline constexpr common::ClassId kPackedResult = 0x7e00a000;
inline const StaticRegisterClass<core::CResult> packed_registration{kPackedResult};

using Reader = testing_aids::DatabaseReader;

/// No rows yet. The text of a number is as many x.
inline core::PackedRows MakePackedRows() {
    const auto put = [](std::int64_t number, char* text) { return std::fill_n(text, number, 'x'); };
    const auto& meta_class = *framework::CMetaClassManager::Instance().GetClass(kPackedResult);
    return core::PackedRows(std::make_shared<core::PackedRowLayout>(
        meta_class, std::vector<core::PackedRowLayout::Text>{{0x7e00a009, +put}}));
}

struct ResultsTest : HostTest {
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
