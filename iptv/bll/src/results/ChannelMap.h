// Finds the range of a block that contains a channel.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace orv::iptv {

/// Built for the ranges of one block; the first range that contains a channel wins. Clear keeps the memory
/// for reuse.
class ChannelMap {
  public:
    static constexpr std::size_t kNone = SIZE_MAX;

    void Clear();
    /// Ranges are numbered from 0 in the order of calls. Both ends are inclusive; channels above 65535 cannot
    /// be viewed.
    void Add(std::uint32_t first, std::uint32_t last);
    /// Call after the last Add.
    void Build();

    std::size_t Find(std::uint16_t channel) const {
        if (!table_.empty()) {
            const std::uint32_t index = table_[channel];
            return index == kNoRange ? kNone : index;
        }
        for (std::size_t i = 0; i < ranges_.size(); ++i) {
            if (ranges_[i].first <= channel && channel <= ranges_[i].last) return i;
        }
        return kNone;
    }

  private:
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };
    static constexpr std::size_t kChannels = 65536;
    static constexpr std::uint32_t kNoRange = UINT32_MAX;
    /// Up to this many ranges, linear search is faster than a table.
    static constexpr std::size_t kMaxLinearSearch = 8;

    std::vector<Range> ranges_;
    std::vector<std::uint32_t> table_;  ///< by channel
    std::vector<std::uint32_t> next_free_;
};

}  // namespace orv::iptv
