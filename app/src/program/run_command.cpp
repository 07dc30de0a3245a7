#include "run_command.h"

#include <fmt/format.h>

#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "agents/controller/agent_session.h"
#include "clock_choice.h"
#include "console.h"
#include "interrupts.h"
#include "metrics/metrics_server.h"
#include "output/outcome_json.h"
#include "output/printable.h"
#include "report/report_command.h"
#include "reports.h"
#include "results_viewer/results_database.h"
#include "run/description_names.h"
#include "run/endable_port.h"
#include "run/session.h"
#include "sweep/run_sweep.h"
#include "terminal.h"

namespace orv::app {

namespace {

Console::Options MakeConsoleOptions(const Arguments& arguments) {
    Console::Options options;
    options.level = arguments.log_level;
    options.get_interrupts = GetInterruptCount;
    options.notes = !arguments.quiet;
    if (arguments.quiet && options.level &&
        GetSeverity(*options.level) < GetSeverity(framework::LogLevelType::Error))
        options.level = framework::LogLevelType::Error;
    if (arguments.quiet) {
        options.progress = Console::Progress::None;
    } else if (isatty(STDERR_FILENO)) {
        options.progress = Console::Progress::Bar;
        options.width = static_cast<int>(GetTerminalWidth(STDERR_FILENO).value_or(80));
    }
    return options;
}

/// What a second Ctrl-C does: leaves all groups and writes the reports in parallel, since the
/// time for both is short. Returns the exit status.
int BreakOff(Reports& reports, const KnownOutcome& known) {
    std::thread leave([] {
        EndablePort::EndAll();
        AgentSession::CloseAll();
    });
    RunOutcome outcome = known.Get();
    outcome.end = RunEnd::Interrupted;
    CloseIteration(outcome);
    const int status = reports.Write(std::move(outcome));
    leave.join();
    return status;
}

/// Passes the figures on to the metrics, if there are any to serve.
class MeteredConsole : public Console {
  public:
    MeteredConsole(std::ostream& out, const Options& options, MetricsServer* metrics)
        : Console(out, options), metrics_(metrics) {}

    void OnTestBegins(const std::string& test, std::chrono::nanoseconds duration) override {
        if (metrics_) metrics_->BeginTest(test);
        Console::OnTestBegins(test, duration);
    }
    void OnTestEnds() override {
        if (metrics_) metrics_->EndTest();
    }
    void OnIterationBegins(std::size_t number) override {
        if (metrics_) metrics_->BeginIteration(number);
    }
    bool WantsProgress() override { return IsDue() || Console::WantsProgress(); }
    void OnProgress(const RunProgress& progress) override {
        if (IsDue()) metrics_->Update(progress);
        if (Console::WantsProgress()) Console::OnProgress(progress);
    }

  private:
    bool IsDue() const { return metrics_ && metrics_->IsDue(); }

    MetricsServer* metrics_;
};

std::filesystem::path GetInputPath(const std::filesystem::path& given) {
    return given == "-" ? "/dev/stdin" : given;
}

class Run {
  public:
    Run(const Arguments& arguments, const std::filesystem::path& plugin)
        : arguments_(arguments), plugin_(plugin) {}

    int Do() {
        // Shared with the handler of a Ctrl-C that ends at once. It may come at any time until the process
        // ends, even while the test file is read from a terminal or pipe.
        const auto reports = std::make_shared<Reports>(arguments_);
        const auto known = std::make_shared<KnownOutcome>();
        CountInterrupts([known] { return known->IsPreparing(); },
                        [reports, known] { return BreakOff(*reports, *known); });
        text_ = ReadFileText(arguments_.file);
        std::vector<Mistake> mistakes = OpenOutputs();
        // Files that cannot be written or are used twice are not touched.
        if (mistakes.empty()) reports->SetFiles(arguments_.junit, arguments_.page);
        RunOutcome outcome;
        if (mistakes.empty()) {
            outcome = RunGuarded(*known);
        } else {
            outcome.end = RunEnd::BadInput;
            outcome.mistakes = std::move(mistakes);
        }
        // Warnings have been logged, and so have errors unless logging is off.
        for (const Mistake& mistake : outcome.mistakes)
            std::cerr << MakePrintable(mistake.ToString()) << '\n';
        if (!arguments_.log_level) {
            for (const std::string& error : outcome.errors) PrintError(error);
        }
        return reports->Write(std::move(outcome), [this](RunOutcome& changed) { Store(changed); });
    }

