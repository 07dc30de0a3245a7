// What all tests of the host use: short names, the log texts while a test runs, a folder for its files.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "orv/common/exceptions.h"
#include "orv/framework/logger.h"
#include "orv/framework/task_manager.h"
#include "thrown.h"

namespace host_test {

using namespace orv::framework;        // NOLINT: tests
using namespace std::chrono_literals;  // NOLINT: tests
namespace fs = std::filesystem;
using orv::common::COrvLogicError, orv::common::COrvRunTimeError, testing::ElementsAre, testing::HasSubstr;
using testing::IsEmpty, testing_aids::ThrownBy;
using Strings = std::vector<std::string>;

/// Long enough for a loaded machine; nothing waits that long unless it is broken.
inline constexpr auto kTooLong = 60s;

inline CTaskManager& Tasks() {
    return CTaskManager::Instance();
}

/// The log texts of a logger.
struct LogCatcher {
    explicit LogCatcher(std::string logger = "framework") {
        id_ = BLLLoggerFactory::GetInstance().AddListener([this, logger](const LogRecord& record) {
            const std::lock_guard guard(mutex_);
            if (record.logger == logger) records_.push_back(record);
        });
    }
    ~LogCatcher() { BLLLoggerFactory::GetInstance().RemoveListener(id_); }
    LogCatcher& operator=(LogCatcher&&) = delete;  // nor is it copied

    std::vector<LogRecord> GetRecords() const {
        const std::lock_guard guard(mutex_);
        return records_;
    }
    /// How many texts of that level contain `part`.
    auto Count(LogLevelType level, const std::string& part) const {
        const auto records = GetRecords();
        return std::count_if(records.begin(), records.end(), [&](const auto& record) {
            return record.level == level && record.text.find(part) != std::string::npos;
        });
    }
    bool Has(LogLevelType level, const std::string& part) const { return Count(level, part) > 0; }

  private:
    mutable std::mutex mutex_;
    std::vector<LogRecord> records_;
    int id_ = 0;
};

/// A folder that goes with the test.
struct Folder {
    Folder() {
        std::string pattern = (fs::temp_directory_path() / "host_test_XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("no temporary folder: " + pattern);
        path_ = fs::canonical(pattern);
    }
    ~Folder() { fs::remove_all(path_); }
    Folder& operator=(Folder&&) = delete;  // nor is it copied

    const fs::path& GetPath() const { return path_; }
    std::string operator/(const std::string& name) const { return (path_ / name).string(); }
    void Write(const std::string& name, const std::string& text) const {
        fs::create_directories((path_ / name).parent_path());
        std::ofstream(path_ / name) << text;
    }
    /// Names of the files, sorted.
    Strings List() const {
        Strings names;
        for (const auto& entry : fs::directory_iterator(path_)) names.push_back(entry.path().filename());
        std::sort(names.begin(), names.end());
        return names;
    }

  private:
    fs::path path_;
};

}  // namespace host_test
