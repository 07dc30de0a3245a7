#include "lab_relay/frame.h"

#include <cstring>
#include <stdexcept>

#include "lab_relay/bytes.h"

namespace orv::lab {

namespace {

constexpr std::size_t kAddressBytes = 12;  // destination and source
constexpr std::size_t kHeaderBytes = 14;
constexpr std::uint16_t kIdMask = 0x0FFF;

void Put16(std::span<std::byte> bytes, std::size_t at, std::uint16_t value) {
    bytes[at] = static_cast<std::byte>(value >> 8);
    bytes[at + 1] = static_cast<std::byte>(value & 0xFF);
}

// What a bridge of providers (IEEE 802.1ad) writes, and the older kinds.
bool IsTagProtocol(std::uint16_t protocol) {
    return protocol == 0x8100 || protocol == 0x88A8 || protocol == 0x9100;
}

}  // namespace

Frame::Frame(std::span<const std::byte> bytes) : end_(kHeadroom + bytes.size()) {
    if (bytes.size() < kHeaderBytes || bytes.size() > kMostBytes) {
        throw std::length_error("a frame has from 14 to 2000 bytes");
    }
    std::memcpy(bytes_.data() + begin_, bytes.data(), bytes.size());
}

void Frame::PushTag(Tag tag) {
    if (begin_ < kTagBytes) throw std::length_error("no room for a further tag");
    std::byte* const old = bytes_.data() + begin_;
    begin_ -= kTagBytes;
    std::memmove(bytes_.data() + begin_, old, kAddressBytes);
    Put16(bytes(), kAddressBytes, tag.protocol);
    Put16(bytes(), kAddressBytes + 2, tag.control);
}

bool Frame::PopTag(std::uint16_t id) {
    const auto now = bytes();
    if (now.size() < kHeaderBytes + kTagBytes || !IsTagProtocol(Get16(now, kAddressBytes)) ||
        (Get16(now, kAddressBytes + 2) & kIdMask) != id) {
        return false;
    }
    std::memmove(now.data() + kTagBytes, now.data(), kAddressBytes);
    begin_ += kTagBytes;
    return true;
}

}  // namespace orv::lab
