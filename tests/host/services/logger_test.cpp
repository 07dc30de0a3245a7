#include "orv/framework/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/services/log_catcher.h"
#include "orv/common/exceptions.h"
#include "thrown.h"

namespace services_test {

using testing_aids::ThrownBy;

namespace {

using namespace orv::framework;  // NOLINT: tests
using testing::HasSubstr;

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

class LogFile : public testing::Test {
  protected:
    LogFile() : path_(std::filesystem::path(testing::TempDir()) / "services_logger_test.log") {
        std::filesystem::remove(path_);
        Factory().SetConsole(false);
    }
    ~LogFile() override {
        Factory().CloseFile();
        Factory().SetConsole(true);
        std::filesystem::remove(path_);
    }
    std::string ReadFile() const {
        std::ostringstream text;
        text << std::ifstream(path_).rdbuf();
        return text.str();
    }

    std::filesystem::path path_;
};

TEST_F(LogFile, HoldsTimeLevelLoggerTextAndPlace) {
    BLLLogger& logger = *Factory().GetLogger("test.file");
    Factory().SetFile(path_.string());
    logger.Warn("a text with {} and {1}", "iptv/source.cpp", 42);
    Factory().CloseFile();
    logger.Warn("into the void", "iptv/source.cpp", 43);
    Factory().SetFile(path_.string());
    logger.Fatal("appended", "iptv/source.cpp", 44);
    Factory().CloseFile();

    std::istringstream lines(ReadFile());
    std::string first, second, third;
    std::getline(lines, first);
    std::getline(lines, second);
    EXPECT_THAT(first, testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3} Warn  "
                                             "\\[test\\.file\\] a text with \\{\\} and \\{1\\} "
                                             "\\(iptv/source\\.cpp:42\\)"));
    EXPECT_THAT(second, HasSubstr("Fatal [test.file] appended (iptv/source.cpp:44)"));
    EXPECT_FALSE(std::getline(lines, third)) << third;
}

TEST_F(LogFile, ThatCannotBeOpenedIsNamedWithTheCause) {
    const std::string path = (path_.parent_path() / "no such folder" / "host.log").string();
    EXPECT_EQ(ThrownBy<orv::common::COrvRunTimeError>([&] { Factory().SetFile(path); }),
              "cannot open the log file \"" + path + "\": No such file or directory");
    EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace services_test
