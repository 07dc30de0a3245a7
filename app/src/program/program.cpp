#include "program.h"

#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <iostream>

#include "arguments.h"
#include "interrupts.h"
#include "orv/framework/plugin_loader.h"
#include "output/printable.h"
#include "program_version.h"
#include "reports.h"
#include "run_command.h"
#include "sweep/run_sweep.h"
#include "test_file/explain.h"
#include "test_file/schema.h"

namespace orv::app {

namespace {

constexpr int kFailure = static_cast<int>(RunEnd::Failure);

/// Path of the plug-in: from the environment, or beside the program.
std::filesystem::path FindPlugin() {
    if (const char* path = std::getenv("IPTVTEST_PLUGIN")) return path;
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "plugins" / "iptv.so";
}

Session MakeSession(framework::ClockKind clock) {
    return Session(clock, FindPlugin());
}

void PrintMistakes(std::ostream& out, const RunOutcome& outcome) {
    for (const Mistake& mistake : outcome.mistakes) out << MakePrintable(mistake.ToString()) << '\n';
    for (const std::string& warning : outcome.warnings) out << MakePrintable(warning) << " (warning)\n";
    for (const std::string& error : outcome.errors) PrintError(error);
}

RunOutcome ValidateGuarded(const Arguments& arguments, const FileText& text) {
    try {
        Session session = MakeSession(framework::ClockKind::Virtual);
        const TestFile file = session.Parse(text, arguments.settings);
        return file.GetSweep() ? ValidateSweep(session, file) : session.Validate(file);
    } catch (const std::exception& error) {
        RunOutcome outcome;
        outcome.end = RunEnd::Failure;
        outcome.errors.emplace_back(error.what());
        return outcome;
    }
}

/// ", with a sweep of 7 iterations"
std::string DescribeSweep(const RunOutcome& outcome) {
    if (!outcome.sweep) return {};
    const SweepOutcome& sweep = *outcome.sweep;
    if (!sweep.search) {
        const std::size_t count = sweep.values.size();
        return ", with a sweep of " + std::to_string(count) + (count == 1 ? " iteration" : " iterations");
    }
    return MakePrintable(", with a search for the highest " + sweep.properties.front() + " from " +
                         sweep.search->from + " to " + sweep.search->to);
}

int Validate(const Arguments& arguments) {
    framework::BLLLoggerFactory::GetInstance().SetConsole(false);  // log entries are in the outcome
    if (arguments.json) {
        // Readers get a JSON object even if the wait for the file is interrupted.
        CountInterrupts([] { return true; },
                        [] {
                            RunOutcome outcome;
                            outcome.end = RunEnd::Interrupted;
                            const int status = PrintJson(outcome);
                            std::cout.flush();
                            return status;
                        });
    }
    const FileText text = ReadFileText(arguments.file);
    const RunOutcome outcome = ValidateGuarded(arguments, text);
    if (arguments.json) return PrintJson(outcome);
    PrintMistakes(std::cerr, outcome);
    if (outcome.end == RunEnd::Passed)
        std::cout << MakePrintable(text.name) << " is a good test file" << DescribeSweep(outcome) << ".\n";
    return static_cast<int>(outcome.end);
}

int PrintVersion() {
    std::cout << "iptvtest " << kProgramVersion << '\n';
    const Session session = MakeSession(framework::ClockKind::Virtual);
    for (const auto& plugin : framework::CPluginLoader::Instance().GetPlugins())
        std::cout << plugin.path.filename().string() << ' ' << plugin.version << '\n';
    return 0;
}

int Explain(const std::string& class_name) {
    const Session session = MakeSession(framework::ClockKind::Virtual);
    const Explanation explanation = ExplainClass(class_name);
    (explanation.is_known ? std::cout : std::cerr) << explanation.text;
    return static_cast<int>(explanation.is_known ? RunEnd::Passed : RunEnd::BadInput);
}

int CarryOut(const Arguments& arguments) {
    switch (arguments.command) {
        case Arguments::Command::Run:
            return RunTest(arguments, FindPlugin());
        case Arguments::Command::Validate:
            return Validate(arguments);
        case Arguments::Command::Results:
            return ShowResults(arguments.results, STDOUT_FILENO, std::cerr);
        case Arguments::Command::Report:
            return MakeReportFile(arguments.report, std::cerr);
        case Arguments::Command::Explain:
            return Explain(arguments.class_name);
        case Arguments::Command::Schema: {
            const Session session = MakeSession(framework::ClockKind::Virtual);
            std::cout << MakeJsonSchema() << '\n';
            return 0;
        }
        case Arguments::Command::Agent:
            return RunAgent(arguments.agent);
        case Arguments::Command::Agents:
            return ListAgents(arguments.agents_server, arguments.json);
        case Arguments::Command::Version:
            return PrintVersion();
    }
    return kFailure;
}

}  // namespace

int RunProgram(int argc, const char* const* argv) {
    // A file over the size limit is reported as one that cannot be written.
    std::signal(SIGXFSZ, SIG_IGN);
    // Whatever the caller's mask is, results are nothing that everybody may change.
    ::umask(::umask(0) | S_IWOTH);
    int status = 0;
    const auto arguments = ReadArguments(argc, argv, status);
    if (!arguments) return status;
    try {
        status = CarryOut(*arguments);
        std::cout.flush();
        // The run has reported it.
        if (std::cout || arguments->command == Arguments::Command::Run) return status;
        PrintError("the output cannot be written");
    } catch (const std::exception& error) {
        PrintError(error.what());
    }
    return kFailure;
}

}  // namespace orv::app
