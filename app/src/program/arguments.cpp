#include "arguments.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <iostream>
#include <limits>
#include <map>
#include <string_view>
#include <vector>

#include "orv/bus/names.h"
#include "output/printable.h"
#include "reports.h"
#include "run/port_location.h"
#include "server_options.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

constexpr int kBadInput = 2;

constexpr const char* kFooter = R"(A first test, from the folder of the examples:

  iptvtest validate zapping-ipv4.yaml          is everything right in this file?
  iptvtest run zapping-ipv4.yaml --db zap.db   run it, show what it found
  iptvtest results zap.db                      what can be looked at
  iptvtest results zap.db "Port Result"        look at one of it

A test file lists ports, set-top boxes, channels and how people zap, in YAML; `iptvtest schema` prints a JSON
schema with which an editor completes and explains it, and `iptvtest explain Port` explains one class. docs/test-file.md
describes it.

Exit status: 0 passed, 1 failed verdict, 2 bad input, 3 run-time failure, 130 interrupted.)";

constexpr const char* kRunFooter =
    R"(Ctrl-C once ends the test in order, and its results are written; twice ends at once, and the reports say what is
known.

On simulated ports a test runs on a virtual clock: ten minutes of it take seconds, and the same seed gives the same
results. --clock real makes it take as long as on a real network. A test with live ports, those whose Location is
linux://<interface>, runs on the real clock.

A recording has one line of JSON for each notification of a port, and a last one that says how many there are;
without it, it has been cut off and is refused. Playing it back bins the same events again, into
other ranges or under another share of joins that may fail if the file has been changed; no set-top box is simulated,
nothing is sent to the network of a live port, and what the ports flagged stays flagged.)";

constexpr const char* kResultsFooter =
    R"text(Without a view the tree of views is shown. A view is named as in the tree,
in any case, or by its path ("Port Config/Port Result"). A view that is too wide for a table is printed turned on its
side. The file may be written to meanwhile. What a test has stored that was broken off is shown by table.

  iptvtest results zap.db "Event Result" --csv --columns "Device Name,Channel Number,Join Latency(msec)"
      --where '"Join Latency(msec)" > 50' --limit 1000)text";

constexpr const char* kAgentFooter =
    R"(The agent and the programs that run tests meet at a NATS server with JetStream. It serves one test at a time, and ends it
when whoever runs it is gone.

  nats-server --jetstream
  iptvtest agent --server nats://10.0.0.1 --name lounge --interface eth1
  iptvtest run zapping.yaml --server nats://10.0.0.1      with a port whose Location is agent://lounge/eth1)";

constexpr const char* kReportFooter =
    R"(The page needs no network: it holds all tests of the latest run in a database, with verdict, percentiles, time
series, a table for each kind of object, the test file, and how it was measured.

  iptvtest report monday.db -o monday.html
  iptvtest report monday.db tuesday.db -o compared.html)";

const std::map<std::string, framework::ClockKind> kClocks{{"real", framework::ClockKind::Real},
                                                          {"virtual", framework::ClockKind::Virtual}};
const std::map<std::string, int> kLevels{{"debug", static_cast<int>(framework::LogLevelType::Debug)},
                                         {"info", static_cast<int>(framework::LogLevelType::Info)},
                                         {"warn", static_cast<int>(framework::LogLevelType::Warn)},
                                         {"error", static_cast<int>(framework::LogLevelType::Error)},
                                         {"off", 0}};

template <class Value>
CLI::Validator OneOf(const std::map<std::string, Value>& values) {
    std::vector<std::string> names;
    for (const auto& [name, value] : values) names.push_back(name);
    return CLI::IsMember(std::move(names));
}

/// The same form as in test files: signs and octal numbers, which the library would accept, are
/// rejected.
std::string CheckSeed(const std::string& text) {
    std::uint64_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool good = result.ec == std::errc{} && result.ptr == text.data() + text.size() &&
                      (text == "0" || text.front() != '0');
    return good ? "" : text + " is no seed; expected a whole number from 0 to 18446744073709551615";
}

void AddTestFile(CLI::App& command, Arguments& arguments) {
    command.add_option("FILE", arguments.file, "Test file; - for the standard input")->required();
    command
        .add_option("--set", arguments.settings,
                    "Replace a value of the test file, for this time; can be given several times")
        ->type_name("NAME/Property=VALUE")
        ->allow_extra_args(false);
}

/// An empty shell variable must not select everything.
std::string CheckGiven(const std::string& text) {
    return text.find_first_not_of(' ') == text.npos ? "it is empty" : "";
}

/// A file needs a name.
std::string CheckName(const std::string& text) {
    return text.empty() ? "the name is empty" : "";
}

