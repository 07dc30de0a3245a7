#include "sequence_counter.h"

#include <algorithm>

namespace orv::nic {

void SequenceCounter::begin(std::uint64_t sequence) {
    seen_.fill(0);
    begun_ = true;
    has_stray_ = false;
    lowest_ = highest_ = sequence;
    test_and_set(sequence);
}

void SequenceCounter::expect(std::uint16_t first) {
    begin((std::uint64_t{1} << 32 | first) - 1);
}

/// Whether the packet is the second one in a row that is out of reach.
bool SequenceCounter::is_restart(std::uint64_t sequence) {
    const bool follows = has_stray_ && sequence == stray_ + 1;
    has_stray_ = true;
    stray_ = sequence;
    return follows;
}

bool SequenceCounter::test_and_set(std::uint64_t sequence) {
    std::uint64_t& word = seen_[sequence % kWindow / 64];
    const std::uint64_t bit = std::uint64_t{1} << sequence % 64;
    const bool was_set = (word & bit) != 0;
    word |= bit;
    return was_set;
}

bool SequenceCounter::has(std::uint16_t sequence) const {
    const auto behind = static_cast<std::int16_t>(static_cast<std::uint16_t>(highest_) - sequence);
    if (!begun_ || behind < 0 || static_cast<std::uint64_t>(behind) >= kWindow) return false;
    const std::uint64_t number = highest_ - static_cast<std::uint64_t>(behind);
    return (seen_[number % kWindow / 64] >> number % 64 & 1) != 0;
}

void SequenceCounter::clear(std::uint64_t from, std::uint64_t to) {
    if (to - from >= kWindow) return seen_.fill(0);
    for (std::uint64_t i = from; i != to; ++i) seen_[i % kWindow / 64] &= ~(std::uint64_t{1} << i % 64);
}

std::uint64_t SequenceCounter::add(std::uint64_t sequence, il::Packets& packets) {
    return add(sequence, kMostAhead, packets);
}

std::uint64_t SequenceCounter::add(std::uint64_t sequence, std::uint64_t most_ahead, il::Packets& packets) {
    ++packets.received;
    if (!begun_) {
        begin(sequence);
        return 0;
    }
    if (sequence > highest_) {
        const std::uint64_t ahead = sequence - highest_;
        if (ahead > most_ahead) {
            if (is_restart(sequence)) begin(sequence);
            return 0;
        }
        clear(highest_ + 1, sequence + 1);
        test_and_set(sequence);
        highest_ = sequence;
        packets.lost += ahead - 1;
        has_stray_ = false;
        return ahead - 1;
    }
    const std::uint64_t behind = highest_ - sequence;
    if (behind >= kWindow) {
        if (is_restart(sequence)) {
            begin(sequence);
        } else {
            ++packets.late;
        }
        return 0;
    }
    if (test_and_set(sequence)) {
        ++packets.duplicate;
        return 0;
    }
    ++(behind < kLate ? packets.reordered : packets.late);
    // Packets sent before the first one received are not missing.
    if (sequence > lowest_) --packets.lost;
    return 0;
}

std::uint64_t SequenceCounter::add_wrapping(std::uint16_t sequence, std::uint64_t most_ahead,
                                            il::Packets& packets) {
    if (!begun_) return add(std::uint64_t{1} << 32 | sequence, packets);
    const auto ahead = static_cast<std::int16_t>(sequence - static_cast<std::uint16_t>(highest_));
    return add(highest_ + static_cast<std::uint64_t>(std::int64_t{ahead}), most_ahead, packets);
}

}  // namespace orv::nic
