// One host with the plug-in, and the tests that run in it.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "known_outcome.h"
#include "orv/framework/task_manager.h"
#include "output_files.h"
#include "run_observer.h"
#include "run_outcome.h"
#include "test_file/parsed_file.h"

namespace orv::app {

struct RunOptions {
    std::optional<std::uint64_t> seed;  ///< in place of the file's
    std::filesystem::path database;     ///< in place of the one that the file names; empty: that one
    std::filesystem::path record;       ///< where to write what ports report; empty: nowhere
    std::filesystem::path replay;       ///< what ports report instead of emulating set-top boxes, "-": the
                                        ///< standard input; empty: nothing
    bool replay_incomplete = false;     ///< also a recording whose end is missing
};

/// A process has at most one session at a time, but may have several one after the other. Runs leave nothing
/// behind for each other.
class Session {
  public:
    /// Brings up the host and loads the plug-in. Throws COrvRunTimeError that says what is wrong.
    Session(framework::ClockKind clock, const std::filesystem::path& plugin);
    ~Session();

    /// Reads a file with the vocabulary of host and plug-in.
    TestFile Load(const std::filesystem::path& path) const { return TestFile::Load(path); }
    /// The same of a text, with values set in it.
    TestFile Parse(const FileText& file, const std::vector<std::string>& settings) const {
        return TestFile::Parse(file, settings);
    }

    /// Builds the file's test and checks it by the rules of the plug-in; nothing is sent. Mistakes and
    /// warnings of the outcome say what is wrong.
    RunOutcome Validate(const TestFile& file);

    /// Runs the file's sequence. What is wrong with the input is found before anything is sent, and a file
    /// with mistakes is not run. Neither is one that names a database which cannot be written, or is one of
    /// the files in `outputs`; those that the options name have been opened by the caller. `known` always
    /// tells how far it has come.
    RunOutcome Run(const TestFile& file, const RunOptions& options, IRunObserver& observer,
                   OutputFiles& outputs, KnownOutcome& known);
    RunOutcome Run(const TestFile& file, const RunOptions& options, IRunObserver& observer);
    /// How the last run has ended for those who started it, reports included: its database says so, too.
    void Conclude(RunEnd end);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::app