void AddLease(CLI::App& run, std::chrono::seconds& lease) {
    run.add_option_function<std::int64_t>(
           "--lease", [&lease](std::int64_t seconds) { lease = std::chrono::seconds(seconds); },
           "How long agents and this program wait for each other before they give the test up; default: 90")
        ->check(CLI::Range(std::int64_t{kShortestLease.count()}, std::int64_t{kLongestLease.count()}))
        ->type_name("SECONDS")
        ->group("Server of the agents");
}

void AddAgent(CLI::App& app, Arguments& arguments) {
    CLI::App* agent = app.add_subcommand("agent", "Offer ports of this machine to tests on other machines");
    AgentOffer& offer = arguments.agent.offer;
    AddServerOptions(*agent, arguments.agent.server, true);
    agent->add_option("--name", offer.name, "Name of this agent; ports are at agent://NAME/...")
        ->required()
        ->check(CLI::Validator([](std::string& name) { return bus::find_name_problem(name); }, "", "name"))
        ->type_name("NAME");
    agent
        ->add_option("--interface", offer.interfaces,
                     "Network interface that it offers; can be given several times")
        ->allow_extra_args(false)
        ->type_name("IF");
    agent->add_flag("--simulated", offer.is_simulated, "Offer simulated ports");
    agent
        ->add_option_function<std::size_t>(
            "--spool", [&offer](std::size_t mebibytes) { offer.spool = mebibytes << 20; },
            "Reports that may wait for a slow controller before the test is ended; default: 256")
        ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 20))
        ->type_name("MIB");
    agent->footer(kAgentFooter);
    agent->callback([&arguments] {
        if (arguments.agent.offer.interfaces.empty() && !arguments.agent.offer.is_simulated)
            throw CLI::ValidationError("an agent without ports: --interface or --simulated is missing");
        for (const std::string& interface : arguments.agent.offer.interfaces) {
            // As a test file would name it.
            const std::string location = fmt::format("agent://{}/{}", arguments.agent.offer.name, interface);
            const bool is_control = std::ranges::any_of(interface, [](unsigned char c) { return c == 0x7F; });
            if (is_control || !FindLocationProblem(location).empty() || !ReadLocation(location).IsLive())
                throw CLI::ValidationError("--interface",
                                           fmt::format("\"{}\" names no network interface", interface));
            if (std::ranges::count(arguments.agent.offer.interfaces, interface) > 1)
                throw CLI::ValidationError("--interface", interface + " is given twice");
        }
        arguments.command = Arguments::Command::Agent;
    });
    CLI::App* agents = app.add_subcommand("agents", "List the agents at a server");
    AddServerOptions(*agents, arguments.agents_server, true);
    agents->add_flag("--json", arguments.json, "As JSON");
    agents->callback([&arguments] { arguments.command = Arguments::Command::Agents; });
}

void AddRun(CLI::App& app, Arguments& arguments, std::string& clock, std::string& level,
            std::uint64_t& seed) {
    CLI::App* run = app.add_subcommand("run", "Run a test and show what it found");
    AddTestFile(*run, arguments);
    run->add_flag("-q,--quiet", arguments.quiet,
                  "Show nothing but errors; the exit status tells the verdict");
    run->add_flag("--json", arguments.json,
                  "Write the result to standard output as JSON, and everything else to standard error");
    const CLI::Validator name(CheckName, "", "name");
    run->add_option("--junit", arguments.junit, "Write a JUnit report")->check(name)->type_name("FILE");
    run->add_option("--metrics", arguments.metrics,
                    "Serve metrics for Prometheus while the run lasts; the address is 127.0.0.1 without one")
        ->check(name)
        ->type_name("[ADDRESS:]PORT");
    run->add_option("--report", arguments.page, "Write a report of the results, one HTML page")
        ->check(name)
        ->type_name("FILE");
    run->add_option(
           "--db", arguments.run.database,
           "Write the results database here (.db is added to a name without it), wherever the test file says")
        ->check(name)
        ->type_name("FILE");
    run->add_option("--seed", seed, "Seed of the simulated network, in place of the test file's")
        ->check(CLI::Validator(CheckSeed, "", "seed"))
        ->type_name("N");
    run->add_option("--clock", clock, "real or virtual; default: real with live ports, otherwise virtual")
        ->check(OneOf(kClocks))
        ->type_name("CLOCK");
    run->add_option("--log-level", level, "debug, info, warn (default), error or off")
        ->check(OneOf(kLevels))
        ->type_name("LEVEL");
    run->add_option("--record", arguments.run.record, "Write every result notification as JSON Lines")
        ->check(name)
        ->type_name("FILE");
    CLI::Option* replay = run->add_option("--replay", arguments.run.replay,
                                          "Let the ports report what was recorded; - for the standard input")
                              ->check(name)
                              ->type_name("FILE");
    run->add_flag("--replay-incomplete", arguments.run.replay_incomplete,
                  "Also a recording that was cut off: what there is of it")
        ->needs(replay);
    AddServerOptions(*run, arguments.run.server, false);
    AddLease(*run, arguments.run.lease);
    run->footer(kRunFooter);
    run->callback([&arguments] { arguments.command = Arguments::Command::Run; });
}

