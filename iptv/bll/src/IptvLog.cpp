#include "IptvLog.h"

#include "IptvResources.h"
#include "orv/framework/resources.h"

namespace orv::iptv {

using framework::BLLLogger;

namespace {

void Write(BLLLogger& logger, LogLevelType level, const std::string& text,
           const std::source_location& where) {
    const int line = static_cast<int>(where.line());
    switch (level) {
        case LogLevelType::Debug:
            return logger.Debug(text, where.file_name(), line);
        case LogLevelType::Info:
            return logger.Info(text, where.file_name(), line);
        case LogLevelType::Error:
            return logger.Error(text, where.file_name(), line);
        case LogLevelType::Warn:
            return logger.Warn(text, where.file_name(), line);
        case LogLevelType::Fatal:
            return logger.Fatal(text, where.file_name(), line);
    }
}

}  // namespace

BLLLogger* devLogger() {
    static BLLLogger* const logger =
        framework::BLLLoggerFactory::GetInstance().GetLogger("content.mulvane.iptv");
    return logger;
}

BLLLogger* userLogger() {
    static BLLLogger* const logger = framework::BLLLoggerFactory::GetInstance().GetLogger("user.iptv");
    return logger;
}

void LogResource(BLLLogger* logger, LogLevelType level, std::uint32_t id,
                 std::initializer_list<framework::LazyText> arguments, const std::source_location& where) {
    if (!logger || !logger->IsEnabledFor(level)) return;
    framework::ResourceFormatter formatter(id);
    for (const framework::LazyText& argument : arguments) formatter << argument.Get();
    Write(*logger, level, formatter.ToString(), where);
}

void LogText(BLLLogger* logger, LogLevelType level, const framework::LazyText& text,
             const std::source_location& where) {
    if (logger && logger->IsEnabledFor(level)) Write(*logger, level, text.Get(), where);
}

void Trace(const framework::LazyText& text, const std::source_location& where) {
    LogResource(devLogger(), LogLevelType::Debug, resource::kTrace, {text}, where);
}

}  // namespace orv::iptv
