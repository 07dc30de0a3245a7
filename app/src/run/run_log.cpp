#include "run_log.h"

#include <algorithm>
#include <utility>

namespace orv::app {

using framework::BLLLoggerFactory;
using framework::LogLevelType;
using framework::LogRecord;

RunLog::RunLog(Listener listener) : listener_(std::move(listener)) {
    id_ = BLLLoggerFactory::GetInstance().AddListener([this](const LogRecord& record) {
        if (record.level == LogLevelType::Error || record.level == LogLevelType::Fatal) Keep(record.text);
        listener_(record);
    });
}

RunLog::~RunLog() {
    BLLLoggerFactory::GetInstance().RemoveListener(id_);
}

void RunLog::AddError(const std::string& text) {
    Keep(text);
    listener_({"iptvtest", LogLevelType::Error, text, __FILE__, __LINE__});
}

void RunLog::Keep(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \n");
    const std::size_t last = text.find_last_not_of(" \n");
    if (first == text.npos) return;
    const std::lock_guard guard(mutex_);
    const std::string trimmed = text.substr(first, last - first + 1);
    const bool is_known = std::any_of(errors_.begin(), errors_.end(), [&trimmed](const std::string& kept) {
        return trimmed.ends_with(kept) || kept.ends_with(trimmed);
    });
    if (!is_known) errors_.push_back(trimmed);
}

std::vector<std::string> RunLog::GetErrors() const {
    const std::lock_guard guard(mutex_);
    return errors_;
}

}  // namespace orv::app
