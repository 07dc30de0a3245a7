// A good file, damaged anywhere, is read or rejected with a position in it, and never crashes the program;
// neither does a large one.
#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "good_file.h"

namespace test_file_test {
namespace {

void CheckReadable(const std::string& text) {
    const auto file = orv::app::TestFile::Parse(text, "zap.yaml");
    const int lines = 1 + static_cast<int>(std::count(text.begin(), text.end(), '\n'));
    const auto longest = static_cast<int>(text.size()) + 1;
    for (const auto& mistake : file.GetMistakes()) {
        const bool inside = mistake.at.line >= 1 && mistake.at.line <= lines && mistake.at.column >= 1 &&
                            mistake.at.column <= longest;
        ASSERT_TRUE(inside) << mistake.ToString() << "\nin\n" << text;
        ASSERT_FALSE(mistake.problem.empty()) << text;
    }
}

TEST_F(TestFileTest, TruncatedFiles) {
    for (std::size_t size = 0; size < kGoodFile.size(); ++size) {
        ASSERT_NO_FATAL_FAILURE(CheckReadable(kGoodFile.substr(0, size)));
    }
}

TEST_F(TestFileTest, FilesWithOneOtherCharacter) {
    const std::string others = std::string(":-[]{}\"'\n\t #&*!|>%@,?x0") + '\0' + "\xff";
    for (std::size_t i = 0; i < kGoodFile.size(); i += 2) {
        std::string text = kGoodFile;
        text[i] = others[i % others.size()];
        ASSERT_NO_FATAL_FAILURE(CheckReadable(text));
        text = kGoodFile;
        text.insert(i, 1, others[(i * 7 + 3) % others.size()]);
        ASSERT_NO_FATAL_FAILURE(CheckReadable(text));
    }
}

TEST_F(TestFileTest, DeepNesting) {
    for (const char* piece : {"[", "{a: ", "- ", "? "}) {
        std::string text = "project:\n  ";
        for (int i = 0; i < 20000; ++i) text += piece;
        ASSERT_NO_FATAL_FAILURE(CheckReadable(text));
        EXPECT_NE(ListMistakes(text).find("values lie too deep within each other"), std::string::npos)
            << piece;
    }
}

/// Eight times as many objects take about eight times as long, right or wrong.
TEST_F(TestFileTest, ManyObjectsTakeTimeInProportion) {
    const char* const kinds[] = {
        "  - EmulatedDevice: Homes {0}\n    TopLevelIf: Homes {0}/Ipv4If\n    children:\n      - EthIIIf: "
        "Ethernet\n      - Ipv4If: IP\n        StackedOn: Homes {0}/Ethernet\n",
        "  - EmulatedDevice: Homes {0}\n    AffiliationPort: Viewer\n",
        "  - EmulatedDevice: Homes {0}\n    TopLevelIf: Home {0}/Ipv4If\n",
        "  - Port: Viewers {0}\n  - EmulatedDevice: Homes {0}\n    AffiliationPort: Project/Viewers {0}\n",
        "  - Emulateddevise: Homes {0}\n  - EmulatedDevice: Home {0}\n    Devicecuont: 5\n",
    };
    const auto time = [](const char* kind, int count) {
        std::string text = "project:\n";
        for (int i = 0; i < count; ++i) text += fmt::format(fmt::runtime(kind), i);
        const std::clock_t start = std::clock();  // CPU time, independent of other load
        Parse(text);
        return static_cast<double>(std::clock() - start);
    };
    for (const char* kind : kinds) EXPECT_LT(time(kind, 1600), 20 * time(kind, 200)) << kind;
}

}  // namespace
}  // namespace test_file_test
