#include "framework_log.h"

#include "orv/framework/logger.h"

namespace orv::framework {

namespace {

BLLLogger& Logger() {
    static BLLLogger& logger = *BLLLoggerFactory::GetInstance().GetLogger("framework");
    return logger;
}

int LineOf(const std::source_location& where) {
    return static_cast<int>(where.line());
}

}  // namespace

void LogDebug(const LazyText& text, const std::source_location& where) {
    if (Logger().IsEnabledFor(LogLevelType::Debug))
        Logger().Debug(text.Get(), where.file_name(), LineOf(where));
}

void LogWarn(const LazyText& text, const std::source_location& where) {
    if (Logger().IsEnabledFor(LogLevelType::Warn))
        Logger().Warn(text.Get(), where.file_name(), LineOf(where));
}

void LogError(const LazyText& text, const std::source_location& where) {
    if (Logger().IsEnabledFor(LogLevelType::Error))
        Logger().Error(text.Get(), where.file_name(), LineOf(where));
}

std::string DescribeException(const std::exception_ptr& exception) {
    try {
        std::rethrow_exception(exception);
    } catch (const std::exception& error) {
        return error.what();
    } catch (int number) {
        return "the integer " + std::to_string(number);
    } catch (const std::string& text) {
        return text;
    } catch (const char* text) {
        return text;
    } catch (...) {
        return "an exception of unknown type";
    }
}

}  // namespace orv::framework
