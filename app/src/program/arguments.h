// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "agent_command.h"
#include "orv/framework/logger.h"
#include "report/report_command.h"
#include "results_viewer/show_results.h"
#include "run/session.h"

namespace orv::app {

struct Arguments {
    enum class Command { Run, Validate, Results, Report, Explain, Schema, Agent, Agents, Version };
    Command command = Command::Version;

    std::filesystem::path file;         ///< of run and validate; "-" is the standard input
    std::vector<std::string> settings;  ///< of run and validate, "NAME/Property=VALUE"
    bool quiet = false;
    bool json = false;  ///< of run, validate and agents
    std::filesystem::path junit;
    std::string metrics;         ///< of run: where to serve metrics; empty: nowhere
    std::filesystem::path page;  ///< of run: where to write the report as HTML
    RunOptions run;
    std::optional<framework::ClockKind> clock;  ///< none: as the ports need it
    std::optional<framework::LogLevelType> log_level =
        framework::LogLevelType::Warn;  ///< none: nothing is shown

    ResultsRequest results;
    ReportRequest report;
    std::string class_name;           ///< of explain; empty: all classes
    AgentArguments agent;             ///< of agent
    bus::ServerAccess agents_server;  ///< of agents
};

/// Reads a command line. For a wrong command line or a request for help, the answer
/// has been printed and the exit status is in `status`.
std::optional<Arguments> ReadArguments(int argc, const char* const* argv, int& status);

}  // namespace orv::app
