// Expectations: what their texts mean, and what comes of them in a test.
#include "expectations/expectation.h"

#include <gtest/gtest.h>

#include "run/report_of_test.h"

namespace {

using namespace orv::app;  // NOLINT: a test

TestReport MakeReport() {
    TestReport report;
    report.stb_blocks.resize(2);
    report.stb_blocks[0].name = "Boxes: A";
    report.stb_blocks[0].figures = {{"NumOfChannelChanges", 1002.0}, {"DuplicateJoins", 1.0},
                                    {"DuplicateUnicastJoins", 1.0},  {"JoinFails", 0.0},
                                    {"UnicastJoinFails", 1.0},       {"TotalPkts", 396.0},
                                    {"DroppedFrameCount", 3UL},      {"DroppedUnicastFrameCount", 1UL}};
    report.stb_blocks[0].distributions = {{"leave latency", 0, 0, 0, 0, 0, 0, 0, 0, 0},
                                          {"join latency", 9, 30, 37.25, 120, 36, 40, 41, 47.1, 100}};
    report.stb_blocks[1].name = "B";
    report.stb_blocks[1].figures = {
        {"NumOfChannelChanges", 0.0}, {"JoinFails", 0.0}, {"DroppedFrameCount", 0UL}};
    report.ports.resize(1);
    report.ports[0].name = "Viewers";
    report.ports[0].figures = {{"DroppedFrameCount", 4UL}, {"TotalPkts", 396.0}};
    report.distributions = {{"change latency", 1, 1, 2, 3, 4, 5, 6, 7, 0.0004}};
    return report;
}

TEST(ExpectationTest, ComparesWhatWasMeasured) {
    const TestReport report = MakeReport();
    const struct {
        const char* text;
        const char* measured;
        bool met;
    } cases[] = {{"STB block Boxes: A: join latency p99 <= 50 ms", "47.1 ms", true},
                 {" stb  Block Boxes: A:\tJoin LATENCY P99.9<100.0MS ", "100 ms", false},
                 {"STB block Boxes: A: join latency mean > 37249 us", "37250 us", true},
                 {"STB block Boxes: A: join latency p50 != 36000 \u03bcs", "36000 \u00b5s", false},
                 {"STB block Boxes: A: join latency max = 0.12 s", "0.12 s", true},
                 {"STB block Boxes: A: join latency min == 0.0005 min", "0.0005 min", true},
                 {"STB block Boxes: A: leave latency p90 >= 0 ms", "not measured", false},
                 {"STB block Boxes: A: gap latency p95 >= 0 ms", "not measured", false},
                 {"test: change latency p99.9 < 1 us", "0.4 us", true},
                 {"test: join latency mean >= 0 ms", "not measured", false},
                 {"STB block Boxes: A: failed joins <= 0.1 %", "0.1 %", true},
                 {"STB block Boxes: A: flagged joins = 0", "not measured", false},
                 {"STB block B: failed joins <= 0", "0", true},
                 {"STB block B: failed joins <= 0%", "not measured", false},
                 {"STB block B: lost <= 100 %", "not measured", false},
                 {"test: failed joins < 0.1 %", "0.1 %", false},
                 {"test: views = 1002", "1002", true},
                 {"test: duplicate joins > 2", "2", false},
                 {"test: lost <= 1 %", "1 %", true},
                 {"test: lost >= 5", "4", false},
                 {"port Viewers: lost != 4", "4", false},
                 {"port Viewers: lost <= 1 %", "1 %", true},
                 {"port Gone: lost <= 1", "not measured", false},
                 {"profile B: views >= 0", "not measured", false}};
    for (const auto& [text, measured, met] : cases) {
        SCOPED_TRACE(text);
        std::vector<ExpectationMistake> mistakes;
        const Expectation expectation = ParseExpectation(text, mistakes);
        ASSERT_TRUE(mistakes.empty()) << mistakes.front().problem;
        const ExpectationResult result = Evaluate(expectation, report);
        EXPECT_EQ(result.DescribeMeasured(), measured);
        EXPECT_EQ(result.met, met);
    }
}

}  // namespace
