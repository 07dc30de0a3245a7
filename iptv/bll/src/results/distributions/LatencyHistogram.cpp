#include "results/distributions/LatencyHistogram.h"

#include <fmt/format.h>

#include <iterator>

#include "results/IlTimestamp.h"

namespace orv::iptv::distributions {

std::uint16_t LatencyHistogram::MakeChunk(std::uint32_t index) {
    // Exactly what is needed: there are many histograms, and each grows a few times only.
    counts_.reserve(counts_.size() + kChunk);
    counts_.resize(counts_.size() + kChunk);
    return chunks_[index] = static_cast<std::uint16_t>(counts_.size() / kChunk);
}

void LatencyHistogram::Count(double ms) {
    const std::uint32_t bucket = LatencyBuckets::Find(ms);
    std::uint16_t chunk = chunks_[bucket / kChunk];
    if (chunk == 0) chunk = MakeChunk(bucket / kChunk);
    ++counts_[(chunk - std::size_t{1}) * kChunk + bucket % kChunk];
    sum_ += ms;
    min_ = std::min(min_, ms);
    max_ = std::max(max_, ms);
}

void LatencyHistogram::Settle() {
    for (std::uint32_t i = 0; i < num_waiting_; ++i) Count(TicksToMs(waiting_[i]));
    num_waiting_ = 0;
}

void LatencyHistogram::Merge(const LatencyHistogram& other) {
    for (std::uint32_t i = 0; i < kChunks; ++i) {
        if (other.chunks_[i] == 0) continue;
        if (chunks_[i] == 0) MakeChunk(i);
        const std::uint64_t* from = &other.counts_[(other.chunks_[i] - std::size_t{1}) * kChunk];
        std::uint64_t* to = &counts_[(chunks_[i] - std::size_t{1}) * kChunk];
        for (std::uint32_t j = 0; j < kChunk; ++j) to[j] += from[j];
    }
    sum_ += other.sum_;
    min_ = std::min(min_, other.min_);
    max_ = std::max(max_, other.max_);
}

std::uint64_t LatencyHistogram::GetCount() const {
    std::uint64_t count = 0;
    for (const std::uint64_t in_bucket : counts_) count += in_bucket;
    return count;
}

double LatencyHistogram::GetMean() const {
    const std::uint64_t count = GetCount();
    return count == 0 ? 0.0 : sum_ / static_cast<double>(count);
}

double LatencyHistogram::GetPercentile(std::uint32_t permille) const {
    const std::uint64_t count = GetCount();
    // Divided first: the product might not fit.
    const std::uint64_t rank = count / 1000 * permille + (count % 1000 * permille + 999) / 1000;
    double value = 0;
    std::uint64_t so_far = 0;
    ForEachBucket([&](std::uint32_t bucket, std::uint64_t in_bucket) {
        value = std::clamp(LatencyBuckets::GetMiddle(bucket), min_, max_);
        so_far += in_bucket;
        return so_far < rank;
    });
    return value;
}

std::string LatencyHistogram::ToJson() const {
    std::string json = "[";
    ForEachBucket([&json](std::uint32_t bucket, std::uint64_t count) {
        fmt::format_to(std::back_inserter(json), "{}[{},{}]", json.size() > 1 ? "," : "", bucket, count);
        return true;
    });
    return json + "]";
}

}  // namespace orv::iptv::distributions
