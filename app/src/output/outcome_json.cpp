#include "outcome_json.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <string_view>

#include "output/printable.h"

namespace orv::app {

namespace {

using Json = nlohmann::ordered_json;

/// By name of the latency; without those that nothing was measured of.
Json MakeDistributions(const std::vector<Distribution>& distributions) {
    Json json = Json::object();
    for (const Distribution& distribution : distributions) {
        Json& entry = json[distribution.figure] = {{"count", distribution.count}};
        for (const Statistic& statistic : kStatistics)
            entry[std::string(statistic.name) + "_ms"] = distribution.*statistic.value;
    }
    return json;
}

/// Least, mean or greatest of a latency that no view had: the results hold 0 then, which none can be.
bool IsUnmeasured(const ResultRow& row, const std::string& figure) {
    constexpr std::size_t kPrefix = 3;  // Min, Avg, Max
    const bool is_statistic =
        figure.ends_with("Latency") &&
        (figure.starts_with("Min") || figure.starts_with("Avg") || figure.starts_with("Max"));
    return is_statistic && row.GetNumber("Max" + figure.substr(kPrefix)) == 0;
}

Json MakeRows(const std::vector<ResultRow>& rows) {
    Json list = Json::array();
    for (const ResultRow& row : rows) {
        Json entry{{"name", row.name}};
        for (const auto& [name, figure] : row.figures) {
            if (IsUnmeasured(row, name)) continue;
            std::visit([&entry, &name = name](const auto& value) { entry[name] = value; }, figure);
        }
        entry["distributions"] = MakeDistributions(row.distributions);
        list.push_back(std::move(entry));
    }
    return list;
}

/// "met" is null if not finished, "measured" if nothing was.
Json MakeExpectations(const RunOutcome& outcome, const TestReport& test) {
    Json list = Json::array();
    for (const ExpectationResult& one : test.expectations) {
        const bool is_finished = std::string_view(GetVerdict(outcome, test, one)) != "not finished";
        list.push_back({{"text", one.text},
                        {"met", is_finished ? Json(one.met) : Json()},
                        {"measured", one.measured ? Json(*one.measured) : Json()},
                        {"unit", one.unit}});
    }
    return list;
}

Json MakeTest(const RunOutcome& outcome, const TestReport& test) {
    return {{"data_set", test.data_set},
            {"name", test.name},
            {"type", test.type},
            {"environment", test.environment},
            {"duration_s", test.duration},
            {"configured_duration_s", test.configured_duration},
            {"verdict", GetVerdict(outcome, test)},
            {"expectations", MakeExpectations(outcome, test)},
            {"channel_changes", test.GetChannelChanges()},
            {"failed_joins", test.GetFailedJoins()},
            {"failed_percent", test.GetFailedPercent()},
            {"join_fail_threshold_percent", test.join_fail_threshold},
            {"distributions", MakeDistributions(test.distributions)},
            {"channel_ranges", MakeRows(test.channel_ranges)},
            {"stb_blocks", MakeRows(test.stb_blocks)},
            {"profiles", MakeRows(test.profiles)},
            {"ports", MakeRows(test.ports)}};
}

void AddUnfinished(const RunOutcome& outcome, Json& json) {
    if (const auto& test = outcome.unfinished_test) {
        json["unfinished_test"] = {{"name", test->name},
                                   {"elapsed_s", test->elapsed},
                                   {"configured_duration_s", test->configured_duration}};
    }
    if (const std::string why = GetUnfinishedReason(outcome); !why.empty()) json["unfinished_reason"] = why;
}

double ToMilliseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

Json MakeLivePort(const RunOutcome& outcome, const LivePortReport& port) {
    const nic::LiveFigures& figures = port.figures;
    Json json{{"name", port.name},
              {"interface", port.interface},
              {"joins_and_leaves", figures.joins_and_leaves},
              {"unseen", figures.unseen},
              {"late_joins", figures.late_joins},
              {"latest_join_ms", ToMilliseconds(figures.latest_join)},
              {"frames_sent", figures.frames_sent},
              {"frames_unsent", figures.frames_unsent},
              {"frames_received", figures.frames_received},
              {"frames_dropped", figures.frames_dropped},
              {"stream_packets_sent", figures.stream_packets_sent},
              {"stream_packets_unsent", figures.stream_packets_unsent}};
    if (HasBurstFigures(outcome, port)) {
        json["bursts_requested"] = figures.bursts_requested;
        json["bursts_refused"] = figures.bursts_refused;
        json["bursts_unanswered"] = figures.bursts_unanswered;
    }
    if (HasRetransmissionFigures(outcome, port)) {
        json["nacks_sent"] = figures.nacks_sent;
        json["packets_missed"] = figures.packets_missed;
        json["packets_repaired"] = figures.packets_repaired;
    }
    return json;
}

Json MakeAddressing(const AddressReport& report) {
    const auto& counts = report.counts;
    Json json{{"port", report.port},
              {"device", report.device},
              {"protocol", report.protocol},
              {"hosts", report.host_count},
              {"bound", report.CountBound()}};
    if (const auto times = report.GetTimesToBind()) {
        json["time_to_bind_s"] = {{"min", times->min}, {"mean", times->mean}, {"max", times->max},
                                  {"p50", times->p50}, {"p95", times->p95},   {"p99", times->p99}};
    }
    if (counts.all_bind_nsec > 0) json["all_bound_in_s"] = static_cast<double>(counts.all_bind_nsec) / 1e9;
    json["failures"] = Json::array();
    for (const AddressReport::Failure& failure : report.GetFailures())
        json["failures"].push_back(
            {{"why", failure.why}, {"hosts", failure.hosts}, {"first_host", failure.first}});
    for (const auto& [name, count] : {std::pair("messages_sent", counts.sent),
                                      {"answers", counts.received},
                                      {"answers_ignored", counts.ignored},
                                      {"messages_repeated", counts.repeated},
                                      {"refused", counts.refused},
                                      {"conflicts", counts.conflicts},
                                      {"renewed", counts.renewed},
                                      {"rebound", counts.rebound},
                                      {"addresses_changed", counts.changed},
                                      {"addresses_lost", counts.lost}})
        json[name] = count;
    return json;
}

void AddPlaces(const RunOutcome& outcome, Json& json) {
    for (const LivePortReport& port : outcome.live_ports)
        json["live_ports"].push_back(MakeLivePort(outcome, port));
    for (const AddressReport& report : outcome.addressing)
        json["addressing"].push_back(MakeAddressing(report));
    for (const AgentReport& agent : outcome.agents) {
        json["agents"].push_back({{"name", agent.name},
                                  {"version", agent.version},
                                  {"clock_offset_ms", ToMilliseconds(agent.clock_offset)},
                                  {"clock_uncertainty_ms", ToMilliseconds(agent.clock_uncertainty)},
                                  {"latest_start_ms", ToMilliseconds(agent.latest_start)}});
    }
}

Json MakeValues(const SweepOutcome& sweep, const std::vector<std::string>& values) {
    Json json = Json::object();
    for (std::size_t i = 0; i < values.size(); ++i) json[sweep.properties[i]] = values[i];
    return json;
}

Json MakeSweep(const SweepOutcome& sweep) {
    Json json{{"properties", sweep.properties}, {"values", Json::array()}, {"iterations", Json::array()}};
    for (const auto& values : sweep.values) json["values"].push_back(MakeValues(sweep, values));
    for (const SweepIteration& iteration : sweep.iterations) {
        const RunOutcome& run = iteration.run;
        Json entry{{"iteration", iteration.number},
                   {"values", MakeValues(sweep, iteration.values)},
                   {"seed", run.seed},
                   {"end", GetRunEndName(run.end)},
                   {"tests", Json::array()},
                   {"live_ports", Json::array()}};
        if (sweep.search) entry["repetition"] = iteration.repetition;
        for (const TestReport& test : run.tests) entry["tests"].push_back(MakeTest(run, test));
        AddUnfinished(run, entry);
        AddPlaces(run, entry);
        json["iterations"].push_back(std::move(entry));
    }
    if (!sweep.search) return json;
    json.erase("values");  // those of a search follow from its results
    Json tried = Json::array();
    for (const auto& [value, passed] : sweep.search->tried)
        tried.push_back({{"value", value}, {"passed", passed}});
    json["search"] = {{"from", sweep.search->from},
                      {"to", sweep.search->to},
                      {"repetitions", sweep.search->repetitions},
                      {"tried", tried}};
    // Null for none, missing if the search has not come to its end.
    const std::string& highest = sweep.search->highest;
    if (sweep.search->is_decided) json["highest"] = highest.empty() ? Json() : Json(highest);
    return json;
}

Json MakeMistake(const Mistake& mistake) {
    return {{"file", mistake.file},         {"line", mistake.at.line},      {"column", mistake.at.column},
            {"object", mistake.object},     {"property", mistake.property}, {"problem", mistake.problem},
            {"expected", mistake.expected}, {"nearest", mistake.nearest}};
}

Json MakeOutcome(const RunOutcome& outcome) {
    Json json{{"end", GetRunEndName(outcome.end)},
              {"exit_status", static_cast<int>(outcome.end)},
              {"title", outcome.title},
              {"seed", outcome.seed},
              {"database", outcome.database},
              {"tests", Json::array()},
              {"live_ports", Json::array()},
              {"mistakes", Json::array()},
              {"warnings", outcome.warnings},
              {"errors", outcome.errors}};
    for (const TestReport& test : outcome.tests) json["tests"].push_back(MakeTest(outcome, test));
    if (outcome.sweep) json["sweep"] = MakeSweep(*outcome.sweep);
    AddUnfinished(outcome, json);
    AddPlaces(outcome, json);
    if (!outcome.ports.empty()) json["clock"] = outcome.is_virtual_clock ? "virtual" : "real";
    for (const MeasuringPort& port : outcome.ports) {
        json["ports"].push_back(
            {{"name", port.name}, {"location", port.location}, {"kind", GetPortKindName(port.kind)}});
    }
    for (const Mistake& mistake : outcome.mistakes) json["mistakes"].push_back(MakeMistake(mistake));
    return json;
}

/// A name in the file need not be valid UTF-8.
std::string PrintText(const Json& json, int indent) {
    return MakePrintableJson(json.dump(indent, ' ', false, Json::error_handler_t::replace));
}

}  // namespace

std::string MakeOutcomeJson(const RunOutcome& outcome) {
    return PrintText(MakeOutcome(outcome), 2) + "\n";
}

std::string MakeOutcomeDetails(const RunOutcome& outcome) {
    Json json = MakeOutcome(outcome);
    json.erase("mistakes");
    json.erase("database");
    for (Json& test : json["tests"]) {
        for (const char* rows : {"distributions", "channel_ranges", "stb_blocks", "profiles", "ports"})
            test.erase(rows);
    }
    return PrintText(json, -1);
}

}  // namespace orv::app
