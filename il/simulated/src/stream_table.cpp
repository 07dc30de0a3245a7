#include "stream_table.h"

#include <algorithm>
#include <bit>

namespace orv::il {

StreamTable::StreamTable() {
    make_room(0);
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

void StreamTable::cut(const std::vector<bool>& groups, Time now) {
    for (Stream& stream : slots_) {
        if (stream.key != kFree && groups[static_cast<std::uint32_t>(stream.key)])
            stream.end = std::min(stream.end, now);
    }
}

/// Streams that are over make room; the table grows, or shrinks, to eight times what is left.
void StreamTable::make_room(Time now) {
    std::vector<Stream> before;
    before.swap(slots_);
    std::erase_if(before, [now](const Stream& stream) { return !stream.flows(now); });
    used_ = before.size();
    slots_.resize(std::bit_ceil(std::max<std::size_t>(16, 8 * used_)));
    shift_ = 64 - std::countr_zero(slots_.size());
    for (const Stream& stream : before) slots_[slot_of(stream.key)] = stream;
}

}  // namespace orv::il
