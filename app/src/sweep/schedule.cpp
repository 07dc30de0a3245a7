#include "schedule.h"

namespace orv::app {

namespace {

std::size_t CountCombinations(const Sweep& sweep) {
    std::size_t count = 1;
    for (const SweptProperty& property : sweep.properties) count *= property.values.size();
    return count;
}

}  // namespace

SweepSchedule::SweepSchedule(const Sweep& sweep)
    : sweep_(sweep), count_(CountCombinations(sweep)), search_(count_) {}

std::vector<std::size_t> SweepSchedule::GetValues(std::size_t combination) const {
    std::vector<std::size_t> values(sweep_.properties.size());
    for (std::size_t i = values.size(); i-- > 0;) {
        const std::size_t count = sweep_.properties[i].values.size();
        values[i] = combination % count;
        combination /= count;
    }
    return values;
}

std::optional<SweepStep> SweepSchedule::GetNext() const {
    const int number = static_cast<int>(done_) + 1;
    if (!sweep_.search) {
        if (done_ == count_) return std::nullopt;
        return SweepStep{number, GetValues(done_), 1};
    }
    const auto value = search_.GetNext();
    if (!value) return std::nullopt;
    return SweepStep{number, {*value}, repetition_};
}

void SweepSchedule::Add(bool passed) {
    ++done_;
    all_passed_ &= passed;
    if (!sweep_.search) return;
    if (passed && repetition_ < sweep_.search->repetitions) {
        ++repetition_;
        return;
    }
    repetition_ = 1;
    if (const auto value = search_.GetNext()) tried_.emplace_back(*value, passed);
    search_.Add(passed);
}

bool SweepSchedule::HasPassed() const {
    return sweep_.search ? search_.GetHighest().has_value() : all_passed_;
}

}  // namespace orv::app