CLI::Validator CountFrom(std::uint64_t least, const char* what) {
    return {[least, what](std::string& text) {
                std::uint64_t value = 0;
                const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
                const bool good = result.ec == std::errc{} && result.ptr == text.data() + text.size() &&
                                  value >= least && value <= std::numeric_limits<std::uint32_t>::max();
                return good ? std::string()
                            : text + " is no " + what + ", a whole number from " + std::to_string(least);
            },
            "", what};
}

void AddResults(CLI::App& app, Arguments& arguments, bool& csv, bool& json, std::uint32_t& data_set) {
    CLI::App* results = app.add_subcommand("results", "Show the results of a test");
    results->add_option("DB", arguments.results.database, "Results database")->required();
    results->add_option("VIEW", arguments.results.view, "View to print; without one the tree of views");
    CLI::Option* as_csv = results->add_flag("--csv", csv, "As CSV (RFC 4180)");
    results->add_flag("--json", json, "As JSON")->excludes(as_csv);
    results->add_flag("--list", arguments.results.list, "Only the names of the views, one in a line");
    results->add_option("--data-set", data_set, "Test to look at, counted from 1; the latest one without it")
        ->check(CountFrom(1, "number of a data set"))
        ->type_name("N");
    Selection& selection = arguments.results.selection;
    const CLI::Validator given(CheckGiven, "", "given");
    results->add_option("--columns", selection.columns, "Only these columns of the view, in this order")
        ->check(given)
        ->type_name("A,B,...");
    results
        ->add_option("--where", selection.where,
                     "Only the rows for which this SQL expression is true; names of columns in double quotes")
        ->check(given)
        ->type_name("EXPR");
    results->add_option("--limit", selection.limit, "Only so many rows")
        ->check(CountFrom(0, "number of rows"))
        ->type_name("N");
    results->add_flag("--test-file", arguments.results.test_file,
                      "Only the test file that the results are of, to run it again");
    results->footer(kResultsFooter);
    results->callback([&arguments] { arguments.command = Arguments::Command::Results; });
}

void AddReport(CLI::App& app, Arguments& arguments, std::uint32_t& data_set) {
    CLI::App* report = app.add_subcommand("report", "Write a report of one run, or a comparison of several");
    report
        ->add_option("DB", arguments.report.databases,
                     "Results databases; each further one is compared with the first")
        ->required();
    report->add_option("-o,--output", arguments.report.page, "HTML page to write")
        ->required()
        ->check(CLI::Validator(CheckName, "", "name"))
        ->type_name("FILE");
    report->add_option("--data-set", data_set, "A test of the run, counted from 1; the latest one without it")
        ->check(CountFrom(1, "number of a data set"))
        ->type_name("N");
    report->footer(kReportFooter);
    report->callback([&arguments] { arguments.command = Arguments::Command::Report; });
}

std::vector<std::string> ListCommands(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands(nullptr)) names.push_back(command->get_name());
    return names;
}

int RefuseCommand(const CLI::App& app, const std::string& word) {
    const std::vector<std::string> names = ListCommands(app);
    const std::string nearest = FindNearestName(word, names);
    PrintError("there is no command \"" + word + "\"" +
               (nearest.empty() ? "" : "; did you mean " + nearest + "?") + " (" + JoinNames(names) + ")");
    return kBadInput;
}

/// The exit status when there is nothing left to parse: no arguments, a request for help, an unknown
/// command.
std::optional<int> AnswerFirstWord(const CLI::App& app, int argc, const char* const* argv) {
    if (argc < 2) {
        std::cerr << app.help();
        return kBadInput;
    }
    const std::vector<std::string> names = ListCommands(app);
    const auto is_command = [&names](const std::string& word) {
        return std::find(names.begin(), names.end(), word) != names.end();
    };
    const std::string first = argv[1], second = argc > 2 ? argv[2] : "";
    if (!first.starts_with('-') && !is_command(first)) return RefuseCommand(app, first);
    if (first != "help" || second.starts_with('-')) return std::nullopt;
    if (second.empty()) {
        std::cout << app.help();
    } else if (is_command(second)) {
        std::cout << app.get_subcommand(second)->help(app.get_name());
    } else {
        return RefuseCommand(app, second);
    }
    return 0;
}

