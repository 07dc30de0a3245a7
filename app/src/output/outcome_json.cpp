#include "outcome_json.h"

#include <chrono>
#include <nlohmann/json.hpp>

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

Json MakeRows(const std::vector<ResultRow>& rows) {
    Json list = Json::array();
    for (const ResultRow& row : rows) {
        Json entry{{"name", row.name}};
        for (const auto& [name, figure] : row.figures)
            std::visit([&entry, &name = name](const auto& value) { entry[name] = value; }, figure);
        entry["distributions"] = MakeDistributions(row.distributions);
        list.push_back(std::move(entry));
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

Json MakeLivePort(const RunOutcome& outcome, const LivePortReport& port) {
    const nic::LiveFigures& figures = port.figures;
    Json json{{"name", port.name},
              {"interface", port.interface},
              {"joins_and_leaves", figures.joins_and_leaves},
              {"unseen", figures.unseen},
              {"late_joins", figures.late_joins},
              {"latest_join_ms", std::chrono::duration<double, std::milli>(figures.latest_join).count()},
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
    if (const auto& test = outcome.unfinished_test) {
        json["unfinished_test"] = {{"name", test->name},
                                   {"elapsed_s", test->elapsed},
                                   {"configured_duration_s", test->configured_duration}};
    }
    if (const std::string why = GetUnfinishedReason(outcome); !why.empty()) json["unfinished_reason"] = why;
    for (const LivePortReport& port : outcome.live_ports)
        json["live_ports"].push_back(MakeLivePort(outcome, port));
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
