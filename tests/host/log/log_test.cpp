#include "host/aids.h"
#include "orv/framework/resources.h"

namespace {

using namespace host_test;  // NOLINT: a test

BLLLoggerFactory& Factory() {
    return BLLLoggerFactory::GetInstance();
}

TEST(Logger, WritesItsLevelAndWhatIsMoreSevere) {
    BLLLogger& logger = *Factory().GetLogger("test.levels");
    Strings expected = {"debug", "info", "warn", "error", "fatal"};
    for (const auto level : {LogLevelType::Debug, LogLevelType::Info, LogLevelType::Warn, LogLevelType::Error,
                             LogLevelType::Fatal}) {
        logger.SetLevel(level);
        const LogCatcher log("test.levels");
        logger.Debug("debug", "here.cpp", 1);
        logger.Info("info", "here.cpp", 2);
        logger.Warn("warn", "here.cpp", 3);
        logger.Error("error", "here.cpp", 4);
        logger.Fatal("fatal", "here.cpp", 5);
        Strings written;
        for (const LogRecord& record : log.GetRecords()) {
            written.push_back(record.text);
            EXPECT_TRUE(logger.IsEnabledFor(record.level)) << record.text;
            EXPECT_EQ(record.file, "here.cpp");
        }
        EXPECT_EQ(written, expected) << GetLevelName(level);
        expected.erase(expected.begin());
    }
    EXPECT_EQ(Factory().GetLogger("test.levels"), &logger);
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
    Strings heard;
    int id = 0;
    id = Factory().AddListener([&](const LogRecord& record) {
        heard.push_back(record.text);
        if (record.text == "outer") logger.Error("inner", "here.cpp", 1);
        if (record.text == "inner") Factory().RemoveListener(id);
    });
    logger.Error("outer", "here.cpp", 1);
    logger.Error("after", "here.cpp", 1);
    EXPECT_THAT(heard, ElementsAre("outer", "inner"));
}

TEST(Logger, TheConsoleShowsTimeLevelLoggerTextAndPlace) {
    testing::internal::CaptureStderr();
    Factory().SetConsole(false);
    Factory().SetConsole(true);
    Factory().GetLogger("test.console")->Warn("a text with {} and {1}", "iptv/source.cpp", 42);
    EXPECT_THAT(
        testing::internal::GetCapturedStderr(),
        testing::MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}\\.[0-9]{3} Warn  \\[test\\.console\\] "
                              "a text with \\{\\} and \\{1\\} \\(iptv/source\\.cpp:42\\)\n"));
}

TEST(ResourceFormatter, FillsPlaceholders) {
    const std::tuple<const char*, Strings, const char*> cases[] = {
        {" {1}", {""}, " "},
        {"{2} before {1}{1}", {"a", "b"}, "b before aa"},
        {"{1}{2}", {"{2}", "{1}"}, "{2}{1}"},
        {"{0} {-1} {x} { 1} {1 } {} {", {"a"}, "{0} {-1} {x} { 1} {1 } {} {"},
        {"{{1}}", {"a"}, "{a}"},
        {"{11}{1}", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "eleven"}, "eleven1"},
        {"{99999999999999999999}", {"a"}, "{99999999999999999999}"}};
    std::uint32_t id = 0x7f000100;
    for (const auto& [text, arguments, result] : cases) {
        CResourceManager::Instance().AddStringResource(++id, text);
        ResourceFormatter formatter(id);
        for (const std::string& argument : arguments) formatter << argument;
        std::ostringstream streamed;
        streamed << formatter;
        EXPECT_EQ(streamed.str(), result);
    }
    CResourceManager::Instance().AddStringResource(0x7f000200, "{1}|{2}|{3}|{4}");
    ResourceFormatter formatter(0x7f000200);
    formatter.SetFieldWidth(4, '0');
    formatter << 42 << "12345";
    formatter.SetFieldWidth(0);
    formatter << -1 << 2.5;
    EXPECT_EQ(formatter.ToString(), "0042|12345|-1|2.5");
}

TEST(ResourceManager, RefusesAnotherTextForAnIdAndUnknownIds) {
    auto& manager = CResourceManager::Instance();
    for (int i = 0; i < 2; ++i) manager.AddStringResource(0x7f000001, "one");
    EXPECT_EQ(ThrownBy<COrvLogicError>([&] { manager.AddStringResource(0x7f000001, "two"); }),
              "string resource 0x7f000001 is \"one\" already and cannot become \"two\"");
    EXPECT_EQ(manager.GetStringResource(0x7f000001), "one");
    EXPECT_EQ(ThrownBy<COrvLogicError>([] { ResourceFormatter(0x7f0000ff).ToString(); }),
              "there is no string resource 0x7f0000ff");
}

}  // namespace
