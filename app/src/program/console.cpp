#include "console.h"

#include <fmt/format.h>

#include <algorithm>
#include <ostream>

#include "output/printable.h"

namespace orv::app {

using framework::LogLevelType;

namespace {

/// Wall time between two updates of the bar, and between two lines.
constexpr auto kBarPeriod = std::chrono::milliseconds(100);
constexpr auto kLinePeriod = std::chrono::seconds(10);

/// "1:05"
std::string FormatTime(std::chrono::nanoseconds time) {
    const auto seconds = std::max<long long>(std::chrono::round<std::chrono::seconds>(time).count(), 0);
    if (seconds >= 3600)
        return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

std::string FormatFigures(const RunProgress& progress) {
    return fmt::format("{} of {}, {} left   {:.0f} changes, {:.0f} failed joins, {:.1f} ms average join",
                       FormatTime(progress.elapsed), FormatTime(progress.duration),
                       FormatTime(progress.duration - progress.elapsed), progress.figures.channel_changes,
                       progress.figures.failed_joins, progress.figures.average_join_latency);
}

}  // namespace

int GetSeverity(LogLevelType level) {
    switch (level) {
        case LogLevelType::Debug:
            return 0;
        case LogLevelType::Info:
            return 1;
        case LogLevelType::Warn:
            return 2;
        case LogLevelType::Error:
            return 3;
        case LogLevelType::Fatal:
            return 4;
    }
    return 4;
}

Console::~Console() {
    const std::lock_guard guard(mutex_);
    EraseBar();
}

void Console::OnTestBegins(const std::string& test, std::chrono::nanoseconds duration) {
    if (options_.progress != Progress::Lines) return;
    const std::lock_guard guard(mutex_);
    shown_ = Clock::now();
    Print(fmt::format("Test \"{}\" runs for {}", MakePrintable(test), FormatTime(duration)));
}

bool Console::WantsProgress() {
    if (options_.progress == Progress::None) return false;
    const std::lock_guard guard(mutex_);
    const auto period = options_.progress == Progress::Bar ? Clock::duration(kBarPeriod) : kLinePeriod;
    return Clock::now() - shown_ >= period;
}

void Console::OnProgress(const RunProgress& progress) {
    const std::lock_guard guard(mutex_);
    shown_ = Clock::now();
    if (progress.test.empty()) return EraseBar();
    if (options_.progress == Progress::Bar) {
        DrawBar(progress);
    } else {
        Print(FormatFigures(progress));
    }
}

void Console::OnNote(const std::string& text) {
    if (!options_.notes) return;
    const std::lock_guard guard(mutex_);
    Print(MakePrintable(text));
}

void Console::OnLog(const framework::LogRecord& record) {
    if (!options_.level || GetSeverity(record.level) < GetSeverity(*options_.level)) return;
    const std::lock_guard guard(mutex_);
    Print(fmt::format("{}: {}", framework::GetLevelName(record.level), MakePrintable(record.text)));
}

void Console::Print(const std::string& line) {
    EraseBar();
    out_ << line << '\n' << std::flush;
}

void Console::EraseBar() {
    if (!has_bar_) return;
    out_ << "\r\x1b[K" << std::flush;
    has_bar_ = false;
}

void Console::DrawBar(const RunProgress& progress) {
    const double done = progress.duration.count() > 0
                            ? std::clamp(static_cast<double>(progress.elapsed.count()) /
                                             static_cast<double>(progress.duration.count()),
                                         0.0, 1.0)
                            : 1.0;
    const std::string figures = FormatFigures(progress);
    const int room = options_.width - static_cast<int>(figures.size()) - 4;
    const int cells = std::clamp(room, 0, 30);
    const int filled = static_cast<int>(done * cells);
    std::string line = cells > 0 ? fmt::format("[{:=>{}}{:>{}}] ", "", filled, "", cells - filled) : "";
    line += figures;
    // A wrapped line could not be overwritten.
    line.resize(
        std::min<std::size_t>(line.size(), static_cast<std::size_t>(std::max(options_.width - 1, 1))));
    out_ << "\r\x1b[K" << line << std::flush;
    has_bar_ = true;
}

}  // namespace orv::app
