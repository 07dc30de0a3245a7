// The last seconds of every channel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "lab_common/clock.h"

namespace orv::lab {

/// Counts all packets of all channels from 1 on; 0: none.
using PacketNumber = std::uint64_t;

/// A stored RTP packet, without its bytes.
struct StoredPacket {
    PacketNumber number = 0;
    PacketNumber before = 0;  ///< of the same channel, in the order of arrival
    PacketNumber after = 0;
    Nanoseconds arrival{};
    std::uint64_t bytes_before = 0;  ///< of all earlier packets of the channel
    std::uint64_t packets_before = 0;
    std::uint32_t payload_sum = 0;  ///< of the bytes behind the RTP header, for UDP checksums
    std::uint32_t channel = 0;
    std::uint16_t sequence = 0;
    std::uint16_t size = 0;
    std::uint16_t payload_at = 0;  ///< behind the RTP header with its CSRCs and extension; even
};

/// A fixed number of packets of all channels together: a new one takes the place of the oldest. Addressed by
/// their numbers, so that one that has gone is noticed.
class History {
  public:
    /// A channel beyond these is not kept. Each needs 16 to 512 KiB beside the packets, depending on its
    /// rate.
    static constexpr std::size_t kMostChannels = 4096;
    static constexpr std::size_t kMostBytes = 1504;  // of a packet; longer ones are not kept

    using ChannelKey = std::pair<std::array<std::uint16_t, 2>, std::uint32_t>;  // VLAN ids, SSRC

    struct Channel {
        std::uint32_t ssrc = 0;
        PacketNumber oldest = 0;
        PacketNumber newest = 0;
        std::uint64_t bytes = 0;  // of all packets so far
        std::uint64_t packets = 0;
        std::vector<PacketNumber> by_sequence{};  // at the last bits of a sequence number
    };

    History(std::size_t memory, Nanoseconds age);

    /// Keeps a packet if it is RTP of version 2.
    void Store(const std::array<std::uint16_t, 2>& vlans, std::span<const std::byte> packet,
               Nanoseconds arrival);

    std::optional<std::uint32_t> FindChannel(const ChannelKey& key) const;
    const Channel& channel(std::uint32_t index) const { return channels_[index]; }
    std::size_t channels() const { return channels_.size(); }
    std::uint64_t stored() const { return last_; }

    /// Null when it has gone: overwritten, or older than the history by `now`.
    const StoredPacket* Find(PacketNumber number, Nanoseconds now) const;
    /// The same by sequence number.
    const StoredPacket* FindSequence(std::uint32_t channel, std::uint16_t sequence, Nanoseconds now) const;
    /// The first that has arrived at or after a time, and is still there.
    const StoredPacket* FindTime(std::uint32_t channel, Nanoseconds time, Nanoseconds now) const;
    /// The one after `number`, or the oldest of the channel if that has gone.
    const StoredPacket* FindAfter(std::uint32_t channel, PacketNumber number, Nanoseconds now) const;

    const std::byte* bytes(PacketNumber number) const {
        return bytes_.get() + number % packets_.size() * kMostBytes;
    }
    /// Whether the bytes of a packet that was there are still those.
    bool HasBytes(PacketNumber number) const { return number + packets_.size() > last_; }

  private:
    StoredPacket& At(PacketNumber number) { return packets_[number % packets_.size()]; }
    const StoredPacket& At(PacketNumber number) const { return packets_[number % packets_.size()]; }
    std::uint32_t FindOrMakeChannel(const ChannelKey& key);
    void Index(Channel& channel, const StoredPacket& packet);
    void Forget(PacketNumber number);

    Nanoseconds age_;
    std::vector<StoredPacket> packets_;
    std::unique_ptr<std::byte[]> bytes_;
    PacketNumber last_ = 0;
    std::vector<Channel> channels_;
    std::map<ChannelKey, std::uint32_t> by_key_;
};

}  // namespace orv::lab
