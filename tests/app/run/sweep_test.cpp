// Sweeps: which iterations there are, what they leave behind, and that all reports say the same of them.
#include <bit>
#include <map>
#include <nlohmann/json.hpp>
#include <random>

#include "program.h"
#include "session_fixture.h"
#include "sweep/run_sweep.h"
#include "sweep/schedule.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using orv::app::Sweep, orv::app::SweepSchedule, testing::HasSubstr, nlohmann::json;

TEST(SweepScheduleTest, ASearchFindsWhatTryingAllValuesFinds) {
    std::mt19937 random(1);
    for (int i = 0; i < 3000; ++i) {
        const std::size_t count = 1 + random() % 300, passing = random() % (count + 1);
        const unsigned repetitions = 1 + random() % 4;
        Sweep sweep;
        sweep.properties.emplace_back().values.resize(count);
        sweep.search.emplace().repetitions = repetitions;
        // A value that is too high fails in one of its repetitions.
        std::vector<unsigned> failing(count);
        for (unsigned& one : failing) one = 1 + random() % repetitions;
        SweepSchedule schedule(sweep);
        std::map<std::size_t, unsigned> runs;
        while (const auto step = schedule.GetNext()) {
            ASSERT_EQ(step->repetition, ++runs[step->values.at(0)]);
            schedule.Add(step->values[0] < passing || step->repetition != failing[step->values[0]]);
        }
        SCOPED_TRACE(fmt::format("{} of {} pass", passing, count));
        EXPECT_EQ(schedule.HasPassed(), passing > 0);
        EXPECT_EQ(schedule.GetHighest().value_or(count), passing > 0 ? passing - 1 : count);
        EXPECT_LE(schedule.GetTried().size(), 2 + std::bit_width(count));
        for (const auto& [value, number] : runs)
            EXPECT_EQ(number, value < passing ? repetitions : failing[value]) << value;
    }
}

struct SweepTest : SessionTest {
    /// Homes that join eight channels, each in the same second.
    static std::string Test(const std::string& sweep, const std::vector<std::string>& faults = {}) {
        return TestText{.seconds = 4, .network = {"join_capacity: 23", "loss: 1 %"}, .faults = faults}
                   .ToString() +
               "sweep:\n  " + sweep + "\n";
    }
};

TEST_F(SweepTest, ADataSetForEachIterationSaysWhichItIs) {
    orv::app::OutputFiles outputs;
    orv::app::KnownOutcome known;
    orv::app::RunOptions options;
    options.database = folder / "results.db";
    const auto run = [&](const std::string& text) {
        return RunSweep(session, orv::app::TestFile::Parse(text, "test.yaml"), options, observer, outputs,
                        known);
    };
    const RunOutcome outcome =
        run(Test("Homes/DeviceCount: {from: 2, to: 4.5, step: 2}\n  Profile/Interval: [1000, 2e3, 500]"));
    EXPECT_THAT(Mistakes(outcome),
                HasSubstr("test.yaml:43:28: IptvViewingProfileConfig \"Profile\", Interval: \"2e3\""));
    const RunOutcome good =
        run(Test("Homes/DeviceCount: {from: 2, to: 5.5, step: 2}\n  Start/TestDuration: [3, 5]"));
    EXPECT_EQ(good.end, RunEnd::Passed) << Mistakes(good);
    const auto query = [&](const char* what, const char* of) {
        return Query(options.database, fmt::format("SELECT group_concat({}, '|') FROM {}", what, of));
    };
    const char* const descriptions = "DataSetDescriptions WHERE Name = 'Sweep'";
    EXPECT_EQ(query("Iteration", "DataSets"), "1|2|3|4");
    EXPECT_EQ(query("json_extract(Text, '$.iteration') || ' of ' || json_extract(Text, '$.iterations')",
                    descriptions),
              "1 of 4|2 of 4|3 of 4|4 of 4");
    EXPECT_EQ(
        query("json_extract(Text, '$.values')", descriptions),
        R"({"Homes/DeviceCount":"2","Start/TestDuration":"3"}|{"Homes/DeviceCount":"2","Start/TestDuration":"5"}|)"
        R"({"Homes/DeviceCount":"4","Start/TestDuration":"3"}|{"Homes/DeviceCount":"4","Start/TestDuration":"5"})");
    // Two or four homes that change once a second.
    std::vector<double> views;
    for (const auto& iteration : good.sweep->iterations)
        views.push_back(iteration.run.tests.at(0).GetChannelChanges());
    EXPECT_EQ(views, (std::vector<double>{6, 10, 12, 20}));
    // The same seed meets the same losses; only repetitions have other seeds.
    const auto get_losses = [](const RunOutcome& of) {
        std::vector<double> losses;
        for (const auto& iteration : of.sweep->iterations)
            losses.push_back(iteration.run.tests.at(0).stb_blocks.at(0).GetNumber("DroppedFrameCount"));
        return losses;
    };
    const auto same = get_losses(run(Test("Homes/DeviceCount: [4, 4]")));
    EXPECT_EQ(same[0], same[1]);
    const auto repeated =
        get_losses(run(Test("Homes/DeviceCount: {search: {from: 4, to: 4, repetitions: 2}}")));
    EXPECT_EQ(repeated[0], same[0]);
    EXPECT_NE(repeated[0], repeated[1]);
}

