#include <fmt/format.h>

#include <string_view>
#include <vector>

#include "outcome_json.h"
#include "output/printable.h"

namespace orv::app {

namespace {

/// True for characters that XML 1.0 (section 2.2) does not allow, and for other control characters.
bool IsForbidden(const CodePoint& c) {
    return !c.is_valid || c.value < 0x20 || (c.value >= 0x7f && c.value < 0xa0) || c.value == 0xfffe ||
           c.value == 0xffff;
}

/// Text for an attribute or an element (XML 1.0 section 2.4).
std::string Escape(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const CodePoint c = ReadCodePoint(text);
        if (c.value == '&') {
            escaped += "&amp;";
        } else if (c.value == '<') {
            escaped += "&lt;";
        } else if (c.value == '>') {
            escaped += "&gt;";
        } else if (c.value == '"') {
            escaped += "&quot;";
        } else if (c.value == '\n' || c.value == '\t' || c.value == '\r') {
            escaped += ' ';
        } else if (IsForbidden(c)) {
            escaped += "\ufffd";
        } else {
            escaped += text.substr(0, c.size);
        }
        text.remove_prefix(c.size);
    }
    return escaped;
}

class Suite {
  public:
    /// `text`: why the case is of the kind; empty for one that passed.
    void AddCase(const std::string& group, const std::string& name, double seconds, const char* kind,
                 const std::string& text, const std::vector<Distribution>& distributions = {}) {
        ++cases_;
        body_ += fmt::format("    <testcase classname=\"{}\" name=\"{}\" time=\"{}\"", Escape(group),
                             Escape(name), seconds);
        std::string content = MakeProperties(distributions);
        if (!text.empty()) {
            ++(kind == kFailure ? failures_ : kind == kError ? errors_ : skipped_);
            content += fmt::format("      <{0} message=\"{1}\">{1}</{0}>\n", kind, Escape(text));
        }
        body_ += content.empty() ? "/>\n" : ">\n" + content + "    </testcase>\n";
    }

    std::string ToString(const std::string& name) const {
        const std::string counts = fmt::format("tests=\"{}\" failures=\"{}\" errors=\"{}\" skipped=\"{}\"",
                                               cases_, failures_, errors_, skipped_);
        return fmt::format(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {}>\n  <testsuite name=\"{}\" {}>\n{}"
            "  </testsuite>\n</testsuites>\n",
            counts, Escape(name), counts, body_);
    }

    static constexpr const char* kFailure = "failure";
    static constexpr const char* kError = "error";
    static constexpr const char* kSkipped = "skipped";

  private:
    /// Statistics of latencies as properties: "join latency p99 ms".
    static std::string MakeProperties(const std::vector<Distribution>& distributions) {
        if (distributions.empty()) return {};
        std::string properties = "      <properties>\n";
        for (const Distribution& distribution : distributions) {
            for (const Statistic& statistic : kStatistics) {
                properties +=
                    fmt::format("        <property name=\"{} {} ms\" value=\"{}\"/>\n",
                                Escape(distribution.figure), statistic.name, distribution.*statistic.value);
            }
        }
        return properties + "      </properties>\n";
    }

    std::string body_;
    int cases_ = 0, failures_ = 0, errors_ = 0, skipped_ = 0;
};

/// A block has failed when more of its own joins failed than may.
std::string JudgeBlock(const TestReport& test, const ResultRow& block) {
    const double views = block.GetNumber("NumOfChannelChanges") - block.GetNumber("DuplicateJoins") -
                         block.GetNumber("DuplicateUnicastJoins");
    const double failed = block.GetNumber("JoinFails") + block.GetNumber("UnicastJoinFails");
    if (views <= 0) return test.passed ? "" : "no channel was viewed";
    if (failed * 100 <= test.join_fail_threshold * views) return {};
    return fmt::format("{} of {} joins failed; {} % may", failed, views, test.join_fail_threshold);
}

void AddTest(Suite& suite, const RunOutcome& outcome, const TestReport& test) {
    const std::string verdict = GetVerdict(outcome, test);
    if (verdict == "not finished") {
        const std::string why = "not finished: " + GetUnfinishedReason(outcome);
        suite.AddCase(test.name, "verdict", test.duration, Suite::kError, why, test.distributions);
        for (const ResultRow& block : test.stb_blocks)
            suite.AddCase(test.name, "STB block " + block.name, test.duration, Suite::kSkipped, why);
        return;
    }
    suite.AddCase(test.name, "verdict", test.duration, Suite::kFailure,
                  test.passed ? ""
                              : fmt::format("{:.2f} % of the joins failed; {} % may", test.GetFailedPercent(),
                                            test.join_fail_threshold),
                  test.distributions);
    for (const ResultRow& block : test.stb_blocks) {
        suite.AddCase(test.name, "STB block " + block.name, test.duration, Suite::kFailure,
                      JudgeBlock(test, block), block.distributions);
    }
}

}  // namespace

std::string MakeJUnitXml(const RunOutcome& outcome) {
    Suite suite;
    std::vector<std::string> problems = outcome.errors;
    for (const Mistake& mistake : outcome.mistakes) problems.push_back(mistake.ToString());
    if (outcome.end == RunEnd::Interrupted) problems.emplace_back("interrupted");
    suite.AddCase("iptvtest", "run", 0, Suite::kError, fmt::format("{}", fmt::join(problems, "; ")));
    for (const TestReport& test : outcome.tests) AddTest(suite, outcome, test);
    if (const auto& test = outcome.unfinished_test)
        suite.AddCase(test->name, "verdict", test->elapsed, Suite::kError,
                      "not finished: " + GetUnfinishedReason(outcome));
    return suite.ToString(outcome.title.empty() ? "iptvtest" : outcome.title);
}

}  // namespace orv::app
