// The patterns in which failures are logged, reported and thrown.
#include <gtest/gtest.h>

#include <type_traits>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResourceRegisterer.h"
#include "IptvResources.h"
#include "orv/common/exceptions.h"
#include "orv/framework/resources.h"
#include "orv/framework/validation.h"

namespace {

using namespace orv::iptv;       // NOLINT: a test
using namespace orv::framework;  // NOLINT: a test
using orv::common::COrvLogicError;
using orv::common::COrvRunTimeError;

class ErrorsTest : public testing::Test {
  protected:
    ErrorsTest() {
        const IptvResourceRegisterer resources;
        auto& loggers = BLLLoggerFactory::GetInstance();
        loggers.SetConsole(false);
        devLogger()->SetLevel(LogLevelType::Error);
        listener_ = loggers.AddListener([this](const LogRecord& record) { records_.push_back(record); });
    }
    ~ErrorsTest() override {
        BLLLoggerFactory::GetInstance().RemoveListener(listener_);
        BLLLoggerFactory::GetInstance().SetConsole(true);
    }

    /// What was logged: "<logger> <level>: <text>".
    std::vector<std::string> Logged() const {
        std::vector<std::string> lines;
        for (const LogRecord& record : records_) {
            lines.push_back(record.logger + " " + GetLevelName(record.level) + ": " + record.text);
        }
        return lines;
    }

    std::vector<LogRecord> records_;
    int listener_;
};

const LookupFailure kFailure{"MulticastGroup", "ChannelBlock", "CIptvChannelBlock::ValidateChannelBlock"};

TEST_F(ErrorsTest, LookupFailureIsLoggedForBothAndThrown) {
    try {
        ThrowLookupFailure(kFailure, "IptvChannelBlock. ");
        FAIL();
    } catch (const COrvRunTimeError& error) {
        EXPECT_STREQ(error.what(), " BAD OBJECT ERROR: Error accessing Config Objects. IptvChannelBlock. ");
    }
    EXPECT_EQ(Logged(), (std::vector<std::string>{
                            "content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get "
                            "object MulticastGroup "
                            "from ChannelBlock in CIptvChannelBlock::ValidateChannelBlock",
                            "user.iptv Fatal: BAD OBJECT ERROR: Internal Error accessing Config Objects."}));
    EXPECT_EQ(records_[0].file, "tests/iptv/errors_test.cpp");
}

TEST_F(ErrorsTest, InAValidatorItIsReportedToo) {
    ValidationContext context;
    EXPECT_THROW(ThrowLookupFailure(kFailure, context,
                                    "MulticastGroup associated with News could not be found. ", "x"),
                 COrvRunTimeError);
    ASSERT_EQ(context.GetErrors().size(), 1u);
    EXPECT_EQ(context.GetErrors()[0].message, "MulticastGroup associated with News could not be found. ");
    EXPECT_EQ(Logged().size(), 2u);
}

TEST_F(ErrorsTest, CreationFailureNamesTheClass) {
    try {
        ThrowCreationFailure("AnalyzerStartCommand in CIptvStartTestCommand::DoRun", "AnalyzerStartCommand");
        FAIL();
    } catch (const COrvRunTimeError& error) {
        EXPECT_STREQ(error.what(),
                     " BAD ALLOCATION ERROR: Error in Memory Allocation. AnalyzerStartCommand.");
    }
    EXPECT_EQ(Logged(),
              (std::vector<std::string>{"content.mulvane.iptv Error: MEMORY ALLOCATION ERROR: for object: "
                                        "AnalyzerStartCommand in CIptvStartTestCommand::DoRun "}));
}

TEST_F(ErrorsTest, ReportSourceIsPathAndLineWithoutSeparator) {
    ValidationContext context;
    ReportError(context, "a rule is broken");
    const int line = __LINE__ - 1;
    ASSERT_EQ(context.GetErrors().size(), 1u);
    EXPECT_EQ(context.GetErrors()[0].source, "tests/iptv/errors_test.cpp" + std::to_string(line));
}

TEST_F(ErrorsTest, NoTextIsMadeForALevelThatIsOff) {
    bool made = false;
    const auto make = [&made] {
        made = true;
        return std::string("Validating IptvChannelBlock News");
    };
    const auto log = [&make] {
        Trace(make);
        LogText(devLogger(), LogLevelType::Info, make);
        LogResource(devLogger(), LogLevelType::Debug, resource::kText, {make});
    };
    log();
    EXPECT_FALSE(made);
    EXPECT_TRUE(Logged().empty());
    devLogger()->SetLevel(LogLevelType::Debug);
    log();
    const std::string written = "Validating IptvChannelBlock News";
    EXPECT_EQ(Logged(), (std::vector<std::string>{"content.mulvane.iptv Debug:  " + written,
                                                  "content.mulvane.iptv Info: " + written,
                                                  "content.mulvane.iptv Debug: " + written}));
    static_assert(!std::is_constructible_v<LazyText, std::string>, "it would be made for nothing");
}

TEST_F(ErrorsTest, AssertionTextHasItsFourParts) {
    const void* parent = nullptr;
    const int line = __LINE__ + 2;
    try {
        ORV_ASSERT(parent != NULL, "Serious error: No parent");
        FAIL();
    } catch (const COrvLogicError& error) {
        EXPECT_EQ(error.what(),
                  "Assertion Failed: Serious error: No parent Expression: parent != NULL File: "
                  "tests/iptv/errors_test.cpp Line: " +
                      std::to_string(line));
    }
}

}  // namespace
