// Pending events of STBs, in order of time.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
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

/// Entries with equal times are returned in the order of the STBs, regardless of the order of insertion.
///
/// Most delays of an STB's schedule are the same for all STBs, so that the events of one step are mostly
/// added in the order in which they are due. Those wait in a queue per step, which costs next to nothing; the
/// others in a heap.
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
        bool operator==(const Entry&) const = default;
    };
    static_assert(sizeof(Entry) == 16);

    bool empty() const { return front_ == kNowhere; }
    /// The next one; only when there is one, as for pop().
    const Entry& first() const { return first_of(front_); }

    void push(Entry entry) {
        Line& line = lines_[static_cast<std::size_t>(entry.step)];
        if (line.empty() || !(entry < line.last())) {
            const bool is_first = line.empty();
            line.push(entry);
            if (is_first) find_front();
        } else {
            heap_.push(entry);
            if (heap_.first() == entry) find_front();
        }
    }

    void pop() {
        if (front_ == kHeap) {
            heap_.pop();
        } else {
            lines_[front_].pop();
        }
        if (is_empty(front_) || !(first_of(front_) < second_)) find_front();
    }

    /// Removes every entry for which `is_unwanted` returns true.
    template <class Predicate>
    void erase_if(Predicate is_unwanted) {
        for (Line& line : lines_) line.erase_if(is_unwanted);
        heap_.erase_if(is_unwanted);
        find_front();
    }

  private:
    /// Entries in the order in which they are due.
    class Line {
      public:
        bool empty() const { return begin_ == entries_.size(); }
        const Entry& first() const { return entries_[begin_]; }
        const Entry& last() const { return entries_.back(); }
        void push(Entry entry) {
            // Room at the front is reused once it is as large as what waits.
            if (entries_.size() == entries_.capacity() && begin_ > entries_.size() / 2) drop_taken();
            entries_.push_back(entry);
        }
        void pop() {
            if (++begin_ == entries_.size()) drop_taken();
        }
        template <class Predicate>
        void erase_if(Predicate is_unwanted) {
            drop_taken();
            std::erase_if(entries_, is_unwanted);
        }

      private:
        void drop_taken() {
            entries_.erase(entries_.begin(), entries_.begin() + static_cast<std::ptrdiff_t>(begin_));
            begin_ = 0;
        }

        std::vector<Entry> entries_;
        std::size_t begin_ = 0;  ///< those before it were taken
    };

    /// Nodes have four children: half the levels of a binary heap, and the children of a node are adjacent.
    class Heap {
      public:
        bool empty() const { return heap_.empty(); }
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

        template <class Predicate>
        void erase_if(Predicate is_unwanted) {
            std::erase_if(heap_, is_unwanted);
            std::sort(heap_.begin(), heap_.end());  // a sorted array is a heap
        }

      private:
        std::vector<Entry> heap_;
    };

    static constexpr std::size_t kHeap = kSteps;  ///< after the lines
    static constexpr std::size_t kNowhere = kSteps + 1;
    static constexpr Entry kLast{std::numeric_limits<Time>::max(), UINT32_MAX, Step::AskRepair};

    bool is_empty(std::size_t place) const { return place == kHeap ? heap_.empty() : lines_[place].empty(); }
    const Entry& first_of(std::size_t place) const {
        return place == kHeap ? heap_.first() : lines_[place].first();
    }
    void find_front() {
        front_ = kNowhere;
        second_ = kLast;
        Entry first = kLast;
        for (std::size_t place = 0; place <= kHeap; ++place) {
            if (is_empty(place)) continue;
            const Entry& entry = first_of(place);
            if (front_ == kNowhere || entry < first) {
                second_ = first;
                first = entry;
                front_ = place;
            } else if (entry < second_) {
                second_ = entry;
            }
        }
    }

    std::array<Line, kSteps> lines_;  ///< by step
    Heap heap_;
    std::size_t front_ = kNowhere;  ///< where the first entry is
    Entry second_ = kLast;          ///< the first one of all other places
};

}  // namespace orv::il
