#include "orv/framework/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/log/log_catcher.h"

namespace host_test {

namespace {

using namespace orv::framework;  // NOLINT: tests

BLLLoggerFactory& Factory() {
    return BLLLoggerFactory::GetInstance();
}

void WriteAllLevels(BLLLogger& logger) {
    logger.Debug("debug", "here.cpp", 1);
    logger.Info("info", "here.cpp", 2);
    logger.Warn("warn", "here.cpp", 3);
    logger.Error("error", "here.cpp", 4);
    logger.Fatal("fatal", "here.cpp", 5);
}

TEST(Logger, WritesItsLevelAndWhatIsMoreSevere) {
    BLLLogger& logger = *Factory().GetLogger("test.levels");
    const struct {
        LogLevelType level;
        std::vector<std::string> written;
    } cases[] = {
        {LogLevelType::Debug, {"debug", "info", "warn", "error", "fatal"}},
        {LogLevelType::Info, {"info", "warn", "error", "fatal"}},
        {LogLevelType::Warn, {"warn", "error", "fatal"}},
        {LogLevelType::Error, {"error", "fatal"}},
        {LogLevelType::Fatal, {"fatal"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(GetLevelName(c.level));
        logger.SetLevel(c.level);
        const LogCatcher log("test.levels");
        WriteAllLevels(logger);
        std::vector<std::string> written;
        for (const LogRecord& record : log.GetRecords()) {
            written.push_back(record.text);
            EXPECT_TRUE(logger.IsEnabledFor(record.level)) << record.text;
            EXPECT_EQ(record.file, "here.cpp");
        }
        EXPECT_EQ(written, c.written);
    }
    EXPECT_EQ(Factory().GetLogger("test.levels"), &logger);
    EXPECT_EQ(logger.GetName(), "test.levels");
}

TEST(Logger, ALevelForAllHoldsForLoggersMadeLater) {
    Factory().SetLevel("", LogLevelType::Error);
    EXPECT_FALSE(Factory().GetLogger("test.later")->IsEnabledFor(LogLevelType::Warn));
    Factory().SetLevel("", LogLevelType::Warn);
    EXPECT_TRUE(Factory().GetLogger("test.later")->IsEnabledFor(LogLevelType::Warn));
    Factory().SetLevel("test.early", LogLevelType::Debug);
    EXPECT_TRUE(Factory().GetLogger("test.early")->IsEnabledFor(LogLevelType::Debug));
    EXPECT_FALSE(Factory().GetLogger("test.later")->IsEnabledFor(LogLevelType::Info));
}

TEST(Logger, AListenerMayLogAndRemoveItself) {
    BLLLogger& logger = *Factory().GetLogger("test.reentrant");
    std::vector<std::string> heard;
    int id = 0;
    id = Factory().AddListener([&](const LogRecord& record) {
        heard.push_back(record.text);
        if (record.text == "outer") logger.Error("inner", "here.cpp", 1);
        if (record.text == "inner") Factory().RemoveListener(id);
    });
    logger.Error("outer", "here.cpp", 1);
    logger.Error("after", "here.cpp", 1);
    EXPECT_EQ(heard, (std::vector<std::string>{"outer", "inner"}));
}

TEST(Logger, TheConsoleShowsTimeLevelLoggerTextAndPlace) {
    testing::internal::CaptureStderr();
    Factory().SetConsole(false);
    Factory().SetConsole(true);
    Factory().GetLogger("test.console")->Warn("a text with {} and {1}", "iptv/source.cpp", 42);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3} Warn  "
                                      "\\[test\\.console\\] a text with \\{\\} and \\{1\\} "
                                      "\\(iptv/source\\.cpp:42\\)\n"));
}

}  // namespace
}  // namespace host_test
