// The time series of a test and of its ports.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "packed_column.h"
#include "results_viewer/results_database.h"

namespace orv::app {

/// A column of the class IptvIntervalResults that is shown and compared.
struct IntervalFigure {
    enum class Kind { Count, Mean, Percentile };
    const char* column;
    const char* title;
    Kind kind;
};

inline constexpr std::array<IntervalFigure, 12> kIntervalFigures{{
    {"Views", "Views", IntervalFigure::Kind::Count},
    {"FailedJoins", "Failed joins", IntervalFigure::Kind::Count},
    {"Lost", "Lost packets", IntervalFigure::Kind::Count},
    {"JoinLatencyP50", "Join latency, p50", IntervalFigure::Kind::Percentile},
    {"JoinLatencyP99", "Join latency, p99", IntervalFigure::Kind::Percentile},
    {"JoinLatency", "Join latency, mean", IntervalFigure::Kind::Mean},
    {"LeaveLatency", "Leave latency, mean", IntervalFigure::Kind::Mean},
    {"ChangeLatency", "Change latency, mean", IntervalFigure::Kind::Mean},
    {"GapLatency", "Gap latency, mean", IntervalFigure::Kind::Mean},
    {"OverlapLatency", "Overlap latency, mean", IntervalFigure::Kind::Mean},
    {"UnicastJoinLatency", "Unicast join latency, mean", IntervalFigure::Kind::Mean},
    {"RetransmissionLatency", "Retransmission latency, mean", IntervalFigure::Kind::Mean},
}};

struct Interval {
    double start = 0;     ///< s, since the first join
    double duration = 0;  ///< s
    std::array<Number, kIntervalFigures.size()> values;
};

/// Those of a port or of the project, in order of time; none in older databases.
std::vector<Interval> ReadIntervals(const ResultsDatabase& database, std::uint32_t data_set,
                                    std::int64_t object);

/// Sum of a count; nothing without intervals.
Number SumIntervals(const std::vector<Interval>& intervals, std::size_t figure);

/// {"merged": intervals per point, "start": [...], "duration": [...], "Views": [...], ...}, with no more than
/// `most` points: further ones are merged. Of merged intervals counts are summed, means averaged by views,
/// and of percentiles the largest is kept. Columns without any value are left out.
PageJson MakeSeries(const std::vector<Interval>& intervals, std::size_t most);

}  // namespace orv::app
