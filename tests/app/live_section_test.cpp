// The section "live".
#include "good_file.h"

namespace test_file_test {
namespace {

const std::string kObjects = "project:\n  - Port: Viewers\nlive:";

TEST_F(TestFileTest, LiveSectionIsRead) {
    const auto read = [](const std::string& text) {
        const auto file = Parse(text);
        EXPECT_EQ(Join(file.GetMistakes()), "");
        return file.GetMembership();
    };
    for (const std::string& text : {std::string("project:\n  - Port: Viewers\n"), kObjects + "\n"}) {
        EXPECT_EQ(read(text).robustness, 2);
        EXPECT_FALSE(read(text).suppress_reports);
    }
    const auto settings = read(kObjects + " {report_suppression: true, robustness: 7}\n");
    EXPECT_EQ(settings.robustness, 7);
    EXPECT_TRUE(settings.suppress_reports);
}

TEST_F(TestFileTest, MistakesOfTheLiveSection) {
    const std::pair<const char*, const char*> cases[] = {
        {" {robustness: 0}\n",
         "zap.yaml:3:20: live, robustness: \"0\" is wrong; expected a whole number from 1 to 7\n"},
        {" {robustness: 8}\n",
         "zap.yaml:3:20: live, robustness: \"8\" is wrong; expected a whole number from 1 to 7\n"},
        {"\n  robustness: [2]\n",
         "zap.yaml:4:15: live, robustness: there is a list; expected a whole number from 1 to 7\n"},
        {" {report_suppression: often}\n",
         "zap.yaml:3:28: live, report_suppression: \"often\" is wrong; expected true or false\n"},
        {" {robustnes: 2}\n",
         "zap.yaml:3:8: live, robustnes: this is not known here; expected report_suppression, robustness; "
         "did you "
         "mean robustness?\n"},
        {" 2\n", "zap.yaml:3:7: live: \"2\" is wrong; expected keys and values\n"},
    };
    for (const auto& [text, mistakes] : cases) EXPECT_EQ(ListMistakes(kObjects + text), mistakes) << text;
}

}  // namespace
}  // namespace test_file_test
