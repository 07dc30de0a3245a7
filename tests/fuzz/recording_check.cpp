#include <stdexcept>

#include "fuzz/program_check.h"
#include "orv/core/orv_system.h"
#include "orv/core/project.h"
#include "recording/recording_file.h"

namespace testing_aids {

bool check_recording_bytes(Bytes bytes) {
    namespace app = orv::app;
    app::Session& session = GetSession();  // before files are read: it knows the words
    static const auto file =
        app::TestFile::Parse(TestText{.seconds = 2, .stbs = 2, .channels = 4}.ToString(), "test.yaml");
    static const bool is_good = session.Validate(file).mistakes.empty();  // and its project stays
    const auto* project = dynamic_cast<orv::core::CProject*>(orv::core::COrvSystem::Instance().GetObject(
        orv::core::CProject::CLASS_ID(), orv::common::kParentChild));
    if (!is_good || !project) throw std::logic_error("there is no project");
    app::RunOptions options;
    options.database = GetScratchFolder() / "results.db";
    options.replay = GetScratchFolder() / "recording.jsonl";
    const unsigned last = bytes.empty() ? 0 : std::to_integer<unsigned>(bytes.back());
    options.replay_incomplete = last % 2 == 1;
    WriteFile(options.replay, std::string(AsText(bytes)));
    const bool is_accepted = app::ReadRecording(options.replay, *project,
                                                options.replay_incomplete ? app::RecordingEnd::MayBeMissing
                                                                          : app::RecordingEnd::Required)
                                 .mistakes.empty();
    if (!is_accepted) return false;
    // A whole run takes a hundred times as long. The first ones, so that a finding can be repeated.
    static unsigned accepted = 0;
    if (accepted++ >= 8 && accepted % 64 != 0) return true;
    std::filesystem::remove(options.database);
    SilentObserver observer;
    const RunOutcome outcome = session.Run(file, options, observer);
    if (!outcome.mistakes.empty() || outcome.end == RunEnd::BadInput)
        throw std::logic_error("what could be read is not played back");
    if (outcome.tests.size() != 1) throw std::logic_error("nothing was replayed");
    return is_accepted;
}

}  // namespace testing_aids
