// Sums over the events of a batch and of a whole test: one value for each figure of a class.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "results/AccumStat.h"
#include "results/ResultProperties.h"
#include "results/distributions/TestDistributions.h"
#include "results/figures/FigureSumsFwd.h"
#include "results/figures/Figures.h"

namespace orv::iptv {

namespace figures {

/// Calls `use` with the index of each figure as a compile-time constant, so that its code is compiled per
/// figure.
template <class Use>
constexpr void ForEachFigure(Use use) {
    [&use]<std::size_t... number>(std::index_sequence<number...>) {
        (use(std::integral_constant<std::size_t, number>()), ...);
    }
    (std::make_index_sequence<kNumFigures>());
}

/// The same for the figures whose properties belong to one class.
template <std::uint32_t class_id, class Use>
constexpr void ForEachFigureOf(Use use) {
    ForEachFigure([&use](auto number) {
        if constexpr (kFigures[number].GetClass() == common::ClassId(class_id)) use(number);
    });
}

/// The durations of rates are stored as totals.
constexpr Merge StorageOf(Merge merge) {
    return merge == Merge::kRate ? Merge::kTotal : merge;
}

/// Number of figures of a class in the same array of sums, counting the first `first` rows of the table.
constexpr std::size_t CountFigures(common::ClassId class_id, Merge merge, std::size_t first = kNumFigures) {
    std::size_t count = 0;
    for (std::size_t i = 0; i < first; ++i)
        count += kFigures[i].GetClass() == class_id && StorageOf(kFigures[i].merge) == StorageOf(merge);
    return count;
}

/// A figure's index in its array of sums.
template <std::size_t number>
inline constexpr std::size_t kSlot = CountFigures(kFigures[number].GetClass(), kFigures[number].merge,
                                                  number);

/// The function that computes a figure from `Input`; nullptr if the figure needs another input.
template <std::size_t number, class Input>
constexpr auto FindTake() {
    constexpr const Take& take = kFigures[number].take;
    constexpr auto function = std::get<take.index()>(take);
    if constexpr (std::is_invocable_v<decltype(function), const Input&>) {
        return function;
    } else {
        return nullptr;
    }
}

/// The function that computes a figure's column from the event alone; nullptr if there is none.
template <std::size_t number, class AnyEvent>
constexpr auto FindRowValue() {
    constexpr const RowValue& value = kFigures[number].column.value;
    constexpr auto function = std::get<value.index()>(value);
    if constexpr (std::is_invocable_v<decltype(function), const AnyEvent&>) {
        return function;
    } else {
        return nullptr;
    }
}

/// Sets the columns that depend on the event alone.
template <class AnyEvent, class Row>
void SetColumns(const AnyEvent& ev, Row& row) {
    ForEachFigure([&](auto number) {
        constexpr auto value = FindRowValue<number, AnyEvent>();
        if constexpr (!std::is_null_pointer_v<decltype(value)>)
            row.Set(kFigures[number].column.id, value(ev));
    });
}

}  // namespace figures

/// Sums of the figures of one class.
template <std::uint32_t class_id>
struct FigureSums {
    template <figures::Merge merge, class Value>
    using Sums = std::array<Value, figures::CountFigures(class_id, merge)>;

    Sums<figures::Merge::kStatistic, CAccumStatDouble> statistics;
    Sums<figures::Merge::kTotal, double> totals{};
    Sums<figures::Merge::kCount, double> counts{};
    Sums<figures::Merge::kCounter, std::uint64_t> counters{};

    bool operator==(const FigureSums&) const = default;
    bool IsEmpty() const { return *this == FigureSums(); }

    FigureSums& operator+=(const FigureSums& other) {
        for (std::size_t i = 0; i < statistics.size(); ++i) statistics[i].accum(other.statistics[i]);
        for (std::size_t i = 0; i < totals.size(); ++i) totals[i] += other.totals[i];
        for (std::size_t i = 0; i < counts.size(); ++i) counts[i] += other.counts[i];
        for (std::size_t i = 0; i < counters.size(); ++i) counters[i] += other.counters[i];
        return *this;
    }
};

/// The figures of one class in one result: values of the batch and of the test, and their properties.
template <std::uint32_t class_id>
class FigureStore {
  public:
    using Sums = FigureSums<class_id>;

