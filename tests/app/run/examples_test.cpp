// The examples do what they say, every time.
#include <gtest/gtest.h>

#include <regex>
#include <set>

#include "program.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

bool IsLive(const std::filesystem::path& example) {
    return ReadFile(example).find("linux://") != std::string::npos;
}

std::vector<std::filesystem::path> FindExamplesThatAre(bool live) {
    std::vector<std::filesystem::path> examples = FindExamples();
    std::erase_if(examples, [live](const auto& example) { return IsLive(example) != live; });
    return examples;
}

class ExampleTest : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(ExampleTest, EndsAsItSaysAndEveryTimeTheSame) {
    const TemporaryFolder folder;
    std::smatch verdict;
    const std::string text = ReadFile(GetParam());
    ASSERT_TRUE(std::regex_search(text, verdict, std::regex("# Verdict: (passed|failed)\n")));
    const std::string run = "run --quiet " + GetParam().string() + " --db ";
    const auto first = folder / "first.db", second = folder / "second.db", replayed = folder / "replayed.db";
    const auto recording = folder / "recording.jsonl";

    const ProgramRun once = RunIptvtest(run + first.string() + " --record " + recording.string());
    EXPECT_EQ(once.status, verdict[1] == "passed" ? 0 : 1);
    EXPECT_EQ(once.err, "");
    RunIptvtest(run + second.string());
    const std::string dump = DumpDatabase(first);
    EXPECT_GT(dump.size(), 10'000U);
    EXPECT_EQ(FirstDifference(dump, DumpDatabase(second)), "") << "the same seed";
    RunIptvtest(run + replayed.string() + " --replay " + recording.string());
    EXPECT_EQ(FirstDifference(dump, DumpDatabase(replayed)), "") << "the recording, replayed";
}

INSTANTIATE_TEST_SUITE_P(Examples, ExampleTest, testing::ValuesIn(FindExamplesThatAre(false)),
                         [](const auto& info) {
                             return std::regex_replace(info.param.stem().string(), std::regex("[^a-z0-9]"),
                                                       "_");
                         });

TEST(ExamplesTest, LiveOnesAreGoodFiles) {
    ASSERT_FALSE(FindExamplesThatAre(true).empty());
    for (const auto& example : FindExamplesThatAre(true))
        EXPECT_EQ(RunIptvtest("validate " + example.string()).status, 0) << example;
}

TEST(ExamplesTest, ThereIsOneForEachTestTypeEnvironmentAndIpVersion) {
    std::set<std::string> found;
    for (const auto& file : FindExamplesThatAre(false)) {
        const std::string text = ReadFile(file);
        const auto value = [&text](const char* key) {
            std::smatch match;
            std::regex_search(text, match, std::regex(std::string(key) + ": (\\w+)"));
            return match[1].str();
        };
        found.insert(value("TestType") + " " + value("TestEnv") +
                     (text.find("Ipv6If") != text.npos ? " 6" : " 4"));
    }
    for (const char* type :
         {"ZAPPING TESTING", "ZAPPING REAL_WORLD", "VERIFICATION TESTING", "VERIFICATION REAL_WORLD",
          "FAST_CHANNEL_CHANGE TESTING", "FAST_CHANNEL_CHANGE REAL_WORLD",
          "RELIABLE_RETRANSMISSION REAL_WORLD", "FCC_WITH_RRR TESTING"}) {
        EXPECT_TRUE(found.contains(std::string(type) + " 4")) << type;
        EXPECT_TRUE(found.contains(std::string(type) + " 6")) << type;
    }
}

}  // namespace
