// The report of one test, taken from its result objects.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "orv/framework/command.h"

namespace orv::app {

using Figure = std::variant<bool, std::uint64_t, double, std::string>;

/// The distribution of one latency. Times are in ms; percentiles are accurate to 1 %.
struct Distribution {
    std::string figure;  ///< "join latency"
    std::uint64_t count = 0;
    double min = 0, mean = 0, max = 0;
    double p50 = 0, p90 = 0, p95 = 0, p99 = 0, p999 = 0;
};

/// A statistic of a distribution, and its name for users: "p99.9".
struct Statistic {
    const char* name;
    double Distribution::*value;
};
inline constexpr Statistic kStatistics[] = {{"min", &Distribution::min}, {"mean", &Distribution::mean},
                                            {"max", &Distribution::max}, {"p50", &Distribution::p50},
                                            {"p90", &Distribution::p90}, {"p95", &Distribution::p95},
                                            {"p99", &Distribution::p99}, {"p99.9", &Distribution::p999}};

/// The figures of one object of the configuration.
struct ResultRow {
    std::string name;  ///< of the object with these figures
    std::vector<std::pair<std::string, Figure>>
        figures;                              ///< by name of the property, in the data model's order
    std::vector<Distribution> distributions;  ///< of the latencies that were measured

    /// 0 if there is no such name, or its value is not a number.
    double GetNumber(const std::string& figure) const;
};

/// One test of a run. `type` and `environment` are names of the data model, durations are in seconds.
struct TestReport {
    std::string name;
    std::string type;
    std::string environment;
    double duration = 0;             ///< actual
    double configured_duration = 0;  ///< as planned
    double join_fail_threshold = 0;  ///< percent
    bool passed = false;             ///< by its figures; see GetVerdict for the reported verdict
    std::vector<ResultRow> channel_ranges;
    std::vector<ResultRow> stb_blocks;
    std::vector<ResultRow> profiles;
    std::vector<ResultRow> ports;
    std::vector<Distribution> distributions;  ///< of the whole test
    std::uint32_t data_set = 0;               ///< in the results database; 0 without one

    /// The test was stopped, or lost its ports, before the end of its duration.
    bool IsCutShort() const { return duration < configured_duration; }
    /// Its channel changes begin with a unicast burst.
    bool UsesUnicast() const { return type == "FAST_CHANNEL_CHANGE" || type == "FCC_WITH_RRR"; }
    /// Lost packets are requested again.
    bool Retransmits() const { return type == "RELIABLE_RETRANSMISSION" || type == "FCC_WITH_RRR"; }
    double GetChannelChanges() const { return Sum("NumOfChannelChanges"); }
    double GetFailedJoins() const { return Sum("JoinFails") + Sum("UnicastJoinFails"); }
    /// Channel changes with a join; changes to a channel that was already joined are not counted.
    double GetNetChannelChanges() const;
    /// Failed joins of the net channel changes; 100 when there were none. A view may fail twice, by unicast
    /// and by multicast.
    double GetFailedPercent() const;

  private:
    double Sum(const std::string& figure) const;  ///< of all STB blocks
};

/// Copies the figures of the project as they are.
TestReport MakeTestReport(const framework::CCommand& start_command, bool passed);

/// Figures of the running test as a whole.
struct LiveFigures {
    double channel_changes = 0;
    double failed_joins = 0;
    double average_join_latency = 0;  ///< ms; 0 while nobody has seen a packet
};
LiveFigures GetLiveFigures();

}  // namespace orv::app
