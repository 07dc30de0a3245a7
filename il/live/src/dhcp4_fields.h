// Numbers of DHCPv4 (RFC 2131 section 2, RFC 2132).
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv::live::dhcp4 {

// Where the fixed part's fields lie.
inline constexpr std::size_t kTransactionAt = 4;
inline constexpr std::size_t kMacAt = 28;
inline constexpr std::size_t kServerNameAt = 44, kServerNameLength = 64;
inline constexpr std::size_t kFileAt = 108, kFileLength = 128;
inline constexpr std::size_t kOptionsAt = 240;  ///< behind the four bytes that say that it is DHCP

inline constexpr std::uint8_t kAnswer = 2, kEthernet = 1;
inline constexpr std::uint16_t kBroadcastFlag = 0x8000;

// Options.
inline constexpr std::uint8_t kPad = 0;
inline constexpr std::uint8_t kMask = 1;
inline constexpr std::uint8_t kRouters = 3;
inline constexpr std::uint8_t kRequestedAddress = 50;
inline constexpr std::uint8_t kLeaseTime = 51;
inline constexpr std::uint8_t kOverload = 52;
inline constexpr std::uint8_t kType = 53;
inline constexpr std::uint8_t kServer = 54;
inline constexpr std::uint8_t kParameters = 55;
inline constexpr std::uint8_t kMessage = 56;
inline constexpr std::uint8_t kRenewalTime = 58;
inline constexpr std::uint8_t kRebindingTime = 59;
inline constexpr std::uint8_t kRapidCommit = 80;  ///< RFC 4039
inline constexpr std::uint8_t kEnd = 255;

}  // namespace orv::live::dhcp4
