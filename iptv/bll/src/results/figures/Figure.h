// What is to be said of a figure of the results.
#pragma once

#include <cstdint>
#include <variant>

#include "orv/common/ids.h"
#include "results/figures/Measures.h"
#include "results/views/When.h"

namespace orv::iptv::figures {

using common::ClassId;
using common::PropId;

/// How the values of events become one.
enum class Merge : std::uint8_t {
    kStatistic,  ///< minimum, average and maximum; nothing to show is 0
    kTotal,      ///< their sum
    kRate,       ///< a total over the sum of the values (s); 0 while that is 0
    kCount,      ///< their sum, added to the property batch by batch
    kCounter     ///< the same of whole numbers
};

template <class Input>
using MeasureOf = Measure (*)(const Input&);
template <class Input>
using NumberOf = double (*)(const Input&);
template <class Input>
using CounterOf = std::uint64_t (*)(const Input&);
template <class Input>
using ConditionOf = bool (*)(const Input&);

/// From an event: a measure that it may lack, a number, or 1 for a condition that holds.
using Take = std::variant<MeasureOf<ChannelView>, NumberOf<ChannelView>, CounterOf<ChannelView>,
                          ConditionOf<ChannelView>, MeasureOf<ChannelChange>, ConditionOf<ChannelChange>,
                          MeasureOf<Retransmission>, ConditionOf<Retransmission>>;

/// What a row says by its event alone.
using RowValue =
    std::variant<std::monostate, ConditionOf<Event>, CounterOf<Event>, CounterOf<Retransmission>>;

/// The figure in the row of an event.
struct Column {
    PropId id{};
    RowValue value{};  ///< nothing: what is taken for the figure
    int place = 0;     ///< among all columns of the view
    views::Title titles[2]{};
};

/// The figure in the results of a port. Figures that share the property add up in it.
struct PortProperty {
    PropId id{};
    int place = 0;  ///< among all columns of the view
    const char* title = nullptr;
};

/// What one of it adds to the numbers that the verdict is made of.
struct VerdictShare {
    int channel_changes = 0;
    int failed_joins = 0;
};

struct Figure {
    Merge merge;
    /// Of a statistic: minimum, average, maximum; otherwise one. Each result whose class has the properties
    /// has the figure: those of JoinLeaveResults are taken by the range of the channel and go up to the
    /// set-top-box block and its profile; the others are taken by the block, and those that a profile has go
    /// up to it.
    PropId properties[3];
    Take take;
    PropId rate_of{};  ///< the total that a rate is of, before it in the table
    views::Title titles[2]{};
    bool average_before_maximum = false;  ///< in views
    PortProperty port{};
    VerdictShare verdict{};
    Column column{};

    constexpr ClassId GetClass() const { return properties[0].GetClassId(); }
};

}  // namespace orv::iptv::figures
