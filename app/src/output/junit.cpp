#include <fmt/format.h>

#include <string_view>
#include <vector>

#include "outcome_json.h"
#include "output/printable.h"
#include "sweep_summary.h"

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
    const JoinCounts joins = block.GetJoins();
    const auto failed = joins.GetFailedPercent();
    if (!failed) return test.passed ? "" : "no channel was viewed";
    if (*failed <= test.join_fail_threshold) return {};
    return fmt::format("{} of {} joins failed; {} % may", joins.failed, joins.net_changes,
                       test.join_fail_threshold);
}

/// `name`: of the test; `failure`: see AddTest.
void AddExpectations(Suite& suite, const RunOutcome& outcome, const TestReport& test, const std::string& name,
                     const char* failure) {
    for (const ExpectationResult& one : test.expectations) {
        const std::string verdict = GetVerdict(outcome, test, one);
        const std::string measured = one.measured ? "measured: " + one.DescribeMeasured() : "not measured";
        if (verdict == "not finished") {
            suite.AddCase(name, "expect: " + one.text, test.duration, Suite::kSkipped,
                          "not finished: " + GetUnfinishedReason(outcome) + "; " + measured);
        } else {
            suite.AddCase(name, "expect: " + one.text, test.duration, failure,
                          verdict == "passed" ? "" : measured);
        }
    }
}

/// `values` stands behind the names; `failure` is the kind of a failed case.
void AddTest(Suite& suite, const RunOutcome& outcome, const TestReport& test, const std::string& values = {},
             const char* failure = Suite::kFailure) {
    const std::string name = test.name + values;
    const std::string verdict = GetVerdict(outcome, test);
    if (verdict == "not finished") {
        const std::string why = "not finished: " + GetUnfinishedReason(outcome);
        suite.AddCase(name, "verdict", test.duration, Suite::kError, why, test.distributions);
        for (const ResultRow& block : test.stb_blocks)
            suite.AddCase(name, "STB block " + block.name, test.duration, Suite::kSkipped, why);
        return AddExpectations(suite, outcome, test, name, failure);
    }
    suite.AddCase(name, "verdict", test.duration, failure,
                  test.passed ? ""
                              : fmt::format("{:.2f} % of the joins failed; {} % may", test.GetFailedPercent(),
                                            test.join_fail_threshold),
                  test.distributions);
    for (const ResultRow& block : test.stb_blocks) {
        suite.AddCase(name, "STB block " + block.name, test.duration, failure, JudgeBlock(test, block),
                      block.distributions);
    }
    AddExpectations(suite, outcome, test, name, failure);
}

/// In a search some values are to fail: their cases count as skipped, and only the search itself may fail.
void AddSweep(Suite& suite, const SweepOutcome& sweep) {
    for (const SweepIteration& iteration : sweep.iterations) {
        std::string values = " [" + DescribeValues(sweep.properties, iteration.values);
        if (sweep.search && sweep.search->repetitions > 1)
            values += fmt::format(", run {}", iteration.repetition);
        values += "]";
        for (const TestReport& test : iteration.run.tests)
            AddTest(suite, iteration.run, test, values, sweep.search ? Suite::kSkipped : Suite::kFailure);
        if (const auto& test = iteration.run.unfinished_test)
            suite.AddCase(test->name + values, "verdict", test->elapsed, Suite::kError,
                          "not finished: " + GetUnfinishedReason(iteration.run));
    }
    if (sweep.search && sweep.search->is_decided)
        suite.AddCase("sweep", "highest " + sweep.properties.front(), 0, Suite::kFailure,
                      sweep.search->highest.empty() ? DescribeSearch(sweep) : "");
}

}  // namespace

std::string MakeJUnitXml(const RunOutcome& outcome) {
    Suite suite;
    std::vector<std::string> problems = outcome.errors;
    for (const Mistake& mistake : outcome.mistakes) problems.push_back(mistake.ToString());
    if (outcome.end == RunEnd::Interrupted) problems.emplace_back("interrupted");
    suite.AddCase("iptvtest", "run", 0, Suite::kError, fmt::format("{}", fmt::join(problems, "; ")));
    for (const TestReport& test : outcome.tests) AddTest(suite, outcome, test);
    if (outcome.sweep) AddSweep(suite, *outcome.sweep);
    if (const auto& test = outcome.unfinished_test)
        suite.AddCase(test->name, "verdict", test->elapsed, Suite::kError,
                      "not finished: " + GetUnfinishedReason(outcome));
    return suite.ToString(outcome.title.empty() ? "iptvtest" : outcome.title);
}

}  // namespace orv::app
