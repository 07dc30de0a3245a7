// Named loggers.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace orv::framework {

/// Levels as callers pass them. The numbers are fixed; the order of severity is Debug, Info, Warn, Error,
/// Fatal.
enum class LogLevelType { Debug = 1, Info = 2, Error = 3, Warn = 4, Fatal = 5 };

const char* GetLevelName(LogLevelType level);

/// One named logger. Thread-safe. Callers check IsEnabledFor before they build a text.
class BLLLogger {
  public:
    virtual ~BLLLogger();
    virtual const std::string& GetName() const = 0;
    virtual bool IsEnabledFor(LogLevelType level) const = 0;
    /// Sets the least severe level that is written; Debug writes everything.
    virtual void SetLevel(LogLevelType level) = 0;

    virtual void Debug(const std::string& text, const char* file, int line) = 0;
    virtual void Info(const std::string& text, const char* file, int line) = 0;
    virtual void Error(const std::string& text, const char* file, int line) = 0;
    virtual void Warn(const std::string& text, const char* file, int line) = 0;
    virtual void Fatal(const std::string& text, const char* file, int line) = 0;
};

/// What a listener gets for each text written.
struct LogRecord {
    std::string logger;
    LogLevelType level;
    std::string text;
    std::string file;
    int line;
};

/// Creates loggers and sets where they write: the console (standard error) and listeners. Thread-safe.
/// Loggers start at Warn; all of them write to the same places.
class BLLLoggerFactory {
  public:
    static BLLLoggerFactory& GetInstance();

    /// The logger of that name, made on first use; lives until the process ends.
    BLLLogger* GetLogger(const std::string& name);
    /// Sets the level of one logger. With an empty name, sets that of all loggers, including those created
    /// later.
    void SetLevel(const std::string& name, LogLevelType level);

    void SetConsole(bool on);

    /// Listeners are called in the writing thread; returns an id for RemoveListener.
    int AddListener(std::function<void(const LogRecord&)> listener);
    void RemoveListener(int id);

  private:
    BLLLoggerFactory();
    ~BLLLoggerFactory();
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::framework
