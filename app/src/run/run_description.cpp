#include "run_description.h"

#include <string>

#include "program_version.h"

namespace orv::app {

void DescribeRun(core::TestResultManager& database, const TestFile& file, const RunOutcome& outcome) {
    database.Describe(run_description::kTitle, outcome.title);
    database.Describe(run_description::kTestFile, file.GetFile());
    database.Describe(run_description::kTestFileText, file.GetText());
    database.Describe(run_description::kSeed, std::to_string(outcome.seed));
    database.Describe(run_description::kVersion, kProgramVersion);
}

}  // namespace orv::app
