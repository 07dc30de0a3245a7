#include "session.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <system_error>

#include "find_objects.h"
#include "input_check.h"
#include "laboratory.h"
#include "orv/common/exceptions.h"
#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "port_location.h"
#include "recording/recorder.h"
#include "recording/recording_file.h"
#include "run_description.h"
#include "run_log.h"
#include "watchdog.h"
#include "wizard_run.h"

namespace orv::app {

using framework::CSequencer;

namespace {

/// Time limit for writing the results of a test after its sequence has ended.
constexpr auto kLastWrites = std::chrono::seconds(120);

/// The file of a command that names none, and of one with a file for each iteration.
constexpr const char* kDefaultDatabase = "iptvTest.db";

/// All results go to this file, also those of iterations that were to have one of their own.
void SetDatabaseName(const std::filesystem::path& database) {
    for (framework::CScriptable* command :
         FindBelow(CSequencer::Instance(), ids::IptvStartTestCommand::CLASS)) {
        command->Set(ids::IptvStartTestCommand::DatabaseFileName, MakeDatabasePath(database).string());
        command->Set(ids::IptvStartTestCommand::SaveResultsPerIteration, false);
    }
}

/// Names that the file's expectations use must exist; the wizard has made its objects only now.
std::vector<Mistake> FindUnknownSubjects(const TestFile& file, const core::CProject& project) {
    return file.FindUnknownSubjects([&project](const std::string& class_name) {
        std::vector<std::string> names;
        const auto* of = framework::CMetaClassManager::Instance().GetClass(class_name);
        for (const framework::CScriptable* object : FindBelow(project, of->GetClassId()))
            names.push_back(object->GetName());
        return names;
    });
}

/// The connections to ports, which end with it, whatever ended the run. No callbacks follow.
struct Connections {
    Connections() = default;
    ~Connections() { framework::CRpcManager::Instance().Reset(); }
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;
};

}  // namespace

class Session::Impl {
  public:
    Impl(framework::ClockKind clock, const std::filesystem::path& plugin)
        : is_virtual_clock_(clock == framework::ClockKind::Virtual), host_({.clock = clock}) {
        host_.LoadPlugin(plugin);
    }

    RunOutcome Validate(const TestFile& file) {
        RunOutcome outcome;
        Prepare(file, nullptr, outcome);
        host_.NewProject();
        return outcome;
    }

    RunOutcome Run(const TestFile& file, const RunOptions& options, IRunObserver& observer,
                   OutputFiles& outputs, KnownOutcome& known) {
        database_.reset();
        RunOutcome outcome;
        outcome.seed = options.seed.value_or(file.GetSimulation().seed);
        outcome.is_virtual_clock = is_virtual_clock_;
        const TestFile::Built built = Prepare(file, &options, outcome);
        if (outcome.mistakes.empty()) {
            options.database.empty() ? OpenDatabases(file, built, outputs, outcome)
                                     : CheckDatabase(options.database, outcome);
        }
        if (outcome.mistakes.empty()) outcome.ports = ListPorts(!options.replay.empty());
        known.Change([&outcome](RunOutcome& shared) {
            auto sweep = std::move(shared.sweep);
            shared = outcome;
            shared.sweep = std::move(sweep);
        });
        if (outcome.mistakes.empty()) {
            for (const std::string& warning : recording_warnings_)
                observer.OnLog({"iptvtest", framework::LogLevelType::Warn, warning, __FILE__, __LINE__});
            RunLog log([&](const framework::LogRecord& record) {
                if (RunLog::IsError(record))
                    known.Change([&record](RunOutcome& shared) { shared.errors.push_back(record.text); });
                observer.OnLog(record);
            });
            try {
                RunSequence(file, options, log, observer, known, outcome);
            } catch (const std::exception& error) {
                known.SetPreparing(false);
                log.AddError(error.what());
                outcome.tests = known.Get().tests;
            }
            if (outcome.tests.empty() && outcome.end == RunEnd::Passed && log.GetErrors().empty())
                log.AddError("No test was run.");
            outcome.errors = log.GetErrors();
        }
        Judge(outcome);
        Describe(outcome.end);
        if (!GetUnfinishedReason(outcome).empty()) outcome.unfinished_test = known.Get().unfinished_test;
        host_.NewProject();
        return outcome;
    }

    void Conclude(RunEnd end, const std::string& details) {
        if (end != described_) Describe(end);
        Describe(run_description::kOutcomeDetails, details);
    }

    void Describe(const std::string& name, const std::string& text) {
        if (database_) database_->Describe(name, text);
    }

  private:
    void Describe(RunEnd end) {
        described_ = end;
        Describe(run_description::kOutcome, GetRunEndName(end));
    }

