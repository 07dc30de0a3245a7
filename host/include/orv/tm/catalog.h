// The table of member names that a message can carry once for all of its structs.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

namespace orv::tm {

/// An ordered set of distinct strings. While it is off, `note` does nothing, so that building a message with
/// the catalog off costs nothing.
template <class String>
class Tm_catalog {
  public:
    bool enabled() const { return enabled_; }
    void enable(bool on) { enabled_ = on; }

    void note(std::string_view text) {
        if (enabled_ && !index_.contains(text)) {
            index_.emplace(text, entries_.size());
            entries_.emplace_back(text);
        }
    }

    /// Position of a noted string, or -1.
    int find(const String& text) const {
        auto it = index_.find(text);
        return it == index_.end() ? -1 : static_cast<int>(it->second);
    }

    const std::vector<String>& entries() const { return entries_; }
    void clear() {
        entries_.clear();
        index_.clear();
    }

  private:
    bool enabled_ = false;
    std::vector<String> entries_;
    std::map<String, std::size_t, std::less<>>
        index_;  // names come from peers, who could choose colliding hashes
};

}  // namespace orv::tm
