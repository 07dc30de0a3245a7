// Loggers on spdlog: one spdlog logger per name, all with one set of sinks.
#include "orv/framework/logger.h"

#include <fmt/format.h>
#include <spdlog/logger.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/base_sink-inl.h>  // its templates are not in the compiled library for this mutex
#include <spdlog/sinks/base_sink.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <map>
#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include "orv/common/exceptions.h"

namespace orv::framework {

namespace {

/// The host's numbers are not in the order of severity; spdlog's are.
spdlog::level::level_enum ToSpdlog(LogLevelType level) {
    switch (level) {
        case LogLevelType::Debug:
            return spdlog::level::debug;
        case LogLevelType::Info:
            return spdlog::level::info;
        case LogLevelType::Warn:
            return spdlog::level::warn;
        case LogLevelType::Error:
            return spdlog::level::err;
        case LogLevelType::Fatal:
            return spdlog::level::critical;
    }
    throw common::COrvLogicError(fmt::format("{} is no log level", static_cast<int>(level)));
}

LogLevelType FromSpdlog(spdlog::level::level_enum level) {
    switch (level) {
        case spdlog::level::trace:
        case spdlog::level::debug:
            return LogLevelType::Debug;
        case spdlog::level::info:
            return LogLevelType::Info;
        case spdlog::level::warn:
            return LogLevelType::Warn;
        case spdlog::level::err:
            return LogLevelType::Error;
        default:
            return LogLevelType::Fatal;
    }
}

std::string_view View(spdlog::string_view_t text) {
    return {text.data(), text.size()};
}

/// Writes the name of the host's level.
class LevelFlag : public spdlog::custom_flag_formatter {
  public:
    void format(const spdlog::details::log_msg& message, const std::tm&, spdlog::memory_buf_t& out) override {
        fmt::format_to(std::back_inserter(out), "{:<5}", GetLevelName(FromSpdlog(message.level)));
    }
    std::unique_ptr<spdlog::custom_flag_formatter> clone() const override {
        return std::make_unique<LevelFlag>();
    }
};

std::unique_ptr<spdlog::formatter> MakeFormatter() {
    auto formatter = std::make_unique<spdlog::pattern_formatter>();
    formatter->add_flag<LevelFlag>('*').set_pattern("%Y-%m-%d %H:%M:%S.%e %* [%n] %v (%g:%#)");
    return formatter;
}

/// Passes records on to the listeners. The mutex is held while they run, so that none runs once it has been
/// removed; it is recursive, so that a listener may log.
class ListenerSink : public spdlog::sinks::base_sink<std::recursive_mutex> {
  public:
    int Add(std::function<void(const LogRecord&)> listener) {
        const std::lock_guard guard(mutex_);
        listeners_.emplace(next_id_, std::move(listener));
        return next_id_++;
    }
    void Remove(int id) {
        const std::lock_guard guard(mutex_);
        listeners_.erase(id);
    }

  protected:
    void sink_it_(const spdlog::details::log_msg& message) override {
        if (listeners_.empty()) return;
        const LogRecord record{std::string(View(message.logger_name)), FromSpdlog(message.level),
                               std::string(View(message.payload)),
                               message.source.filename ? message.source.filename : "", message.source.line};
        const auto listeners = listeners_;  // one may remove itself, or add others
        for (const auto& [id, listener] : listeners) {
            if (listeners_.contains(id)) listener(record);
        }
    }
    void flush_() override {}

  private:
    std::map<int, std::function<void(const LogRecord&)>> listeners_;
    int next_id_ = 1;
};

/// The sinks that all loggers write to. The mutex of a dist_sink would be held while listeners run and is
/// not recursive, so listeners stand beside it.
struct Places {
    std::shared_ptr<spdlog::sinks::dist_sink_mt> output = std::make_shared<spdlog::sinks::dist_sink_mt>();
    std::shared_ptr<ListenerSink> listeners = std::make_shared<ListenerSink>();
};

class SpdlogLogger : public BLLLogger {
  public:
    SpdlogLogger(std::string name, const Places& places, LogLevelType level)
        : logger_(std::move(name), {places.output, places.listeners}) {
        logger_.set_level(ToSpdlog(level));
        logger_.flush_on(spdlog::level::warn);
    }

