#include <fmt/format.h>

#include "outcome_json.h"

namespace orv::app {

namespace {

/// Text for an attribute or an element (XML 1.0 sections 2.2 and 2.4).
std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
        }
    }
    return escaped;
}

class Suite {
  public:
    void AddCase(const std::string& group, const std::string& name, double seconds, const char* kind,
                 const std::string& text) {
        ++cases_;
        body_ += fmt::format("    <testcase classname=\"{}\" name=\"{}\" time=\"{}\"", Escape(group),
                             Escape(name), seconds);
        if (text.empty()) {
            body_ += "/>\n";
            return;
        }
        ++(kind == kFailure ? failures_ : errors_);
        body_ +=
            fmt::format(">\n      <{0} message=\"{1}\">{1}</{0}>\n    </testcase>\n", kind, Escape(text));
    }

    std::string ToString(const std::string& name) const {
        const std::string counts =
            fmt::format("tests=\"{}\" failures=\"{}\" errors=\"{}\"", cases_, failures_, errors_);
        return fmt::format(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {}>\n  <testsuite name=\"{}\" {}>\n{}"
            "  </testsuite>\n</testsuites>\n",
            counts, Escape(name), counts, body_);
    }

    static constexpr const char* kFailure = "failure";
    static constexpr const char* kError = "error";

  private:
    std::string body_;
    int cases_ = 0, failures_ = 0, errors_ = 0;
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

}  // namespace

std::string MakeJUnitXml(const RunOutcome& outcome) {
    Suite suite;
    std::string problems;
    for (const Mistake& mistake : outcome.mistakes) problems += mistake.ToString() + "; ";
    for (const std::string& error : outcome.errors) problems += error + "; ";
    if (outcome.end == RunEnd::Interrupted) problems += "interrupted; ";
    suite.AddCase("iptvtest", "run", 0, Suite::kError, problems);
    for (const TestReport& test : outcome.tests) {
        suite.AddCase(test.name, "verdict", test.duration, Suite::kFailure,
                      test.passed ? ""
                                  : fmt::format("{:.2f} % of the joins failed; {} % may",
                                                test.GetFailedPercent(), test.join_fail_threshold));
        for (const ResultRow& block : test.stb_blocks)
            suite.AddCase(test.name, "STB block " + block.name, test.duration, Suite::kFailure,
                          JudgeBlock(test, block));
    }
    return suite.ToString(outcome.title.empty() ? "iptvtest" : outcome.title);
}

}  // namespace orv::app
