// One Ethernet frame in flight, with room for more tags.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::lab {

/// IEEE 802.1Q: which kind of tag, and priority, drop bit and VLAN id.
struct Tag {
    std::uint16_t protocol = 0x8100;
    std::uint16_t control = 0;
};

/// What a bridge of providers (IEEE 802.1ad) writes, and the older kinds.
bool IsTagProtocol(std::uint16_t protocol);

class Frame {
  public:
    /// Of the bytes a frame comes with; that leaves room for two tags.
    static constexpr std::size_t kMostBytes = 2000;

    /// `bytes` are at least an Ethernet header and at most kMostBytes, otherwise throws std::length_error.
    explicit Frame(std::span<const std::byte> bytes);

    /// Puts a tag around the others. Throws std::length_error at the third.
    void PushTag(Tag tag);
    /// Takes the outermost tag off when its VLAN id is `id`; otherwise leaves the frame alone and returns
    /// false.
    bool PopTag(std::uint16_t id);

    std::span<const std::byte> bytes() const { return {bytes_.data() + begin_, end_ - begin_}; }
    std::span<std::byte> bytes() { return {bytes_.data() + begin_, end_ - begin_}; }

  private:
    static constexpr std::size_t kTagBytes = 4;
    static constexpr std::size_t kHeadroom = 2 * kTagBytes;

    std::size_t begin_ = kHeadroom;
    std::size_t end_;
    std::array<std::byte, kHeadroom + kMostBytes> bytes_;  // only what the frame has is written
};

}  // namespace orv::lab
