// Records of a message, decoded a few at a time where they are used.
#pragma once

#include <algorithm>
#include <cstddef>
#include <span>
#include <vector>

namespace orv::msgset {

/// A list of records. Packed rows stay in the message, which must outlive the list, and are decoded while the
/// list is walked, into memory that stays in the cache: a vector of all records of a large notification costs
/// more time than all else that is done with them. Whatever may be malformed is decoded when the list is
/// read, so that walking it cannot fail.
template <class Record>
class Packed_records {
  public:
    using Load = void (*)(const std::byte* rows, std::size_t count, Record* records);
    /// Memory for records in use, to be kept from one call to the next.
    using Buffer = std::vector<Record>;

    Packed_records() = default;
    /// Records that lie in memory already, and stay there.
    Packed_records(const std::vector<Record>& records)  // NOLINT: a list of records is what both are
        : loose_(records) {
        add_loose(records.size());
    }
    Packed_records(Packed_records&&) noexcept = default;
    Packed_records& operator=(Packed_records&&) noexcept = default;

    void add_rows(const std::byte* rows, std::size_t row_size, std::size_t count, Load load) {
        segments_.push_back({size_, count, load, rows, row_size, 0});
        size_ += count;
    }
    /// Takes the records that belong where the next ones are added.
    void add_decoded(std::vector<Record> records) {
        add_loose(records.size());
        decoded_.insert(decoded_.end(), records.begin(), records.end());
        loose_ = decoded_;
    }

    std::size_t size() const { return size_; }

    /// Calls `use` with each of `count` records from number `first` on, in order.
    template <class Use>
    void for_each(std::size_t first, std::size_t count, Buffer& buffer, Use use) const {
        auto segment = std::ranges::upper_bound(segments_, first, {}, &Segment::first);
        if (segment != segments_.begin()) --segment;
        for (; segment != segments_.end() && count > 0; ++segment) {
            const std::size_t skipped = std::min(first - segment->first, segment->count);
            const std::size_t used = std::min(count, segment->count - skipped);
            first += used;
            count -= used;
            if (segment->load) {
                walk_rows(*segment, skipped, used, buffer, use);
            } else {
                std::for_each_n(loose_.data() + segment->first_loose + skipped, used, use);
            }
        }
    }

  private:
    /// Few enough for the first-level cache, together with their rows.
    static constexpr std::size_t kAtOnce = 32;
    static constexpr std::size_t kCacheLine = 64;

    struct Segment {
        std::size_t first;  ///< number of its first record
        std::size_t count;
        Load load;  ///< null: of loose_
        const std::byte* rows;
        std::size_t row_size;
        std::size_t first_loose;  ///< where in loose_
    };

    void add_loose(std::size_t count) {
        segments_.push_back({size_, count, nullptr, nullptr, 0, loose_count_});
        size_ += count;
        loose_count_ += count;
    }
    template <class Use>
    static void walk_rows(const Segment& segment, std::size_t first, std::size_t count, Buffer& buffer,
                          Use& use) {
        if (buffer.size() < std::min(count, kAtOnce)) buffer.resize(std::min(count, kAtOnce));
        const std::byte* rows = segment.rows + first * segment.row_size;
        while (count > 0) {
            const std::size_t now = std::min(count, kAtOnce);
            segment.load(rows, now, buffer.data());
            rows += now * segment.row_size;
            count -= now;
            // The next ones arrive while these are used: a large notification is not in any cache.
            const std::size_t ahead = std::min(count, kAtOnce) * segment.row_size;
            for (std::size_t i = 0; i < ahead; i += kCacheLine) __builtin_prefetch(rows + i);
            std::for_each_n(buffer.data(), now, use);
        }
    }

    std::vector<Segment> segments_;
    std::span<const Record> loose_;  ///< of all segments that are not rows
    std::vector<Record> decoded_;
    std::size_t size_ = 0;
    std::size_t loose_count_ = 0;
};

}  // namespace orv::msgset
