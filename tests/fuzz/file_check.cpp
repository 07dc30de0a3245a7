#include <stdexcept>

#include "fuzz/program_check.h"

namespace testing_aids {

bool check_file_bytes(Bytes bytes) {
    orv::app::Session& session = GetSession();  // before files are read: it knows the words
    const auto file = orv::app::TestFile::Parse(std::string(AsText(bytes)), "test.yaml");
    const RunOutcome outcome = session.Validate(file);
    for (const auto& mistake : outcome.mistakes)
        if (mistake.ToString().find("test.yaml") != 0) throw std::logic_error("a mistake is nowhere");
    if (outcome.mistakes.empty() == (outcome.end == RunEnd::BadInput))
        throw std::logic_error("mistakes and verdict differ");
    return outcome.mistakes.empty();
}

}  // namespace testing_aids
