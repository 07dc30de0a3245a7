// Pending events of STBs, in order of time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <vector>

#include "orv/il/time.h"

namespace orv::il {

enum class Step : std::uint32_t {
    Begin,          ///< of a view
    JoinMulticast,  ///< of a view that began with a unicast join
    End,            ///< of a view
    AskBurst,       ///< of a server, for the first time or again
    LeaveUnicast,   ///< ends the burst
    AskRepair,      ///< of lost packets
};
inline constexpr std::size_t kSteps = 6;

/// A heap whose nodes have four children: half the levels of a binary one, and the children of a node are
/// adjacent. Entries with equal times are returned in the order of the STBs, regardless of the order of
/// insertion.
class EventQueue {
  public:
    struct Entry {
        Time time;
        std::uint32_t stb;  ///< number on the port
        Step step;

        bool operator<(const Entry& other) const {
            if (time != other.time) return time < other.time;
            return std::tie(stb, step) < std::tie(other.stb, other.step);
        }
    };
    static_assert(sizeof(Entry) == 16);

    bool empty() const { return heap_.empty(); }
    /// The next one; only when there is one, as for pop().
    const Entry& first() const { return heap_.front(); }

    void push(Entry entry) {
        std::size_t at = heap_.size();
        heap_.push_back(entry);
        while (at > 0) {
            const std::size_t parent = (at - 1) / 4;
            if (!(entry < heap_[parent])) break;
            heap_[at] = heap_[parent];
            at = parent;
        }
        heap_[at] = entry;
    }

    void pop() {
        const Entry entry = heap_.back();
        heap_.pop_back();
        const std::size_t size = heap_.size();
        if (size == 0) return;
        std::size_t at = 0;
        for (std::size_t child = 1; child < size; child = 4 * at + 1) {
            const std::size_t end = std::min(child + 4, size);
            for (std::size_t other = child + 1; other < end; ++other)
                if (heap_[other] < heap_[child]) child = other;
            if (!(heap_[child] < entry)) break;
            heap_[at] = heap_[child];
            at = child;
        }
        heap_[at] = entry;
    }

    /// Removes every entry for which `is_unwanted` returns true.
    template <class Predicate>
    void erase_if(Predicate is_unwanted) {
        std::erase_if(heap_, is_unwanted);
        std::sort(heap_.begin(), heap_.end());  // a sorted array is a heap
    }

  private:
    std::vector<Entry> heap_;
};

}  // namespace orv::il
