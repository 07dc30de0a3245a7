#include "results/ChannelMap.h"

#include <algorithm>
#include <numeric>

namespace orv::iptv {

void ChannelMap::Clear() {
    ranges_.clear();
    table_.clear();
}

void ChannelMap::Add(std::uint32_t first, std::uint32_t last) {
    ranges_.push_back({first, last});
}

void ChannelMap::Build() {
    if (ranges_.size() <= kMaxLinearSearch) return;
    table_.assign(kChannels, kNoRange);
    // Ranges may overlap: each channel is set once, and channels that are already set are skipped.
    next_free_.resize(kChannels + 1);
    std::iota(next_free_.begin(), next_free_.end(), 0u);
    const auto find_free = [this](std::uint32_t channel) {
        while (next_free_[channel] != channel)
            channel = next_free_[channel] = next_free_[next_free_[channel]];
        return channel;
    };
    for (std::uint32_t index = 0; index < ranges_.size(); ++index) {
        const auto [first, last] = ranges_[index];
        if (first >= kChannels || first > last) continue;
        const std::uint32_t end = std::min<std::uint32_t>(last, kChannels - 1);
        for (std::uint32_t channel = find_free(first); channel <= end; channel = find_free(channel)) {
            table_[channel] = index;
            next_free_[channel] = channel + 1;
        }
    }
}

}  // namespace orv::iptv
