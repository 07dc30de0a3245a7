// Description of a figure of the results.
#pragma once

#include <cstdint>
#include <variant>

#include "orv/common/ids.h"
#include "results/distributions/Latency.h"
#include "results/figures/Measures.h"
#include "results/views/When.h"

namespace orv::iptv::figures {

using common::ClassId;
using common::PropId;

/// How values of events are merged.
enum class Merge : std::uint8_t {
    kStatistic,  ///< minimum, average and maximum; 0 without values
    kTotal,      ///< sum
    kRate,       ///< a total divided by the sum of the values (s); 0 while that sum is 0
    kCount,      ///< sum, added to the property batch by batch
    kCounter     ///< the same with integers
};

template <class Input>
using MeasureOf = Measure (*)(const Input&);
template <class Input>
using NumberOf = double (*)(const Input&);
template <class Input>
using CounterOf = std::uint64_t (*)(const Input&);
template <class Input>
using ConditionOf = bool (*)(const Input&);

/// Computes a figure from an event: an optional measure, a number, or 1 if a condition is true.
using Take = std::variant<MeasureOf<ChannelView>, NumberOf<ChannelView>, CounterOf<ChannelView>,
                          ConditionOf<ChannelView>, MeasureOf<ChannelChange>, ConditionOf<ChannelChange>,
                          MeasureOf<Retransmission>, ConditionOf<Retransmission>>;

/// Value of a row's column that depends on the event alone.
using RowValue =
    std::variant<std::monostate, ConditionOf<Event>, CounterOf<Event>, CounterOf<Retransmission>>;

/// The figure's column in event rows.
struct Column {
    PropId id{};
    RowValue value{};  ///< monostate: the value of the figure
    int place = 0;     ///< position among all columns of the view
    views::Title titles[2]{};
};

/// The figure in port results. Figures with the same property are added up there.
struct PortProperty {
    PropId id{};
    int place = 0;  ///< position among all columns of the view
    const char* title = nullptr;
};

/// How much each count of the figure adds to the two numbers that decide the verdict.
struct VerdictShare {
    int channel_changes = 0;
    int failed_joins = 0;
};

struct Figure {
    Merge merge;
    /// Minimum, average and maximum of a statistic, otherwise one property. All result classes with the
    /// properties have the figure. Figures of JoinLeaveResults are computed per channel range, and rolled up
    /// to set-top-box block and profile; others are computed per block, and rolled up to the profile if its
    /// results have them.
    PropId properties[3];
    Take take;
    PropId rate_of{};  ///< total that the rate divides; earlier in the table
    views::Title titles[2]{};
    bool average_before_maximum = false;  ///< order of columns in views
    PortProperty port{};
    VerdictShare verdict{};
    Column column{};
    /// Of a statistic: the latency whose distribution its values are.
    distributions::Latency distribution = distributions::Latency::kNone;
    /// Of a count: the counter of the time series to which it adds.
    distributions::IntervalCounter interval = distributions::IntervalCounter::kNone;

    constexpr ClassId GetClass() const { return properties[0].GetClassId(); }
};

}  // namespace orv::iptv::figures
