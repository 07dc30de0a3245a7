#include "run_log.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace orv::app {

using framework::BLLLoggerFactory;
using framework::LogLevelType;
using framework::LogRecord;

namespace {

std::string Trim(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \n");
    return first == text.npos ? "" : text.substr(first, text.find_last_not_of(" \n") - first + 1);
}

/// "b: c" and "c" of "a: b: c".
std::vector<std::string> GetEnds(std::string_view text) {
    constexpr std::string_view kSeparator = ": ";
    std::vector<std::string> ends;
    for (std::size_t at; (at = text.find(kSeparator)) != text.npos;) {
        text.remove_prefix(at + kSeparator.size());
        ends.emplace_back(text);
    }
    return ends;
}

/// What an apply that has failed says: first no more than these words, then all faults in one line, which the
/// commands that asked for it pass on.
constexpr std::string_view kFailedApply = "IPTV Apply received error";

/// The faults that the line names, whatever they say.
std::vector<std::string_view> GetFaults(std::string_view text) {
    constexpr std::string_view kFault = "faultString: ", kNext = ": msgSeqNum ";
    std::vector<std::string_view> faults;
    for (std::size_t at; (at = text.find(kFault)) != text.npos;) {
        text.remove_prefix(at + kFault.size());
        const std::size_t next = text.find(kNext);
        // "error 1" is between them.
        const std::size_t end = next == text.npos ? text.size() : text.rfind("error ", next);
        faults.push_back(text.substr(0, end));
    }
    return faults;
}

}  // namespace

RunLog::RunLog(Listener listener) : listener_(std::move(listener)) {
    id_ = BLLLoggerFactory::GetInstance().AddListener([this](const LogRecord& record) { Take(record); });
}

RunLog::~RunLog() {
    BLLLoggerFactory::GetInstance().RemoveListener(id_);
}

bool RunLog::IsError(const LogRecord& record) {
    return record.level == LogLevelType::Error || record.level == LogLevelType::Fatal;
}

void RunLog::AddError(const std::string& text) {
    Take({"iptvtest", LogLevelType::Error, text, __FILE__, __LINE__});
}

void RunLog::AddPassedOn(const std::string& text) {
    Take({"iptvtest", LogLevelType::Error, text, __FILE__, __LINE__}, Origin::PassedOn);
}

void RunLog::Take(LogRecord record, Origin origin) {
    record.text = Trim(record.text);
    const bool is_error = IsError(record);
    if (is_error || record.level == LogLevelType::Warn) {
        if (record.text.empty()) return;
        const std::lock_guard guard(mutex_);
        if (is_error && IsRepeatedApply(record.text)) return;
        if (!Keep(is_error ? known_errors_ : known_warnings_, record.text, origin)) return;
        if (is_error) errors_.push_back(record.text);
    }
    listener_(record);
}

bool RunLog::IsRepeatedApply(const std::string& text) const {
    if (text.find(kFailedApply) == text.npos) return false;
    const auto faults = GetFaults(text);
    return std::all_of(faults.begin(), faults.end(), [this](std::string_view fault) {
        return std::any_of(errors_.begin(), errors_.end(),
                           [fault](const std::string& error) { return error.find(fault) != error.npos; });
    });
}

bool RunLog::Keep(Texts& texts, const std::string& text, Origin origin) {
    std::vector<std::string> ends = GetEnds(text);
    const auto is_known = [&](const std::string& end) {
        return texts.whole.contains(end) || (origin == Origin::PassedOn && texts.ends.contains(end));
    };
    if (texts.whole.contains(text) || texts.ends.contains(text)) return false;
    if (std::any_of(ends.begin(), ends.end(), is_known)) return false;
    texts.whole.insert(text);
    texts.ends.insert(std::make_move_iterator(ends.begin()), std::make_move_iterator(ends.end()));
    return true;
}

std::vector<std::string> RunLog::GetErrors() const {
    const std::lock_guard guard(mutex_);
    return errors_;
}

}  // namespace orv::app
