#include "run_description.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string>

#include "expectations_json.h"
#include "program_version.h"

namespace orv::app {

void DescribeRun(core::TestResultManager& database, const TestFile& file, const RunOutcome& outcome) {
    database.Describe(run_description::kTitle, outcome.title);
    database.Describe(run_description::kTestFile, file.GetFile());
    database.Describe(run_description::kTestFileText, file.GetText());
    if (!file.GetSettings().empty())
        database.Describe(run_description::kSettings, fmt::format("{}", fmt::join(file.GetSettings(), "\n")));
    database.Describe(run_description::kSeed, std::to_string(outcome.seed));
    database.Describe(run_description::kVersion, kProgramVersion);
}

void DescribeExpectations(core::TestResultManager& database, const RunOutcome& outcome) {
    auto tests = nlohmann::ordered_json::array();
    for (const TestReport& test : outcome.tests) {
        if (!test.expectations.empty())
            tests.push_back(
                {{"data_set", test.data_set}, {"expectations", MakeExpectationsJson(outcome, test)}});
    }
    if (tests.empty()) return;
    // Names need not be UTF-8.
    const auto replace = nlohmann::json::error_handler_t::replace;
    database.Describe(run_description::kExpectations, tests.dump(-1, ' ', false, replace));
}

}  // namespace orv::app