    /// Adds an input to the batch and, unless they are null, to the distributions in `sink`; sets its
    /// figures' columns in the row, unless that is null.
    template <class Input, class Row>
    void Take(const Input& input, Row* row, distributions::ViewSink* sink = nullptr) {
        figures::ForEachFigureOf<class_id>([&](auto number) {
            constexpr auto take = figures::FindTake<number, Input>();
            if constexpr (!std::is_null_pointer_v<decltype(take)>) Add<number>(take(input), row, sink);
        });
    }

    /// Merges the batch into the values of the test.
    void Accum() {
        for (std::size_t i = 0; i < batch_.statistics.size(); ++i) {
            if (batch_.statistics[i].count != 0) statistics_[i].accum(batch_.statistics[i]);
        }
        AddTotals(batch_);
    }

    /// Makes the sums of other results' batches this one's batch, and merges it.
    void SetAndAccum(const Sums& sums) {
        for (std::size_t i = 0; i < batch_.statistics.size(); ++i)
            batch_.statistics[i].accum(sums.statistics[i]);
        batch_.counts = sums.counts;
        batch_.counters = sums.counters;
        Accum();
        AddTotals(sums);
    }

    void CopyTo(framework::CScriptable& result) const {
        figures::ForEachFigureOf<class_id>([&](auto number) {
            using figures::Merge;
            constexpr const figures::Figure& figure = figures::kFigures[number];
            constexpr std::size_t slot = figures::kSlot<number>;
            constexpr framework::PropId property = figure.properties[0];
            if constexpr (figure.merge == Merge::kStatistic) {
                SetStat(result, {property, figure.properties[1], figure.properties[2]}, statistics_[slot]);
            } else if constexpr (figure.merge == Merge::kTotal) {
                result.Set(property, totals_[slot]);
            } else if constexpr (figure.merge == Merge::kRate) {
                constexpr std::size_t total = figures::kSlot<figures::FindFigure(figure.rate_of)>;
                result.Set(property, GetRate(totals_[total], totals_[slot]));
            } else if constexpr (figure.merge == Merge::kCount) {
                AddTo(result, property, batch_.counts[slot]);
            } else {
                AddTo(result, property, batch_.counters[slot]);
            }
        });
    }

    void ClearBatch() { batch_ = {}; }
    void Clear() { *this = {}; }
    const Sums& GetBatch() const { return batch_; }

  private:
    template <std::size_t number, class Value, class Row>
    void Add(Value value, Row* row, distributions::ViewSink* sink) {
        using figures::Merge;
        constexpr const figures::Figure& figure = figures::kFigures[number];
        constexpr std::size_t slot = figures::kSlot<number>;
        if constexpr (figure.merge == Merge::kStatistic) {
            if (!value) return;
            batch_.statistics[slot].addStat(*value);
            if constexpr (figure.distribution != distributions::Latency::kNone) {
                if (sink) sink->Add(figure.distribution, *value);
            }
            SetColumn<number>(*value, row);
        } else {
            if constexpr (figures::StorageOf(figure.merge) == Merge::kTotal) {
                batch_.totals[slot] += value;
            } else if constexpr (figure.merge == Merge::kCount) {
                batch_.counts[slot] += value;
            } else {
                batch_.counters[slot] += value;
            }
            if constexpr (figure.interval != distributions::IntervalCounter::kNone) {
                if (sink) sink->Count(figure.interval, value);
            }
            SetColumn<number>(value, row);
        }
    }

    template <std::size_t number, class Value, class Row>
    static void SetColumn(Value value, Row* row) {
        constexpr const figures::Column& column = figures::kFigures[number].column;
        if constexpr (column.id != framework::PropId() &&
                      std::holds_alternative<std::monostate>(column.value)) {
            if (row) row->Set(column.id, value);
        }
    }

    void AddTotals(const Sums& sums) {
        for (std::size_t i = 0; i < totals_.size(); ++i) totals_[i] += sums.totals[i];
    }

    Sums batch_;
    decltype(Sums::statistics) statistics_;  ///< of the test
    decltype(Sums::totals) totals_{};
};

}  // namespace orv::iptv
