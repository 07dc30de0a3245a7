#include "stream_table.h"

namespace orv::il {

bool StreamTable::flows(std::size_t link, std::size_t group, Time now) const {
    const Stream& stream = streams_[link * groups_ + group];
    // Left before its first packet and ended before it, too: such a stream never came.
    return stream.members > 0 || (now < stream.end && stream.first < stream.end);
}

Time StreamTable::join(std::size_t link, std::size_t group, Time now, Time first_packet) {
    Stream& stream = at(link, group);
    if (!flows(link, group, now)) stream.first = first_packet;
    ++stream.members;
    return stream.first;
}

bool StreamTable::leave(std::size_t link, std::size_t group, Time last_packet) {
    Stream& stream = at(link, group);
    if (--stream.members > 0) return false;
    stream.end = last_packet;
    return true;
}

}  // namespace orv::il
