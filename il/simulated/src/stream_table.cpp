#include "stream_table.h"

#include <algorithm>
#include <bit>

namespace orv::il {

bool StreamTable::Stream::flows(Time now) const {
    // The stream was left, and ended, before its first packet: it never came.
    return members > 0 || (now < end && first < end);
}

StreamTable::StreamTable() {
    make_room(0);
}

std::size_t StreamTable::slot_of(std::uint64_t key) const {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = (key * 0x9e3779b97f4a7c15U) >> shift_;  // Fibonacci hashing: the upper bits are good
    while (slots_[slot].key != key && slots_[slot].key != kFree) slot = (slot + 1) & mask;
    return slot;
}

bool StreamTable::flows(std::uint32_t link, std::uint32_t group, Time now) const {
    return slots_[slot_of(key_of(link, group))].flows(now);
}

Time StreamTable::join(std::uint32_t link, std::uint32_t group, Time now, Time first_packet) {
    const std::uint64_t key = key_of(link, group);
    std::size_t slot = slot_of(key);
    if (slots_[slot].key == kFree) {
        if (2 * (used_ + 1) > slots_.size()) {
            make_room(now);
            slot = slot_of(key);
        }
        slots_[slot].key = key;
        ++used_;
    }
    Stream& stream = slots_[slot];
    if (!stream.flows(now)) stream.first = first_packet;
    ++stream.members;
    return stream.first;
}

bool StreamTable::leave(std::uint32_t link, std::uint32_t group, Time last_packet) {
    Stream& stream = slots_[slot_of(key_of(link, group))];
    if (--stream.members > 0) return false;
    stream.end = last_packet;
    return true;
}

void StreamTable::cut(const std::vector<bool>& groups, Time now) {
    for (Stream& stream : slots_) {
        if (stream.key != kFree && groups[static_cast<std::uint32_t>(stream.key)])
            stream.end = std::min(stream.end, now);
    }
}

/// Streams that are over make room; the table grows, or shrinks, to four times what is left.
void StreamTable::make_room(Time now) {
    std::vector<Stream> before;
    before.swap(slots_);
    std::erase_if(before, [now](const Stream& stream) { return !stream.flows(now); });
    used_ = before.size();
    slots_.resize(std::bit_ceil(std::max<std::size_t>(16, 4 * used_)));
    shift_ = 64 - std::countr_zero(slots_.size());
    for (const Stream& stream : before) slots_[slot_of(stream.key)] = stream;
}

}  // namespace orv::il
