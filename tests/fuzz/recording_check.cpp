#include <stdexcept>

#include "fuzz/program_check.h"

namespace testing_aids {

bool check_recording_bytes(Bytes bytes) {
    orv::app::Session& session = GetSession();  // before files are read: it knows the words
    static const auto file =
        orv::app::TestFile::Parse(TestText{.seconds = 2, .stbs = 2, .channels = 4}.ToString(), "test.yaml");
    orv::app::RunOptions options;
    options.database = GetScratchFolder() / "results.db";
    options.replay = GetScratchFolder() / "recording.jsonl";
    options.replay_incomplete = !bytes.empty() && std::to_integer<unsigned>(bytes.back()) % 2 == 1;
    WriteFile(options.replay, std::string(AsText(bytes)));
    std::filesystem::remove(options.database);
    SilentObserver observer;
    const RunOutcome outcome = session.Run(file, options, observer);
    const bool is_accepted = outcome.mistakes.empty();
    if (is_accepted == (outcome.end == RunEnd::BadInput))
        throw std::logic_error("mistakes and verdict differ");
    if (is_accepted && outcome.tests.size() != 1) throw std::logic_error("nothing was replayed");
    return is_accepted;
}

}  // namespace testing_aids