    /// Without options there is nothing to run.
    TestFile::Built Prepare(const TestFile& file, const RunOptions* options, RunOutcome& outcome) {
        TestFile::Built built;
        outcome.title = file.GetTitle();
        outcome.mistakes = file.GetMistakes();
        if (outcome.mistakes.empty()) {
            core::CProject& project = host_.NewProject();
            built = file.Build(project, CSequencer::Instance());
            outcome.mistakes = built.mistakes;
            if (outcome.mistakes.empty()) RunWizard(file, built, project, outcome);
            if (outcome.mistakes.empty()) outcome.mistakes = FindUnknownSubjects(file, project);
            if (outcome.mistakes.empty()) CheckInput(file, built, project, outcome);
            if (outcome.mistakes.empty() && options && options->replay.empty())
                CheckPlaces(file, built, project, !options->server.url.empty(), outcome);
        }
        recordings_.clear();
        recording_warnings_.clear();
        if (outcome.mistakes.empty() && options && !options->replay.empty()) {
            RecordingFile recording = ReadRecording(
                options->replay, host_.GetProject(),
                options->replay_incomplete ? RecordingEnd::MayBeMissing : RecordingEnd::Required);
            outcome.mistakes = std::move(recording.mistakes);
            recording_warnings_ = std::move(recording.warnings);
            outcome.warnings.insert(outcome.warnings.end(), recording_warnings_.begin(),
                                    recording_warnings_.end());
            recordings_ = std::move(recording.ports);
        }
        if (!outcome.mistakes.empty()) outcome.end = RunEnd::BadInput;
        return built;
    }

    std::vector<MeasuringPort> ListPorts(bool replays) {
        std::vector<MeasuringPort> ports;
        for (const framework::CScriptable* object : FindBelow(host_.GetProject(), ids::Port::CLASS)) {
            const auto& port = static_cast<const core::CPort&>(*object);
            const PortKind kind = replays                   ? PortKind::Recording
                                  : GetPlace(port).IsLive() ? PortKind::Live
                                                            : PortKind::Simulated;
            ports.push_back({port.GetName(), port.GetT<std::string>(ids::Port::Location), kind});
        }
        return ports;
    }

    /// The database of the command line was opened before the data models were loaded, so its tables are
    /// checked only now.
    static void CheckDatabase(const std::filesystem::path& database, RunOutcome& outcome) {
        const std::string problem = core::FindResultsFileProblem(MakeDatabasePath(database).string());
        if (problem.empty()) return;
        outcome.mistakes.push_back(MakeCommandLineMistake(
            "--db", fmt::format("{} cannot be written: {}", database.string(), problem)));
        outcome.end = RunEnd::BadInput;
    }

    /// Databases named by the file.
    static void OpenDatabases(const TestFile& file, const TestFile::Built& built, OutputFiles& outputs,
                              RunOutcome& outcome) {
        namespace Command = ids::IptvStartTestCommand;
        for (const framework::CCommand* command : FindStartCommands()) {
            std::string path = command->GetOutputFilePath(Command::DatabaseFileName).ToString();
            if (path.empty() || command->GetBool(Command::SaveResultsPerIteration)) path = kDefaultDatabase;
            const std::string problem = outputs.AddOutput("the database", path, OutputFiles::Kind::Database);
            if (problem.empty()) continue;
            // The wizard may have built the sequence.
            const bool is_in_file = built.objects.contains(command->GetHandle());
            outcome.mistakes.push_back(
                is_in_file ? file.MakeMistake(built, command->GetHandle(), "DatabaseFileName", problem)
                           : file.MakeMistake("project", problem));
        }
        if (!outcome.mistakes.empty()) outcome.end = RunEnd::BadInput;
    }

