#include "mann_whitney.h"

#include <algorithm>
#include <boost/math/distributions/normal.hpp>
#include <cmath>
#include <numeric>
#include <utility>

namespace orv::app {

MannWhitney TestMannWhitney(const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<std::pair<double, bool>> all;  // and whether the value is of the first sample
    all.reserve(a.size() + b.size());
    for (const double value : a) all.emplace_back(value, true);
    for (const double value : b) all.emplace_back(value, false);
    std::sort(all.begin(), all.end());

    double rank_sum = 0, ties = 0;  // ties: the sum of t^3 - t
    for (auto first = all.begin(); first != all.end();) {
        const auto last =
            std::find_if(first, all.end(), [first](const auto& next) { return next.first != first->first; });
        const double count = static_cast<double>(last - first);
        // Equal values share the mean of their ranks, which count from 1.
        const double rank = static_cast<double>(first - all.begin()) + (count + 1) / 2;
        const auto of_a = std::count_if(first, last, [](const auto& value) { return value.second; });
        rank_sum += rank * static_cast<double>(of_a);
        ties += count * count * count - count;
        first = last;
    }
    const double m = static_cast<double>(a.size()), n = static_cast<double>(b.size()), total = m + n;
    MannWhitney result;
    result.u = rank_sum - m * (m + 1) / 2;
    const double variance = m * n / 12 * (total + 1 - ties / (total * (total - 1)));
    if (!(variance > 0)) return result;
    const double distance = std::max(0.0, std::fabs(result.u - m * n / 2) - 0.5);
    const boost::math::normal normal;
    result.p = std::min(1.0, 2 * cdf(complement(normal, distance / std::sqrt(variance))));
    return result;
}

std::vector<double> AdjustByHolm(const std::vector<double>& p) {
    std::vector<std::size_t> order(p.size());
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [&p](std::size_t a, std::size_t b) { return p[a] < p[b]; });
    std::vector<double> adjusted(p.size());
    double greatest = 0;
    for (std::size_t i = 0; i < order.size(); ++i) {
        greatest = std::max(greatest, std::min(1.0, static_cast<double>(order.size() - i) * p[order[i]]));
        adjusted[order[i]] = greatest;
    }
    return adjusted;
}

}  // namespace orv::app