TEST_F(SweepTest, AllReportsAndTheExitStatusSayTheSame) {
    struct Case {
        std::string sweep;
        int status;
        const char* says;     ///< in the summary
        const char* highest;  ///< in JSON; "-": missing
        std::size_t iterations;
        const char* fault = "";
    };
    const Case cases[] = {
        {"Homes/DeviceCount: [5, 23]", 0, "2 of 2 iterations passed.\nVerdict: PASSED", "-", 2},
        {"Homes/DeviceCount: [5, 24, 6]", 1, "2 of 3 iterations passed.\nVerdict: FAILED", "-", 3},
        {"Homes/DeviceCount: {search: {from: 3, to: 100}}", 0,
         "Highest Homes/DeviceCount that passes: 23 (of 3 to 100, 9 values tried)\nVerdict: PASSED", "\"23\"",
         9},
        {"Homes/DeviceCount: {search: {from: 3, to: 21, step: 4, repetitions: 2}}", 0,
         "passes: 19, the end of the range (of 3 to 19, 2 values tried, 2 runs each)\n", "\"19\"", 4},
        {"Homes/DeviceCount: {search: {from: 30, to: 50}}", 1,
         "No Homes/DeviceCount passes (of 30 to 50, 1 value tried)\nVerdict: FAILED", "null", 1},
        {"Homes/DeviceCount: [5, 6]", 3,
         "0 of 2 iterations passed.\nVerdict: NOT FINISHED, run-time failure in iteration 1", "-", 1,
         "{kind: refuse, request: UpdateProfile}"},
        {"Range/ChannelRangeEnd: [4, 5, 8, 6]", 2,
         "(with Range/ChannelRangeEnd=5 and 1 other iteration); expected a multiple of 4", "-", 0},
        {"Range/ChannelRangeEnd: [5, 5]", 2, "are of 5 channels; expected a multiple of 4", "-", 0},
        {"Range/ChannelRangeEnd: {search: {from: 4, to: 12, step: 2}}", 2,
         "test.yaml:42:35: IptvViewedChannels \"Range\", ChannelRangeEnd: ", "-", 0},
        // Found only when the search comes there.
        {"Range/ChannelRangeEnd: {search: {from: 4, to: 8, step: 2}}", 0, "the end of the range", "\"8\"",
         2}};
    for (const Case& one : cases) {
        SCOPED_TRACE(one.sweep);
        std::filesystem::remove(folder / "r.db");
        WriteFile(folder / "test.yaml", Test(one.sweep, *one.fault ? std::vector<std::string>{one.fault}
                                                                   : std::vector<std::string>{}));
        const ProgramRun person = RunIptvtest("run test.yaml --db other", folder.GetPath());
        const ProgramRun program = RunIptvtest("run test.yaml --db r --junit j.xml --json", folder.GetPath());
        EXPECT_EQ(person.status, one.status);
        EXPECT_EQ(program.status, one.status);
        EXPECT_THAT(person.out + person.err, HasSubstr(one.says));
        json outcome = json::parse(program.out), sweep = outcome["sweep"];
        EXPECT_EQ(outcome["exit_status"], one.status);
        EXPECT_EQ(outcome["tests"].size(), 0U);
        EXPECT_EQ(sweep["iterations"].size(), one.iterations);
        EXPECT_EQ(sweep.contains("highest") ? sweep["highest"].dump() : "-", one.highest);
        EXPECT_EQ(ReadFile(folder / "j.xml").find(R"(failures="0" errors="0")") != std::string::npos,
                  one.status == 0);
        EXPECT_EQ(RunIptvtest("validate test.yaml", folder.GetPath()).status, one.status == 2 ? 2 : 0);
        if (one.status > 1) continue;
        // Each iteration has its own outcome, whatever that of the sweep.
        std::string ends;
        for (const json& iteration : sweep["iterations"]) ends += iteration["end"].get<std::string>() + "|";
        EXPECT_EQ(
            Query(folder / "r.db",
                  "SELECT group_concat(Text, '|') || '|' FROM DataSetDescriptions WHERE Name = 'Outcome'"),
            ends);
        const json stored = json::parse(
            Query(folder / "r.db", "SELECT Text FROM DataSetDescriptions WHERE Name = 'SweepResult'"));
        EXPECT_EQ(stored["end"], outcome["end"]);
        EXPECT_EQ(stored.contains("highest") ? stored["highest"].dump() : "-", one.highest);
        EXPECT_EQ(Query(folder / "r.db",
                        "SELECT count(*) FROM DataSetDescriptions WHERE Name = 'OutcomeDetails' AND "
                        "json_extract(Text, '$.tests[0].data_set') = DataSetId"),
                  std::to_string(one.iterations));
        EXPECT_THAT(ReadFile(folder / "j.xml"), HasSubstr(one.status == 0 ? "" : "<failure"));
    }
    EXPECT_THAT(RunIptvtest("results other --json", folder.GetPath()).out,
                HasSubstr(R"("Range/ChannelRangeEnd": "8")"));
    WriteFile(folder / "named.yaml", Test("Start/DatabaseFileName: [good, /dev/null]"));
    const ProgramRun named = RunIptvtest("run named.yaml", folder.GetPath());
    EXPECT_EQ(named.status, 2);
    EXPECT_THAT(named.out, HasSubstr("NOT FINISHED, bad input in iteration 2"));
    EXPECT_THAT(RunIptvtest("run test.yaml --record x", folder.GetPath()).err,
                HasSubstr("--record: a recording is of one run"));
}