    void RunSequence(const TestFile& file, const RunOptions& options, RunLog& log, IRunObserver& observer,
                     KnownOutcome& known, RunOutcome& outcome) {
        Simulation simulation = file.GetSimulation();
        simulation.seed = outcome.seed;
        if (!options.database.empty()) SetDatabaseName(options.database);
        std::optional<Recorder> recorder;

        database_ =
            core::MakeSqliteTestResultManager(std::filesystem::current_path().string(), options.iteration);
        core::TestResultManager& database = *database_;
        DescribeRun(database, file, outcome);
        if (options.iteration > 0) database.Describe(run_description::kSweep, options.sweep);
        Laboratory::Setup setup;
        setup.simulation = simulation;
        setup.live = file.GetLiveSettings();
        setup.recordings = recordings_;
        setup.tap = [&recorder](const core::CPort& port, const std::vector<std::byte>& message) {
            if (recorder) recorder->OnMessage(port, message);
        };
        setup.gone = [&log](const std::string& port, const std::string& reason) {
            log.AddError("The connection to port \"" + port + "\" has ended: " + reason + ".");
        };
        setup.complain = [&log](const std::string& text) { log.AddError(text); };
        setup.server = options.server;
        setup.lease = options.lease;
        setup.warn = [&observer](const std::string& text) {
            observer.OnLog({"iptvtest", framework::LogLevelType::Warn, text, __FILE__, __LINE__});
        };
        setup.is_interrupted = [&observer] { return observer.GetInterrupts() > 0; };
        setup.binds = [&known] { known.SetHasAddresses(); };
        {
            const Connections connections;
            Laboratory laboratory(host_.GetProject(), setup);
            laboratory.ConfigureInterfaces();
            laboratory.ConfigureAddressing();
            // Opened only now: an existing recording must not be overwritten by a run that does not begin.
            if (!options.record.empty()) recorder.emplace(options.record);
            Watchdog watch(laboratory, log, observer, known, file.GetExpectations());
            RunToEnd(watch, database, log);
            known.SetPreparing(false);
            outcome.tests = watch.TakeReports();
            if (watch.IsInterrupted()) {
                outcome.end = RunEnd::Interrupted;
            } else {
                WaitForAnswers(log);
            }
            outcome.addressing = laboratory.GetAddressReports();
            if (!outcome.addressing.empty())
                database.Describe(run_description::kHostAddresses, MakeHostAddressesJson(outcome.addressing));
            outcome.live_ports = laboratory.GetLiveReports();
            outcome.agents = laboratory.GetAgentReports();
        }
        outcome.database = database.GetDatabasePath();
        if (const std::string why = database.GetErrorText(); !why.empty()) {
            log.AddError(why);
        } else if (!outcome.tests.empty() && !std::filesystem::exists(outcome.database)) {
            log.AddError(fmt::format("the results are lost: somebody has removed {}", outcome.database));
        }
        if (recorder) recorder->Close();
    }

    static void RunToEnd(const Watchdog& watch, core::TestResultManager& database, RunLog& log) {
        CSequencer& sequencer = CSequencer::Instance();
        sequencer.Start();
        sequencer.WaitForEnd();
        if (sequencer.GetSequencerState() == CSequencer::SEQUENCER_FAILED)
            log.AddPassedOn(sequencer.GetErrorText());
        // A sequence may end before its test does.
        auto& tasks = framework::CTaskManager::Instance();
        tasks.WaitUntil([&watch] { return !watch.IsTestUnderWay(); }, std::chrono::hours(24 * 365));
        tasks.WaitUntil([&database] { return !database.MustFinalise(); }, kLastWrites);
        if (database.MustFinalise()) database.Finalise();
    }

    /// A request without response is an error, even in a short test.
    static void WaitForAnswers(RunLog& log) {
        std::vector<framework::ErrorMsg> errors;
        framework::CRpcManager::Instance().Wait(errors);
        for (const framework::ErrorMsg& error : errors) {
            log.AddError(fmt::format("Request {} to port at \"{}\" failed: {}", error.msg_seq_num,
                                     error.messenger_string, error.fault_string));
        }
    }

    static void Judge(RunOutcome& outcome) {
        if (outcome.end != RunEnd::Passed) return;
        if (!outcome.errors.empty()) {
            outcome.end = RunEnd::Failure;
        }
        for (const TestReport& test : outcome.tests) {
            const bool passed =
                test.passed && std::ranges::all_of(test.expectations, &ExpectationResult::met);
            if (!passed && outcome.end == RunEnd::Passed) outcome.end = RunEnd::Failed;
        }
    }

    const bool is_virtual_clock_;
    core::CHostApplication host_;
    std::unique_ptr<core::TestResultManager> database_;  ///< of the last run
    RunEnd described_ = RunEnd::Passed;                  ///< outcome stored in the database
    Laboratory::Recordings recordings_;
    std::vector<std::string> recording_warnings_;
};

Session::Session(framework::ClockKind clock, const std::filesystem::path& plugin)
    : impl_(std::make_unique<Impl>(clock, plugin)) {}
Session::~Session() = default;

RunOutcome Session::Validate(const TestFile& file) {
    return impl_->Validate(file);
}

RunOutcome Session::Run(const TestFile& file, const RunOptions& options, IRunObserver& observer,
                        OutputFiles& outputs, KnownOutcome& known) {
    return impl_->Run(file, options, observer, outputs, known);
}

void Session::Describe(const std::string& name, const std::string& text) {
    impl_->Describe(name, text);
}

void Session::Conclude(RunEnd end, const std::string& details) {
    impl_->Conclude(end, details);
}

RunOutcome Session::Run(const TestFile& file, const RunOptions& options, IRunObserver& observer) {
    OutputFiles outputs;
    KnownOutcome known;
    return Run(file, options, observer, outputs, known);
}

}  // namespace orv::app
