#include "results/distributions/TestDistributions.h"

namespace orv::iptv::distributions {

TestDistributions::Block& TestDistributions::FindOrMakeBlock(std::uint32_t block, std::uint32_t profile,
                                                             std::uint32_t port) {
    Block& found = blocks_[block];
    found.profile = profile;
    found.port = port;
    return found;
}

void TestDistributions::Clear() {
    log_.Discard();  // refers to what is cleared
    ranges_.clear();
    blocks_.clear();
    series_.clear();
}

TestDistributions::Sets TestDistributions::MergeBy(std::uint32_t Block::*owner) const {
    Sets sets;
    for (const auto& [handle, block] : blocks_) sets[block.*owner].Merge(block.set);
    return sets;
}

DistributionSet TestDistributions::MergeTest() const {
    DistributionSet sum;
    for (const auto& [handle, block] : blocks_) sum.Merge(block.set);
    return sum;
}

TimeSeries TestDistributions::MergeSeries() const {
    TimeSeries sum;
    for (const auto& [port, series] : series_) sum.Merge(series);
    return sum;
}

}  // namespace orv::iptv::distributions
