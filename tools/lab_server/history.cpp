#include "lab_server/history.h"

#include <algorithm>

#include "lab_common/bytes.h"
#include "lab_common/checksum.h"

namespace orv::lab {

namespace {

constexpr std::size_t kRtpHeaderBytes = 12;
constexpr std::size_t kSmallestIndex = 2048;
constexpr std::size_t kLargestIndex = 65536;

/// Where the payload begins; 0 if the packet is not RTP. On the ports of RTP, RTCP's packet types stand where
/// RTP has marker and payload type (RFC 5761).
std::size_t FindPayload(std::span<const std::byte> packet) {
    if (packet.size() < kRtpHeaderBytes || Get8(packet, 0) >> 6 != 2) return 0;
    if (const unsigned type = Get8(packet, 1); type >= 192 && type <= 223) return 0;
    std::size_t at = kRtpHeaderBytes + std::size_t{4} * (Get8(packet, 0) & 0xF);
    if (Get8(packet, 0) & 0x10) {
        if (packet.size() < at + 4) return 0;
        at += 4 + std::size_t{4} * Get16(packet, at + 2);
    }
    return at <= packet.size() ? at : 0;
}

}  // namespace

History::History(std::size_t memory, Nanoseconds age)
    : age_(age),
      packets_(std::max<std::size_t>(memory / (kMostBytes + sizeof(StoredPacket)), 64)),
      bytes_(std::make_unique_for_overwrite<std::byte[]>(packets_.size() * kMostBytes)) {
    channels_.reserve(kMostChannels);
}

void History::Store(const std::array<std::uint16_t, 2>& vlans, std::span<const std::byte> packet,
                    Nanoseconds arrival) {
    const std::size_t payload_at = FindPayload(packet);
    if (payload_at == 0 || packet.size() > kMostBytes) return;
    const std::uint32_t index = FindOrMakeChannel({vlans, Get32(packet, 8)});
    if (index == kMostChannels) return;
    Channel& channel = channels_[index];
    const PacketNumber number = last_ + 1;
    if (number > packets_.size()) Forget(number - packets_.size());
    last_ = number;
    StoredPacket& stored = At(number);
    stored = {.number = number,
              .before = channel.newest,
              .arrival = arrival,
              .bytes_before = channel.bytes,
              .packets_before = channel.packets,
              .payload_sum = SumOf(packet.subspan(payload_at)),
              .channel = index,
              .sequence = Get16(packet, 2),
              .size = static_cast<std::uint16_t>(packet.size()),
              .payload_at = static_cast<std::uint16_t>(payload_at)};
    std::copy(packet.begin(), packet.end(), bytes_.get() + number % packets_.size() * kMostBytes);
    if (channel.newest != 0) At(channel.newest).after = number;
    channel.newest = number;
    if (channel.oldest == 0) channel.oldest = number;
    channel.bytes += packet.size();
    ++channel.packets;
    Index(channel, stored);
}

std::uint32_t History::FindOrMakeChannel(const ChannelKey& key) {
    if (const auto found = FindChannel(key)) return *found;
    if (channels_.size() == kMostChannels) return kMostChannels;
    const auto index = static_cast<std::uint32_t>(channels_.size());
    channels_.push_back({.ssrc = key.second});
    channels_.back().by_sequence.resize(kSmallestIndex);
    by_key_.emplace(key, index);
    return index;
}

/// The index grows while packets that are not too old would lose their places.
void History::Index(Channel& channel, const StoredPacket& packet) {
    auto& index = channel.by_sequence;
    while (index.size() < kLargestIndex) {
        const StoredPacket* const there = Find(index[packet.sequence % index.size()], packet.arrival);
        if (!there || there->sequence == packet.sequence) break;
        std::vector<PacketNumber> larger(index.size() * 2);
        for (const PacketNumber number : index) {
            if (HasBytes(number) && number != 0) larger[At(number).sequence % larger.size()] = number;
        }
        index = std::move(larger);
    }
    index[packet.sequence % index.size()] = packet.number;
}

/// It is the oldest of its channel, as it is of all.
void History::Forget(PacketNumber number) {
    const StoredPacket& gone = At(number);
    Channel& channel = channels_[gone.channel];
    channel.oldest = gone.after;
    if (channel.newest == number) channel.newest = 0;
}

std::optional<std::uint32_t> History::FindChannel(const ChannelKey& key) const {
    const auto found = by_key_.find(key);
    return found == by_key_.end() ? std::nullopt : std::optional(found->second);
}

const StoredPacket* History::Find(PacketNumber number, Nanoseconds now) const {
    if (number == 0 || !HasBytes(number)) return nullptr;
    const StoredPacket& packet = At(number);
    return now - packet.arrival <= age_ ? &packet : nullptr;
}

const StoredPacket* History::FindSequence(std::uint32_t channel, std::uint16_t sequence,
                                          Nanoseconds now) const {
    const auto& index = channels_[channel].by_sequence;
    const StoredPacket* const packet = Find(index[sequence % index.size()], now);
    return packet && packet->sequence == sequence ? packet : nullptr;
}

const StoredPacket* History::FindTime(std::uint32_t channel, Nanoseconds time, Nanoseconds now) const {
    const StoredPacket* found = nullptr;
    const StoredPacket* packet = Find(channels_[channel].newest, now);
    for (; packet && packet->arrival >= time; packet = Find(packet->before, now)) found = packet;
    return found;
}

const StoredPacket* History::FindAfter(std::uint32_t channel, PacketNumber number, Nanoseconds now) const {
    PacketNumber next = HasBytes(number) ? At(number).after : channels_[channel].oldest;
    while (next != 0 && !Find(next, now)) next = At(next).after;
    return next == 0 ? nullptr : &At(next);
}

}  // namespace orv::lab
