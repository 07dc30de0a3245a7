#include "run_description.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <string>

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

}  // namespace orv::app
