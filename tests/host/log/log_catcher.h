// The log texts of a logger while a test runs.
#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "orv/framework/logger.h"

namespace host_test {

class LogCatcher {
  public:
    explicit LogCatcher(std::string logger = "framework") {
        id_ = orv::framework::BLLLoggerFactory::GetInstance().AddListener(
            [this, logger](const orv::framework::LogRecord& record) {
                const std::lock_guard guard(mutex_);
                if (record.logger == logger) records_.push_back(record);
            });
    }
    ~LogCatcher() { orv::framework::BLLLoggerFactory::GetInstance().RemoveListener(id_); }
    LogCatcher(const LogCatcher&) = delete;
    LogCatcher& operator=(const LogCatcher&) = delete;

    std::vector<orv::framework::LogRecord> GetRecords() const {
        const std::lock_guard guard(mutex_);
        return records_;
    }
    /// True when a text of that level contains `part`.
    bool Has(orv::framework::LogLevelType level, const std::string& part) const {
        const auto records = GetRecords();
        return std::any_of(records.begin(), records.end(), [&](const auto& record) {
            return record.level == level && record.text.find(part) != std::string::npos;
        });
    }

  private:
    mutable std::mutex mutex_;
    std::vector<orv::framework::LogRecord> records_;
    int id_ = 0;
};

}  // namespace host_test