    const std::string& GetName() const override { return logger_.name(); }
    bool IsEnabledFor(LogLevelType level) const override { return logger_.should_log(ToSpdlog(level)); }
    void SetLevel(LogLevelType level) override { logger_.set_level(ToSpdlog(level)); }

    void Debug(const std::string& text, const char* file, int line) override {
        Write(LogLevelType::Debug, text, file, line);
    }
    void Info(const std::string& text, const char* file, int line) override {
        Write(LogLevelType::Info, text, file, line);
    }
    void Error(const std::string& text, const char* file, int line) override {
        Write(LogLevelType::Error, text, file, line);
    }
    void Warn(const std::string& text, const char* file, int line) override {
        Write(LogLevelType::Warn, text, file, line);
    }
    void Fatal(const std::string& text, const char* file, int line) override {
        Write(LogLevelType::Fatal, text, file, line);
    }

  private:
    void Write(LogLevelType level, const std::string& text, const char* file, int line) {
        // As a view the text is data; as a format string its braces would be placeholders.
        logger_.log(spdlog::source_loc(file, line, ""), ToSpdlog(level), spdlog::string_view_t(text));
    }

    spdlog::logger logger_;
};

}  // namespace

const char* GetLevelName(LogLevelType level) {
    switch (level) {
        case LogLevelType::Debug:
            return "Debug";
        case LogLevelType::Info:
            return "Info";
        case LogLevelType::Error:
            return "Error";
        case LogLevelType::Warn:
            return "Warn";
        case LogLevelType::Fatal:
            return "Fatal";
    }
    return "?";
}

BLLLogger::~BLLLogger() = default;

struct BLLLoggerFactory::Impl {
    std::mutex mutex;
    Places places;
    std::map<std::string, std::unique_ptr<SpdlogLogger>> loggers;
    LogLevelType default_level = LogLevelType::Warn;
    std::shared_ptr<spdlog::sinks::sink> console;
};

BLLLoggerFactory::BLLLoggerFactory() : impl_(std::make_unique<Impl>()) {
    SetConsole(true);
}
BLLLoggerFactory::~BLLLoggerFactory() = default;

BLLLoggerFactory& BLLLoggerFactory::GetInstance() {
    // Never destroyed: objects that end with the process may still log.
    static auto* const factory = new BLLLoggerFactory;
    return *factory;
}

BLLLogger* BLLLoggerFactory::GetLogger(const std::string& name) {
    const std::lock_guard guard(impl_->mutex);
    auto& logger = impl_->loggers[name];
    if (!logger) logger = std::make_unique<SpdlogLogger>(name, impl_->places, impl_->default_level);
    return logger.get();
}

void BLLLoggerFactory::SetLevel(const std::string& name, LogLevelType level) {
    if (!name.empty()) return GetLogger(name)->SetLevel(level);
    const std::lock_guard guard(impl_->mutex);
    impl_->default_level = level;
    for (const auto& [each, logger] : impl_->loggers) logger->SetLevel(level);
}

void BLLLoggerFactory::SetConsole(bool on) {
    const std::lock_guard guard(impl_->mutex);
    if (impl_->console) {
        impl_->console->flush();
        impl_->places.output->remove_sink(impl_->console);
        impl_->console.reset();
    }
    if (!on) return;
    impl_->console = std::make_shared<spdlog::sinks::stderr_sink_mt>();
    impl_->console->set_formatter(MakeFormatter());
    impl_->places.output->add_sink(impl_->console);
}

int BLLLoggerFactory::AddListener(std::function<void(const LogRecord&)> listener) {
    return impl_->places.listeners->Add(std::move(listener));
}

void BLLLoggerFactory::RemoveListener(int id) {
    impl_->places.listeners->Remove(id);
}

}  // namespace orv::framework
