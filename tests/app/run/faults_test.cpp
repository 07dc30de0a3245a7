// What a user sees when a port fails, and that the next run is not affected.
#include <fmt/format.h>

#include <cstdlib>
#include <random>

#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using testing::HasSubstr;
using testing::IsEmpty;

std::string Join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

/// All requests to a port with set-top boxes in a test of this kind. Missing responses to the last
/// two are no error: the test is over.
const std::vector<std::string> kRequests{"UpdateProfile",
                                         "UpdateChannelBlock",
                                         "AttachInterfaces",
                                         "UpdateSettopBlock",
                                         "UpdateConfig",
                                         "UpdateStreamMap",
                                         "RegisterResultsNotify",
                                         "RegisterEOTNotify",
                                         "Start",
                                         "Stop",
                                         "DeregisterEOTNotify",
                                         "DeregisterResultsNotify"};

class FaultsTest : public SessionTest {
  protected:
    static TestText TwoPorts(std::vector<std::string> faults = {}) {
        TestText text{.type = "FAST_CHANNEL_CHANGE", .environment = "TESTING", .seconds = 8, .ports = 2};
        text.profile = {"SetTopLeaveJoinDelay: 50"};
        text.network = {"join_delay: 37"};
        text.faults = std::move(faults);
        return text;
    }

    /// A run without faults has the usual results.
    void ExpectACleanRun() {
        const RunOutcome clean = Run(TwoPorts().ToString());
        EXPECT_EQ(clean.end, RunEnd::Passed);
        EXPECT_THAT(clean.errors, IsEmpty());
        ASSERT_EQ(clean.tests.size(), 1U);
        EXPECT_EQ(clean.tests[0].GetChannelChanges(), 2 * 4 * 8);
        for (const auto& block : clean.tests[0].stb_blocks) EXPECT_EQ(block.GetNumber("MaxJoinLatency"), 37);
    }
};

TEST_F(FaultsTest, EveryRequestThatGoesWrongIsAnErrorThatNamesIt) {
    for (const std::string& request : kRequests) {
        for (const char* kind : {"refuse", "lose_response", "go_offline"}) {
            SCOPED_TRACE(request + " " + kind);
            const RunOutcome outcome =
                Run(TwoPorts({fmt::format("{{kind: {}, request: {}}}", kind, request)}).ToString());
            const bool is_missed = !request.starts_with("Deregister") || kind == std::string("go_offline");
            EXPECT_EQ(outcome.end, is_missed ? RunEnd::Failure : RunEnd::Passed);
            // The plug-in's own texts name the command that has sent the request.
            const std::string errors = Join(outcome.errors);
            EXPECT_TRUE(!is_missed || errors.find(request) != errors.npos ||
                        errors.find("IptvStopTestCommand") != errors.npos)
                << errors;
            ExpectACleanRun();
        }
    }
}

TEST_F(FaultsTest, ATestThatLosesItsEndOrItsPortEndsAllTheSame) {
    struct Case {
        const char* fault;
        RunEnd end;
        const char* error;  ///< part of one; empty: there is none
        double least_views;
    };
    const double all = 2 * 4 * 8;
    for (const Case& c : std::initializer_list<Case>{
             {"{kind: late_end_of_test, delay_ms: 20000}", RunEnd::Passed, "", all},
             {"{kind: repeat_end_of_test}", RunEnd::Passed, "", all},
             {"{kind: miss_end_of_test}", RunEnd::Failure, "has not ended 60 s after its time", all},
             // The port goes offline after its third report; the other one is stopped.
             {"{kind: go_offline, occurrence: 3}", RunEnd::Failure,
              "The connection to port \"Viewers\" has ended", 10},
             {"{kind: spoil_notification, occurrence: 2}", RunEnd::Failure, "", all / 2},
         }) {
        SCOPED_TRACE(c.fault);
        const RunOutcome outcome = Run(TwoPorts({c.fault}).ToString());
        EXPECT_EQ(outcome.end, c.end) << Join(outcome.errors);
        EXPECT_THAT(Join(outcome.errors), HasSubstr(c.error));
        ASSERT_EQ(outcome.tests.size(), 1U);
        EXPECT_GE(outcome.tests[0].GetChannelChanges(), c.least_views);
        EXPECT_EQ(Query(outcome.database, "SELECT count(*) FROM DataSets WHERE EndTime IS NULL"), "0");
        ExpectACleanRun();
    }
}

/// A schedule of up to three faults, of any kind and at any time.
std::vector<std::string> MakeSchedule(unsigned seed) {
    static const std::vector<std::string> kinds{
        "refuse",           "lose_response",     "go_offline", "late_end_of_test", "repeat_end_of_test",
        "miss_end_of_test", "spoil_notification"};
    std::minstd_rand random(seed * 7919 + 1);
    const auto pick = [&random](std::size_t count) { return random() / 7 % count; };
    std::vector<std::string> faults;
    for (std::size_t i = pick(3) + 1; i > 0; --i) {
        const std::string& kind = kinds[pick(kinds.size())];
        std::string fault = "{kind: " + kind;
        if (kind == "refuse" || kind == "lose_response" || kind == "go_offline") {
            if (kind != "go_offline" || pick(2) == 0)
                fault += ", request: " + kRequests[pick(kRequests.size())];
            fault += fmt::format(", occurrence: {}", pick(3) + 1);
        } else if (kind == "late_end_of_test") {
            fault += fmt::format(", delay_ms: {}", pick(90000) + 1);
        }
        faults.push_back(fault + "}");
    }
    return faults;
}

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned kSchedules = 10;  // of each group; everything takes five times as long
#else
constexpr unsigned kSchedules = 40;
#endif

class FaultScheduleTest : public FaultsTest, public testing::WithParamInterface<unsigned> {};

/// A run always ends, says what went wrong, and leaves nothing behind.
TEST_P(FaultScheduleTest, EndsInOrder) {
    const char* given = std::getenv("FAULT_SEED");
    const unsigned first = given ? static_cast<unsigned>(std::atoi(given)) : GetParam() * kSchedules;
    const unsigned last = given ? first : first + kSchedules - 1;
    for (unsigned seed = first; seed <= last && !HasFailure(); ++seed) {
        const std::vector<std::string> faults = MakeSchedule(seed);
        SCOPED_TRACE(fmt::format("to repeat: FAULT_SEED={} app_run_tests --gtest_filter='*EndsInOrder/0'\n{}",
                                 seed, Join(faults)));
        const RunOutcome outcome = Run(TwoPorts(faults).ToString());
        EXPECT_THAT(outcome.mistakes, IsEmpty());
        EXPECT_EQ(outcome.end == RunEnd::Failure, !outcome.errors.empty());
        if (outcome.end == RunEnd::Passed) {
            EXPECT_EQ(outcome.tests.size(), 1U);
        }
        ExpectACleanRun();
    }
}
INSTANTIATE_TEST_SUITE_P(Seeds, FaultScheduleTest, testing::Range(0U, 8U));

}  // namespace
