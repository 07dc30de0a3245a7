#include "program.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>

#include "arguments.h"
#include "clock_choice.h"
#include "console.h"
#include "interrupts.h"
#include "orv/common/exceptions.h"
#include "orv/framework/plugin_loader.h"
#include "output/outcome_json.h"
#include "output/summary.h"
#include "output_paths.h"
#include "program_version.h"
#include "run/endable_port.h"
#include "test_file/explain.h"
#include "test_file/schema.h"

namespace orv::app {

namespace {

constexpr int kFailure = static_cast<int>(RunEnd::Failure);

/// Where the plug-in is: as the environment says, or beside the program.
std::filesystem::path FindPlugin() {
    if (const char* path = std::getenv("IPTVTEST_PLUGIN")) return path;
    return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "plugins" / "iptv.so";
}

Session MakeSession(framework::ClockKind clock) {
    return Session(clock, FindPlugin());
}

void PrintMistakes(std::ostream& out, const RunOutcome& outcome) {
    for (const Mistake& mistake : outcome.mistakes) out << mistake.ToString() << '\n';
    for (const std::string& warning : outcome.warnings) out << warning << " (warning)\n";
}

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
        winsize size{};
        if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) options.width = size.ws_col;
    }
    return options;
}

void WriteFile(const std::filesystem::path& path, const std::string& text) {
    std::ofstream file(path);
    file << text;
    file.close();
    if (!file)
        throw common::COrvRunTimeError(
            fmt::format("{} cannot be written: {}", path.string(), std::strerror(errno)));
}

int Run(const Arguments& arguments) {
    auto& loggers = framework::BLLLoggerFactory::GetInstance();
    loggers.SetConsole(false);
    if (arguments.log_level) loggers.SetLevel("", *arguments.log_level);
    // Who types the file, or waits for a pipe, can still break that off.
    const FileText text = ReadFileText(arguments.file);
    CountInterrupts(&EndablePort::EndAll);
    // What cannot be written should be known before the test has run for an hour.
    if (const std::string problem = FindPathProblem(arguments); !problem.empty()) {
        std::cerr << "iptvtest: " << problem << '\n';
        return static_cast<int>(RunEnd::BadInput);
    }
    RunOutcome outcome;
    {
        const LoadedTest test = LoadTest(arguments, text, FindPlugin());
        Console console(std::cerr, MakeConsoleOptions(arguments));
        outcome = test.session->Run(test.file, arguments.run, console);
    }
    // Warnings have been logged.
    for (const Mistake& mistake : outcome.mistakes) std::cerr << mistake.ToString() << '\n';
    if (arguments.json) {
        std::cout << MakeOutcomeJson(outcome);
    } else if (!arguments.quiet && outcome.end != RunEnd::BadInput) {
        std::cout << MakeSummary(outcome);
    }
    if (!arguments.junit.empty()) WriteFile(arguments.junit, MakeJUnitXml(outcome));
    return static_cast<int>(outcome.end);
}

int Validate(const Arguments& arguments) {
    framework::BLLLoggerFactory::GetInstance().SetConsole(false);  // what is logged is in the outcome
    Session session = MakeSession(framework::ClockKind::Virtual);
    const FileText text = ReadFileText(arguments.file);
    const RunOutcome outcome = session.Validate(session.Parse(text, arguments.settings));
    if (arguments.json) {
        std::cout << MakeOutcomeJson(outcome);
    } else {
        PrintMistakes(std::cerr, outcome);
        if (outcome.mistakes.empty()) std::cout << text.name << " is a good test file.\n";
    }
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
            return Run(arguments);
        case Arguments::Command::Validate:
            return Validate(arguments);
        case Arguments::Command::Results:
            return ShowResults(arguments.results, STDOUT_FILENO, std::cerr);
        case Arguments::Command::Explain:
            return Explain(arguments.class_name);
        case Arguments::Command::Schema: {
            const Session session = MakeSession(framework::ClockKind::Virtual);
            std::cout << MakeJsonSchema() << '\n';
            return 0;
        }
        case Arguments::Command::Version:
            return PrintVersion();
    }
    return kFailure;
}

}  // namespace

int RunProgram(int argc, const char* const* argv) {
    int status = 0;
    const auto arguments = ReadArguments(argc, argv, status);
    if (!arguments) return status;
    try {
        status = CarryOut(*arguments);
        std::cout.flush();
        if (std::cout) return status;
        std::cerr << "iptvtest: the output cannot be written\n";
    } catch (const std::exception& error) {
        std::cerr << "iptvtest: " << error.what() << '\n';
    }
    return kFailure;
}

}  // namespace orv::app
