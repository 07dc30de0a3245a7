#include "results/IptvPortResults.h"

#include "ClassRegistration.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

using figures::Figure;
using figures::kFigures;
using figures::Merge;

namespace {

/// Calls `use` with the index of each figure of port results.
template <class Use>
void ForEachPortFigure(Use use) {
    figures::ForEachFigureOf<ids::IptvJoinLeaveResults::CLASS.GetValue()>([&use](auto number) {
        if constexpr (kFigures[number].port.id != framework::PropId()) use(number);
    });
}

}  // namespace

void CIptvPortResults::AccumResultToDataModel(const JoinLeaveSums& sums) {
    ForEachPortFigure([&](auto number) {
        constexpr const Figure& figure = kFigures[number];
        constexpr std::size_t slot = figures::kSlot<number>;
        constexpr framework::PropId property = figure.port.id;
        if constexpr (figure.merge == Merge::kCounter) {
            AddTo(*this, property, sums.counters[slot]);
        } else if constexpr (figure.merge == Merge::kTotal) {
            AddTo(*this, property, sums.totals[slot]);
        } else {
            static_assert(figure.merge == Merge::kRate, "ports have counters, totals and rates");
            constexpr framework::PropId total = kFigures[figures::FindFigure(figure.rate_of)].port.id;
            seconds_[slot] += sums.totals[slot];
            Set(property, GetRate(GetDouble(total), seconds_[slot]));
        }
    });
}

void CIptvPortResults::ResetResults() {
    ForEachPortFigure([this](auto number) {
        constexpr const Figure& figure = kFigures[number];
        if constexpr (figure.merge == Merge::kCounter) {
            Set(figure.port.id, std::uint64_t{0});
        } else {
            Set(figure.port.id, 0.0);
        }
    });
    seconds_ = {};
}

IPTV_REGISTER_CLASS(CIptvPortResults);

}  // namespace orv::iptv
