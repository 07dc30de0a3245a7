// Fields that queries of IGMPv3 and MLDv2 share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "bytes.h"
#include "orv/live/membership_message.h"

namespace orv::live {

/// A code with `mantissa_bits` bits of mantissa below three of exponent, or a plain number when the top bit
/// is not set (RFC 3376 sections 4.1.1 and 4.1.7, RFC 3810 sections 5.1.3 and 5.1.9).
constexpr std::uint32_t decode_float(std::uint32_t code, unsigned mantissa_bits) {
    const std::uint32_t top = 1U << (mantissa_bits + 3);
    if (code < top) return code;
    const std::uint32_t mantissa = code & ((1U << mantissa_bits) - 1);
    const std::uint32_t exponent = (code >> mantissa_bits) & 7;
    return (mantissa | 1U << mantissa_bits) << (exponent + 3);
}

/// From the flags on (RFC 3376 section 4.1, RFC 3810 section 5.1), where at least four bytes lie. False for
/// more sources than there are bytes, and for sources without a group.
inline bool read_query_tail(std::span<const std::byte> tail, bool is_v6, MembershipQuery& query) {
    const std::uint8_t flags = get8(tail.data());
    query.suppress_router_processing = (flags & 0x08) != 0;
    query.robustness = flags & 0x07;
    query.query_interval = std::chrono::seconds(decode_float(get8(tail.data() + 1), 4));
    const std::size_t length = get16(tail.data() + 2) * std::size_t{is_v6 ? 16U : 4U};
    tail = tail.subspan(4);
    if (length > tail.size() || (length > 0 && query.group.IsUnspecified())) return false;
    query.sources = AddressList(tail.first(length), is_v6);
    return true;
}

}  // namespace orv::live
