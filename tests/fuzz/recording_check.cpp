#include <stdexcept>

#include "fuzz/program_check.h"
#include "orv/core/orv_system.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/sequencer.h"
#include "recording/recording_file.h"

namespace testing_aids {

namespace app = orv::app;
namespace core = orv::core;

namespace {

/// The project of the host, which is empty after a run, as the file has it.
const core::CProject& BuildProject(const app::TestFile& file) {
    auto& project = dynamic_cast<core::CProject&>(
        *core::COrvSystem::Instance().GetObject(core::CProject::CLASS_ID(), orv::common::kParentChild));
    if (!project.GetObject(core::CPort::CLASS_ID(), orv::common::kParentChild))
        file.Build(project, orv::framework::CSequencer::Instance());
    return project;
}

}  // namespace

bool check_recording_bytes(Bytes bytes) {
    app::Session& session = GetSession();  // before files are read: it knows the words
    static const auto file =
        app::TestFile::Parse(TestText{.seconds = 2, .stbs = 2, .channels = 4}.ToString(), "test.yaml");
    app::RunOptions options;
    options.database = GetScratchFolder() / "results.db";
    options.replay = GetScratchFolder() / "recording.jsonl";
    const unsigned last = bytes.empty() ? 0 : std::to_integer<unsigned>(bytes.back());
    options.replay_incomplete = last % 2 == 1;
    WriteFile(options.replay, std::string(AsText(bytes)));
    const auto end =
        options.replay_incomplete ? app::RecordingEnd::MayBeMissing : app::RecordingEnd::Required;
    if (!app::ReadRecording(options.replay, BuildProject(file), end).mistakes.empty()) return false;
    // A whole run takes a hundred times as long. The first ones, so that a finding can be repeated.
    static unsigned accepted = 0;
    if (accepted++ >= 8 && accepted % 64 != 0) return true;
    std::filesystem::remove(options.database);
    SilentObserver observer;
    const RunOutcome outcome = session.Run(file, options, observer);
    if (!outcome.mistakes.empty() || outcome.end == RunEnd::BadInput)
        throw std::logic_error("what could be read is not played back");
    if (outcome.tests.size() != 1) throw std::logic_error("nothing was replayed");
    return true;
}

}  // namespace testing_aids
