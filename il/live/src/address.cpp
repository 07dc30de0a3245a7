#include "orv/live/address.h"

#include <arpa/inet.h>

#include <algorithm>
#include <stdexcept>

#include "bytes.h"
#include "orv/live/membership_message.h"

namespace orv::live {

IpAddress IpAddress::FromBytes(std::span<const std::uint8_t> bytes) {
    IpAddress address;
    address.is_v6_ = bytes.size() == 16;
    if (bytes.size() != 4 && bytes.size() != 16) {
        throw std::invalid_argument("an IP address has 4 or 16 bytes, not " + std::to_string(bytes.size()));
    }
    std::copy(bytes.begin(), bytes.end(), address.bytes_.begin());
    return address;
}

std::string IpAddress::ToString() const {
    char text[INET6_ADDRSTRLEN];
    return inet_ntop(is_v6_ ? AF_INET6 : AF_INET, bytes_.data(), text, sizeof text);
}

MacAddress MulticastMac(const IpAddress& group) {
    const auto bytes = group.GetBytes();
    if (group.IsV6()) return {{0x33, 0x33, bytes[12], bytes[13], bytes[14], bytes[15]}};
    return {{0x01, 0x00, 0x5e, static_cast<std::uint8_t>(bytes[1] & 0x7f), bytes[2], bytes[3]}};
}

IpAddress LinkLocalAddress(const MacAddress& mac) {
    const auto& m = mac.bytes;
    return IpAddress::V6({0xfe, 0x80, 0, 0, 0, 0, 0, 0, static_cast<std::uint8_t>(m[0] ^ 0x02), m[1], m[2],
                          0xff, 0xfe, m[3], m[4], m[5]});
}

IpAddress SolicitedNodeAddress(const IpAddress& address) {
    const auto b = address.GetBytes().last(3);
    return IpAddress::V6({0xff, 0x02, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x01, 0xff, b[0], b[1], b[2]});
}

IpAddress AddressList::operator[](std::size_t index) const {
    const std::byte* at = bytes_.data() + index * GetLength();
    return is_v6_ ? get_v6(at) : get_v4(at);
}

}  // namespace orv::live
