#include "lab_server/outbox.h"

#include <algorithm>

namespace orv::lab {

Outbox::Outbox(const History& history, bool twice) : history_(history), twice_(twice), ring_(1024) {}

Outgoing& Outbox::Add(Nanoseconds time) {
    if (count_ == ring_.size()) {
        std::rotate(ring_.begin(), ring_.begin() + static_cast<std::ptrdiff_t>(first_), ring_.end());
        first_ = 0;
        ring_.resize(ring_.size() * 2);
    }
    Outgoing& added = at(count_++);
    added.time = time;
    added.packet = 0;
    added.payload_size = 0;
    return added;
}

void Outbox::Send(PacketPort& port, Nanoseconds now) {
    constexpr std::size_t kBatch = 128;
    std::array<std::array<iovec, 2>, kBatch> pieces;
    std::array<mmsghdr, kBatch> messages;
    while (count_ > 0 && at(0).time <= now) {
        std::size_t filled = 0;
        std::size_t taken = 0;
        for (; taken < count_ && filled + 2 <= kBatch && at(taken).time <= now; ++taken) {
            Outgoing& outgoing = at(taken);
            auto& parts = pieces[filled];
            parts[0] = {outgoing.bytes.data(), outgoing.size};
            if (outgoing.packet != 0) {
                if (!history_.HasBytes(outgoing.packet)) continue;
                const std::byte* const stored = history_.bytes(outgoing.packet) + outgoing.payload_at;
                parts[1] = {const_cast<std::byte*>(stored), outgoing.payload_size};
            }
            for (int copies = twice_ ? 2 : 1; copies > 0; --copies) {
                messages[filled] = {};
                messages[filled].msg_hdr.msg_iov = parts.data();
                messages[filled].msg_hdr.msg_iovlen = outgoing.packet != 0 ? 2 : 1;
                ++filled;
            }
        }
        port.Send(std::span(messages).first(filled));
        first_ = (first_ + taken) % ring_.size();
        count_ -= taken;
    }
}

}  // namespace orv::lab
