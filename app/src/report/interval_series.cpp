#include "interval_series.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>

namespace orv::app {

namespace {

/// Of intervals that become one point of a curve.
Number MergeFigure(const std::vector<Interval>& intervals, std::size_t begin, std::size_t end,
                   std::size_t figure) {
    const IntervalFigure::Kind kind = kIntervalFigures[figure].kind;
    Number merged;
    double weights = 0;
    for (std::size_t i = begin; i < end; ++i) {
        const Number& value = intervals[i].values[figure];
        if (!value) continue;
        const double weight = std::max(1.0, intervals[i].values[0].value_or(1));
        switch (kind) {
            case IntervalFigure::Kind::Count:
                merged = merged.value_or(0) + *value;
                break;
            case IntervalFigure::Kind::Percentile:
                merged = std::max(merged.value_or(*value), *value);
                break;
            case IntervalFigure::Kind::Mean:
                merged = merged.value_or(0) + *value * weight;
                weights += weight;
        }
    }
    if (merged && kind == IntervalFigure::Kind::Mean) return *merged / weights;
    return merged;
}

}  // namespace

std::vector<Interval> ReadIntervals(const ResultsDatabase& database, std::uint32_t data_set,
                                    std::int64_t object) {
    std::vector<Interval> intervals;
    if (!database.HasTable("IptvIntervalResults")) return intervals;
    std::string columns = "Start, Duration";
    for (const IntervalFigure& figure : kIntervalFigures) columns += ", " + QuoteName(figure.column);
    ResultsQuery query(database, "SELECT " + columns +
                                     " FROM IptvIntervalResults WHERE DataSetId = @DataSetId AND ParentHnd = "
                                     "@Object ORDER BY Start, Handle");
    query.Bind("@DataSetId", std::int64_t{data_set});
    query.Bind("@Object", object);
    while (query.Next()) {
        Interval& interval = intervals.emplace_back();
        interval.start = GetNumber(query, 0).value_or(0);
        interval.duration = GetNumber(query, 1).value_or(0);
        for (std::size_t i = 0; i < interval.values.size(); ++i)
            interval.values[i] = GetNumber(query, static_cast<int>(i) + 2);
    }
    return intervals;
}

Number SumIntervals(const std::vector<Interval>& intervals, std::size_t figure) {
    return MergeFigure(intervals, 0, intervals.size(), figure);
}

PageJson MakeSeries(const std::vector<Interval>& intervals, std::size_t most) {
    const std::size_t merged = std::max<std::size_t>(1, (intervals.size() + most - 1) / most);
    PageJson series{{"merged", merged}, {"start", PageJson::array()}, {"duration", PageJson::array()}};
    std::array<std::vector<Number>, kIntervalFigures.size()> columns;
    for (std::size_t begin = 0; begin < intervals.size(); begin += merged) {
        const std::size_t end = std::min(intervals.size(), begin + merged);
        const Interval& last = intervals[end - 1];
        series["start"].push_back(ToJson(intervals[begin].start));
        series["duration"].push_back(ToJson(last.start + last.duration - intervals[begin].start));
        for (std::size_t figure = 0; figure < columns.size(); ++figure) {
            const Number value = MergeFigure(intervals, begin, end, figure);
            columns[figure].push_back(value ? Number(RoundFigure(*value)) : value);
        }
    }
    for (std::size_t figure = 0; figure < columns.size(); ++figure) {
        const auto& column = columns[figure];
        if (std::any_of(column.begin(), column.end(), [](const Number& value) { return value.has_value(); }))
            series[kIntervalFigures[figure].column] = PackColumn(column);
    }
    return series;
}

}  // namespace orv::app