/// Names of all options as they are typed: "--json", "-q".
std::vector<std::string> ListOptions(const CLI::App& command) {
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
        for (const std::string& name : option->get_snames()) names.push_back("-" + name);
    }
    return names;
}

/// What is wrong with the options of a command line; empty when there are no unknown ones.
std::string FindUnknownOption(const CLI::App& app) {
    const std::vector<CLI::App*> given = app.get_subcommands();
    std::vector<const CLI::App*> commands(given.begin(), given.end());
    commands.push_back(&app);
    for (const CLI::App* command : commands) {
        for (const std::string& word : command->remaining()) {
            if (word.size() < 2 || word.front() != '-' || word == "--") continue;
            const std::string name = word.substr(0, word.find('='));
            // Short option names are all similar to each other.
            const std::string nearest =
                name.starts_with("--") ? FindNearestName(name, ListOptions(*command)) : std::string();
            return "there is no option " + name + (nearest.empty() ? "" : "; did you mean " + nearest + "?");
        }
    }
    return {};
}

/// Says what is wrong with a command line, also as JSON where that is asked for, or prints the help.
int Answer(const CLI::App& app, const CLI::ParseError& error, int argc, const char* const* argv) {
    // Help is not an error; callers do not know the library's own error numbers.
    if (error.get_exit_code() == 0) return app.exit(error);
    const std::string command = argv[1];
    const bool is_command = !command.starts_with('-');
    // Other errors may follow from it: the value of a misspelt option is parsed as a positional
    // argument.
    std::string problem = FindUnknownOption(app);
    if (problem.empty()) problem = error.what();
    PrintError(problem);
    std::cerr << "iptvtest help" << (is_command ? " " + command : "") << " tells more.\n";
    const bool wants_json =
        std::any_of(argv + 1, argv + argc, [](const std::string_view word) { return word == "--json"; });
    if (!wants_json || (command != "run" && command != "validate")) return kBadInput;
    RunOutcome outcome;
    outcome.end = RunEnd::BadInput;
    outcome.mistakes.push_back(MakeCommandLineMistake("", problem));
    return PrintJson(outcome);
}

}  // namespace

std::optional<Arguments> ReadArguments(int argc, const char* const* argv, int& status) {
    Arguments arguments;
    std::string clock, level = "warn";
    std::uint64_t seed = 0;
    std::uint32_t data_set = 0;
    bool csv = false, results_json = false;

    CLI::App app(
        "Tests multicast TV networks: how long until viewers who zap see a picture, and what is lost on the "
        "way",
        "iptvtest");
    bool version = false;  // the default command
    std::string help_of;
    app.add_flag("-V,--version", version, "Print the versions of program and plug-in");
    AddRun(app, arguments, clock, level, seed);
    CLI::App* validate = app.add_subcommand("validate", "Check a test file, without running it");
    AddTestFile(*validate, arguments);
    validate->add_flag("--json", arguments.json, "Write what is wrong as JSON");
    validate->callback([&arguments] { arguments.command = Arguments::Command::Validate; });
    AddResults(app, arguments, csv, results_json, data_set);
    AddReport(app, arguments, data_set);
    AddAgent(app, arguments);
    CLI::App* explain = app.add_subcommand("explain", "Explain what test files are made of");
    explain->add_option("CLASS", arguments.class_name, "Class of objects; without it the classes are listed");
    explain->callback([&arguments] { arguments.command = Arguments::Command::Explain; });
    app.add_subcommand("schema", "Print the JSON schema of test files")->callback([&arguments] {
        arguments.command = Arguments::Command::Schema;
    });
    app.add_subcommand("version", "Print the versions of program and plug-in")->callback([&arguments] {
        arguments.command = Arguments::Command::Version;
    });

    app.add_subcommand("help", "Explain the program, or one of its commands")
        ->add_option("COMMAND", help_of, "Command to explain");
    app.footer(kFooter);  // last, because commands inherit the current footer

    if (const auto answered = AnswerFirstWord(app, argc, argv)) {
        status = *answered;
        return std::nullopt;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        status = Answer(app, error, argc, argv);
        return std::nullopt;
    }
    if (!clock.empty()) arguments.clock = kClocks.at(clock);
    const int chosen = kLevels.at(level);
    arguments.log_level.reset();
    if (chosen != 0) arguments.log_level = static_cast<framework::LogLevelType>(chosen);
    if (app.get_subcommand("run")->count("--seed") > 0) arguments.run.seed = seed;
    if (data_set > 0) arguments.results.data_set = arguments.report.data_set = data_set;
    if (csv) arguments.results.format = ResultsFormat::Csv;
    if (results_json) arguments.results.format = ResultsFormat::Json;
    return arguments;
}

}  // namespace orv::app
