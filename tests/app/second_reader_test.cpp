// What another YAML reader rejects, the one of test files must reject; what both accept must be equal.
#include <cstdlib>
#include <fstream>
#include <random>

#include "good_file.h"
#include "test_file/names.h"
#include "test_file/source_tree.h"

namespace {

using namespace test_file_test;  // NOLINT: a test

using orv::app::SourceNode;

/// Each construct of YAML that a mutation should meet.
const std::string kConstructs = R"(title: 'it''s' # not ''
plain: two
  lines
double: "a \"b\" \\ \x41 \u00e9"
single: 'one'
flow: {a: [1, "b", 'c'], d: , "e": {f: g}, h}
literal: |
  as
   it stands

folded: >-
  one
  line
kept: |+2
    indented

list:
- a
-   - nested
    - {x: y}
- k: v
  l: w
none:
null: ~
"quoted key": -1.5e3
url: http://[::1]:8080/#top
é: ünïcödé
last: end
)";

std::string ToHex(const std::string& text) {
    std::string hex;
    for (const char c : text) hex += fmt::format("{:02x}", static_cast<unsigned char>(c));
    return hex;
}

std::string Describe(const SourceNode& node) {
    std::string text;
    switch (node.kind) {
        case SourceNode::Kind::Text:
            return "\"" + ToHex(node.text) + "\"";
        case SourceNode::Kind::List:
            for (const SourceNode& item : node.items) text += (text.empty() ? "" : ",") + Describe(item);
            return "[" + text + "]";
        case SourceNode::Kind::Map:
            for (const auto& [key, value] : node.entries)
                text += (text.empty() ? "" : ",") + Describe(key) + ":" + Describe(value);
            return "{" + text + "}";
        default:
            return "~";
    }
}

/// What a mutation puts in is a piece of this.
const std::string kSoup = std::string("\"': - []{},  \n  \t# #|>&*!%@`? \\---\n---\n~<<=0\r") + '\0' +
                          "é\xff\x1b\xe9\xc2\x85...\r\n\xe2\x80\xa8";

/// Pieces are removed, replaced, put in, or copied from elsewhere, or the end is cut off.
std::string Mutate(std::string text, std::mt19937& random) {
    const auto draw = [&random](std::size_t below) { return random() % below; };
    for (std::size_t times = 1 + draw(3); times > 0 && !text.empty(); --times) {
        const std::size_t at = draw(text.size()), removed = draw(2) * draw(4);
        const std::string& from = draw(5) == 0 ? text : kSoup;
        text.replace(at, draw(8) == 0 ? text.npos : removed, from.substr(draw(from.size()), draw(5)));
    }
    return text;
}

/// The other one takes no tabs outside of quotes, not even behind a colon, where they separate as blanks do
/// (YAML 1.2, section 6.2), and no "?" within a text, which YAML does; and it takes "{a:[1]}", in which the
/// key has no blank behind its colon.
bool IsKnownDifference(const std::string& text, const std::string& ours, const std::string& theirs,
                       const std::string& why) {
    if (theirs == "-") return text.find('\t') != text.npos || text.find('?') != text.npos;
    return ours == "-" && why.find(orv::app::kMissingBlank) != why.npos;
}

TEST_F(TestFileTest, RefusesAndReadsTheSameAsAnotherReader) {
    constexpr int count = 1500;
    std::vector<std::string> texts{kConstructs, kGoodFile, "%TAG !e! e:\n--- {a: b}\n", "a:\tb\n"};
    std::mt19937 random{20261122};
    for (int i = 0; i < count; ++i) texts.push_back(Mutate(i % 2 == 0 ? kGoodFile : kConstructs, random));
    const std::string path = testing::TempDir() + "second_reader";
    std::ofstream input(path);
    for (const std::string& text : texts) input << ToHex(text) << '\n';
    input.close();
    ASSERT_EQ(std::system(fmt::format("{} <{} >{}.out", SECOND_READER, path, path).c_str()), 0);
    std::ifstream answers(path + ".out");
    std::string theirs;
    int taken = 0, refused = 0;
    for (const std::string& text : texts) {
        ASSERT_TRUE(std::getline(answers, theirs));
        orv::app::MistakeList mistakes("");
        const SourceNode root = orv::app::ReadSourceTree(text, mistakes);
        const auto found = mistakes.TakeSorted();
        const std::string why = found.empty() ? "" : found.front().ToString();
        const std::string ours = found.empty() ? Describe(root) : "-";
        ASSERT_TRUE(ours == theirs || IsKnownDifference(text, ours, theirs, why)) << text << "\n" << why;
        ++(theirs == "-" ? refused : taken);
        // As a test file it has mistakes in places that it has.
        if (!text.starts_with("title: Zap")) continue;
        const auto lines =
            1 + std::count_if(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; });
        const auto file = Parse(text);
        for (const auto& mistake : file.GetMistakes()) {
            ASSERT_TRUE(mistake.at.line >= 1 && mistake.at.line <= lines && mistake.at.column >= 1) << text;
            ASSERT_LE(mistake.at.column, static_cast<int>(text.size()) + 1) << text;
            ASSERT_FALSE(mistake.problem.empty()) << text;
        }
    }
    // Not all of one kind.
    EXPECT_GT(taken, count / 10);
    EXPECT_GT(refused, count / 10);
}

}  // namespace