  private:
    /// The outcome goes to the database, and from there to the page.
    void Store(RunOutcome& outcome) {
        const bool has_iterations = outcome.sweep && !outcome.sweep->iterations.empty();
        if (!test_ || (outcome.end == RunEnd::BadInput && !has_iterations)) return;
        const auto conclude = [&] {
            if (!has_iterations) return test_->session->Conclude(outcome.end, MakeOutcomeDetails(outcome));
            // The last data sets are those of an iteration, whose outcome is not always that of the sweep.
            RunOutcome run = outcome.sweep->iterations.back().run;
            if (outcome.end == RunEnd::Failure) {
                run.end = outcome.end;
                run.errors = outcome.errors;
            }
            test_->session->Describe(run_description::kSweepResult, DescribeSweepResult(outcome));
            test_->session->Conclude(run.end, MakeOutcomeDetails(run));
        };
        conclude();
        if (arguments_.page.empty()) return;
        try {
            if (outcome.database.empty()) throw ResultsError("there is nothing in a database to report");
            WriteReport({{outcome.database}, arguments_.page, std::nullopt});
        } catch (const std::exception& error) {
            AddError(outcome, fmt::format("--report: {}", error.what()));
            conclude();
        }
    }

    std::vector<Mistake> OpenOutputs() {
        outputs_.AddInput("the test file", GetInputPath(arguments_.file));
        outputs_.AddInput("--replay", GetInputPath(arguments_.run.replay));
        if (arguments_.json || !arguments_.quiet) outputs_.AddStandardOutput();
        std::vector<Mistake> mistakes;
        if (arguments_.file == "-" && arguments_.run.replay == "-")
            mistakes.push_back(
                MakeCommandLineMistake("--replay", "the standard input is the test file already"));
        const auto open = [&](const char* option, const std::filesystem::path& path, OutputFiles::Kind kind) {
            if (path.empty()) return;
            const std::string problem = outputs_.AddOutput(option, path, kind);
            if (!problem.empty()) mistakes.push_back(MakeCommandLineMistake(option, problem));
        };
        open("--db", arguments_.run.database, OutputFiles::Kind::Database);
        open("--junit", arguments_.junit, OutputFiles::Kind::Report);
        open("--report", arguments_.page, OutputFiles::Kind::Report);
        open("--record", arguments_.run.record, OutputFiles::Kind::Report);
        if (!arguments_.metrics.empty() && mistakes.empty()) {
            try {
                metrics_ = std::make_unique<MetricsServer>(arguments_.metrics);
            } catch (const common::COrvRunTimeError& error) {
                mistakes.push_back(MakeCommandLineMistake("--metrics", error.what()));
            }
        }
        return mistakes;
    }

    RunOutcome RunGuarded(KnownOutcome& known) {
        try {
            test_ = LoadTest(arguments_, text_, plugin_);
            MeteredConsole console(std::cerr, MakeConsoleOptions(arguments_), metrics_.get());
            if (test_->file.GetSweep())
                return RunSweep(*test_->session, test_->file, arguments_.run, console, outputs_, known);
            return test_->session->Run(test_->file, arguments_.run, console, outputs_, known);
        } catch (const std::exception& error) {
            RunOutcome outcome = known.Get();
            outcome.end = RunEnd::Failure;
            outcome.errors.emplace_back(error.what());
            CloseIteration(outcome);
            if (arguments_.log_level) PrintError(error.what());
            return outcome;
        }
    }

    const Arguments& arguments_;
    const std::filesystem::path& plugin_;
    FileText text_;
    std::optional<LoadedTest> test_;
    OutputFiles outputs_;
    std::unique_ptr<MetricsServer> metrics_;
};

}  // namespace

int RunTest(const Arguments& arguments, const std::filesystem::path& plugin) {
    auto& loggers = framework::BLLLoggerFactory::GetInstance();
    loggers.SetConsole(false);
    if (arguments.log_level) loggers.SetLevel("", *arguments.log_level);
    return Run(arguments, plugin).Do();
}

}  // namespace orv::app
