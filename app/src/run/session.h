// One host with the plug-in, and the tests that run in it.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "agents/protocol/requests.h"
#include "known_outcome.h"
#include "orv/bus/connection.h"
#include "orv/framework/task_manager.h"
#include "output_files.h"
#include "run_observer.h"
#include "run_outcome.h"
#include "test_file/parsed_file.h"

namespace orv::app {

struct RunOptions {
    std::optional<std::uint64_t> seed;  ///< overrides that of the file
    std::filesystem::path database;     ///< overrides that of the file, unless empty
    std::filesystem::path record;       ///< where to write what ports report; empty: nowhere
    std::filesystem::path replay;       ///< what ports report instead of emulating set-top boxes, "-": the
                                        ///< standard input; empty: nothing
    bool replay_incomplete = false;     ///< accept a recording without its end
    int iteration = 0;                  ///< of a sweep, from 1; 0 without one
    std::string sweep = {};             ///< describes that iteration in the database
    bus::ServerAccess server;           ///< over which agents are reached
    std::chrono::seconds lease = kDefaultLease;  ///< how long agents wait for a silent controller
};

/// A process has at most one session at a time, but may have several one after the other. Runs do not affect
/// each other.
class Session {
  public:
    /// Starts the host and loads the plug-in. Throws COrvRunTimeError with the reason on failure.
    Session(framework::ClockKind clock, const std::filesystem::path& plugin);
    ~Session();

    /// Reads a file with the vocabulary of host and plug-in.
    TestFile Load(const std::filesystem::path& path) const { return TestFile::Load(path); }
    /// The same for a text, with overridden values.
    TestFile Parse(const FileText& file, const std::vector<std::string>& settings) const {
        return TestFile::Parse(file, settings);
    }

    /// Builds the file's test and checks it with the rules of the plug-in; sends nothing. Problems are in the
    /// outcome's mistakes and warnings.
    RunOutcome Validate(const TestFile& file);

    /// Runs the file's sequence. The input is checked before anything is sent, and a file with mistakes is
    /// not run. Neither is one whose database cannot be written or is one of the files in `outputs`; the
    /// caller has opened the files named by options. `known` always contains the progress so far; its sweep
    /// stays as it is.
    RunOutcome Run(const TestFile& file, const RunOptions& options, IRunObserver& observer,
                   OutputFiles& outputs, KnownOutcome& known);
    RunOutcome Run(const TestFile& file, const RunOptions& options, IRunObserver& observer);
    /// Stores a text in the database of the last run.
    void Describe(const std::string& name, const std::string& text);
    /// Stores the outcome of the last run, reports included, and its details (MakeOutcomeDetails) in its
    /// database; again if that has changed since.
    void Conclude(RunEnd end, const std::string& details);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::app
