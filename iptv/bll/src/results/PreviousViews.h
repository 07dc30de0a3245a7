// The previous view of each set-top box.
#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

namespace orv::iptv {

struct SetTopTimeStampsForMap {
    std::int64_t leave = 0;        ///< last leave of the previous view, port ticks
    std::int64_t last_packet = 0;  ///< last packet of the previous view, port ticks
};

/// The previous view of every set-top box of a test, by its number. Numbers are dense, so the views are in an
/// array; numbers beyond those of any test (a malformed message may carry them) are in a map.
class PreviousViews {
  public:
    /// All zeros on the first call for a set-top box.
    SetTopTimeStampsForMap& FindOrAdd(std::uint32_t settop) {
        if (settop < dense_.size()) return dense_[settop];
        return Insert(settop);
    }
    void Clear() {
        dense_.clear();
        others_.clear();
    }
    bool IsEmpty() const { return dense_.empty() && others_.empty(); }

  private:
    static constexpr std::uint32_t kMaxDense = 1u << 20;

    SetTopTimeStampsForMap& Insert(std::uint32_t settop) {
        if (settop >= kMaxDense) return others_[settop];
        dense_.resize(settop + std::size_t{1});
        return dense_[settop];
    }

    std::vector<SetTopTimeStampsForMap> dense_;
    std::unordered_map<std::uint32_t, SetTopTimeStampsForMap> others_;
};

}  // namespace orv::iptv