TEST_F(SweepTest, ASecondSignalKeepsWhatWasFinished) {
    WriteFile(folder / "test.yaml",
              Test("Start/TestDuration: [1, 3600]", {"{kind: late_end_of_test, delay_ms: 3000}"}));
    const auto wait_for = [](const char* text) {
        return fmt::format("for i in {{1..300}}; do grep -q '{}' err && break; sleep 0.1; done; ", text);
    };
    const ProgramRun run =
        RunIptvtest("run test.yaml --clock real --db r --json --junit j.xml >out 2>err & " +
                        wait_for("runs for 60:00\\|1:00:00") + "kill -INT $!; " + wait_for("ends in order") +
                        "sleep 0.4; kill -INT $!; wait $!",
                    folder.GetPath());
    EXPECT_EQ(run.status, 130);
    EXPECT_THAT(ReadFile(folder / "err"), HasSubstr("Ended at once"));
    json outcome = json::parse(ReadFile(folder / "out")), iterations = outcome["sweep"]["iterations"];
    ASSERT_EQ(iterations.size(), 2U);
    EXPECT_EQ(iterations[0]["tests"][0]["verdict"], "passed");
    EXPECT_EQ(iterations[1]["end"], "interrupted");
    EXPECT_TRUE(iterations[1].contains("unfinished_test"));
    EXPECT_FALSE(outcome.contains("unfinished_test"));
    EXPECT_THAT(ReadFile(folder / "j.xml"), HasSubstr("[Start/TestDuration=3600]\" name=\"verdict\""));
}

}  // namespace
