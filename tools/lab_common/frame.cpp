#include "lab_common/frame.h"

#include <cstring>
#include <stdexcept>

#include "lab_common/bytes.h"

namespace orv::lab {

namespace {

constexpr std::size_t kAddressBytes = 12;  // destination and source
constexpr std::size_t kHeaderBytes = 14;
constexpr std::uint16_t kIdMask = 0x0FFF;

}  // namespace

bool IsTagProtocol(std::uint16_t protocol) {
    return protocol == 0x8100 || protocol == 0x88A8 || protocol == 0x9100;
}

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
