// "iptvtest agents": who is there.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <future>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>

#include "agents/controller/clock_offset.h"
#include "agents/protocol/requests.h"
#include "orv/bus/names.h"
#include "output/printable.h"
#include "output/text_table.h"
#include "program/agent_command.h"
#include "program/server_options.h"
#include "program_version.h"
#include "reports.h"
#include "run/run_outcome.h"

namespace orv::app {

namespace {

constexpr std::chrono::milliseconds kDiscovery{1'000}, kAgentPatience{2'000};
constexpr int kSamples = 8;
/// More names than that were not given by agents.
constexpr std::size_t kMostAgents = 1'000;
constexpr std::size_t kAskedAtOnce = 32;

struct FoundAgent {
    std::string name, version, misfit;
    AgentInfo info;
    ClockOffset system_clock;
};

std::string MakeRequest(ControlRequest::Operation operation) {
    ControlRequest request;
    request.operation = operation;
    request.program = kProgramVersion;
    return ToJson(request);
}

std::string_view GetAnswerText(const std::vector<std::byte>& data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

/// Names that somebody gave. Whether it is true shows when the name's own subject is asked.
std::set<std::string> FindNames(bus::Connection& connection) {
    const std::string request = MakeRequest(ControlRequest::Operation::Info);
    std::set<std::string> names;
    for (const auto& data :
         connection.request_all(bus::discovery_subject(), std::as_bytes(std::span(request)), kDiscovery,
                                bus::kAnswersToDiscovery)) {
        try {
            const ControlAnswer answer = ReadControlAnswer(GetAnswerText(data));
            if (bus::find_name_problem(answer.name).empty() && names.size() < kMostAgents)
                names.insert(answer.name);
        } catch (const ProtocolError&) {  // no agent
        }
    }
    return names;
}

bool AskAgent(bus::Connection& connection, FoundAgent& agent, ControlRequest::Operation operation) {
    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::nanoseconds>(
            std::chrono::system_clock::now().time_since_epoch());
    };
    const std::string request = MakeRequest(operation);
    const auto asked = now();
    const bus::Answer data =
        connection.request(bus::control_subject(agent.name), std::as_bytes(std::span(request)),
                           kAgentPatience, bus::answers_of_agent(agent.name));
    const auto answered = now();
    if (data.status != bus::Answer::Status::Answered) return false;
    try {
        const ControlAnswer answer = ReadControlAnswer(GetAnswerText(data.data));
        agent.version = answer.program;
        agent.misfit = FindVersionProblem("it", answer.protocol, answer.program);
        if (!agent.misfit.empty()) return true;
        if (!answer.error.empty()) throw ProtocolError(answer.error);
        if (answer.info) agent.info = *answer.info;
        agent.system_clock.Add(asked, answered, answer.system_time);
    } catch (const ProtocolError& error) {
        agent.misfit = error.what();
    }
    return true;
}

std::optional<FoundAgent> AskForAll(bus::Connection& connection, const std::string& name) {
    FoundAgent agent{name, {}, {}, {}, {}};
    if (!AskAgent(connection, agent, ControlRequest::Operation::Info)) return {};
    for (int i = 0; i < kSamples && agent.misfit.empty(); ++i)
        AskAgent(connection, agent, ControlRequest::Operation::Time);
    return agent;
}

/// Some at the same time: they may be far away, or not answer.
std::vector<FoundAgent> FindAgents(bus::Connection& connection) {
    const std::set<std::string> names = FindNames(connection);
    std::vector<FoundAgent> agents;
    for (auto name = names.begin(); name != names.end();) {
        std::vector<std::future<std::optional<FoundAgent>>> asked;
        for (; name != names.end() && asked.size() < kAskedAtOnce; ++name)
            asked.push_back(std::async(std::launch::async,
                                       [&connection, name = *name] { return AskForAll(connection, name); }));
        for (auto& answer : asked)
            if (auto agent = answer.get()) agents.push_back(std::move(*agent));
    }
    return agents;
}

double GetMilliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

std::string DescribeAgentInterface(const AgentInterface& interface) {
    if (!interface.is_up) return interface.name + " (down)";
    return fmt::format("{} ({:g} Gbit/s)", interface.name, interface.line_rate / 1e9);
}

std::string MakeAgentsTable(const std::vector<FoundAgent>& agents) {
    using Align = TextTable::Align;
    TextTable table({{"Agent"},
                     {"Version"},
                     {"State"},
                     {"Interfaces"},
                     {"Simulated"},
                     {"Load", Align::Right},
                     {"Clock (ms)", Align::Right}});
    for (const FoundAgent& agent : agents) {
        if (!agent.misfit.empty()) {
            table.AddRow({agent.name, MakePrintable(agent.version), MakePrintable(agent.misfit)});
            continue;
        }
        std::vector<std::string> interfaces;
        for (const AgentInterface& interface : agent.info.interfaces)
            interfaces.push_back(DescribeAgentInterface(interface));
        const ClockOffset::Estimate clock = agent.system_clock.Get();
        table.AddRow({agent.name, MakePrintable(agent.version),
                      agent.info.holder.empty() ? "free" : MakePrintable("in use by " + agent.info.holder),
                      MakePrintable(fmt::format("{}", fmt::join(interfaces, ", "))),
                      agent.info.is_simulated ? "yes" : "no", fmt::format("{:.2f}", agent.info.load),
                      fmt::format("{:+.3f} ± {:.3f}", GetMilliseconds(clock.offset),
                                  GetMilliseconds(clock.GetUncertainty()))});
    }
    return table.ToString();
}

std::string MakeAgentsJson(const std::vector<FoundAgent>& agents) {
    using Json = nlohmann::ordered_json;
    Json json = Json::array();
    for (const FoundAgent& agent : agents) {
        Json entry{{"name", agent.name}, {"version", agent.version}};
        if (!agent.misfit.empty()) {
            entry["misfit"] = agent.misfit;
            json.push_back(std::move(entry));
            continue;
        }
        entry["holder"] = agent.info.holder.empty() ? Json() : Json(agent.info.holder);
        entry["interfaces"] = Json::array();
        for (const AgentInterface& interface : agent.info.interfaces)
            entry["interfaces"].push_back(
                {{"name", interface.name}, {"line_rate", interface.line_rate}, {"up", interface.is_up}});
        entry["simulated"] = agent.info.is_simulated;
        entry["load_per_core"] = agent.info.load;
        const ClockOffset::Estimate clock = agent.system_clock.Get();
        entry["clock_offset_ms"] = GetMilliseconds(clock.offset);
        entry["clock_uncertainty_ms"] = GetMilliseconds(clock.GetUncertainty());
        json.push_back(std::move(entry));
    }
    return MakePrintableJson(json.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace

int ListAgents(const bus::ServerAccess& access, bool json) {
    WarnIfExposed(access);
    try {
        bus::ServerAccess ours = access;
        ours.inbox_prefix = bus::kInboxPrefixOfControllers;
        bus::Connection connection(ours, "iptvtest agents", {});
        const std::vector<FoundAgent> agents = FindAgents(connection);
        if (json) {
            std::cout << MakeAgentsJson(agents);
        } else if (agents.empty()) {
            std::cerr << "There are no agents.\n";
        } else {
            std::cout << MakeAgentsTable(agents);
        }
    } catch (const bus::BusError& error) {
        PrintError(error.what());
        return static_cast<int>(RunEnd::Failure);
    }
    return 0;
}

}  // namespace orv::app
