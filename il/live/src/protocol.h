// Numbers of the protocols that frames are built from and read as.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orv::live {

inline constexpr std::uint16_t kEtherIpv4 = 0x0800;
inline constexpr std::uint16_t kEtherArp = 0x0806;
inline constexpr std::uint16_t kEtherIpv6 = 0x86dd;
constexpr bool is_tag_type(std::uint16_t ether_type) {
    return ether_type == 0x8100 || ether_type == 0x88a8 || ether_type == 0x9100;
}

inline constexpr std::uint8_t kProtocolHopByHop = 0;
inline constexpr std::uint8_t kProtocolIgmp = 2;
inline constexpr std::uint8_t kProtocolUdp = 17;
inline constexpr std::uint8_t kProtocolIcmp6 = 58;

inline constexpr std::size_t kIpv4HeaderLength = 20;  ///< without options
inline constexpr std::size_t kIpv6HeaderLength = 40;
inline constexpr std::size_t kUdpHeaderLength = 8;
inline constexpr std::size_t kArpLength = 28;

inline constexpr std::uint8_t kIpv4RouterAlert = 0x94;    ///< RFC 2113
inline constexpr std::uint8_t kIpv6RouterAlert = 0x05;    ///< RFC 2711
inline constexpr std::size_t kIpv4RouterAlertLength = 4;  ///< of the option, which is all that we send
inline constexpr std::size_t kHopByHopLength = 8;         ///< of the header that carries Router Alert alone

inline constexpr std::uint8_t kIgmpQuery = 0x11;
inline constexpr std::uint8_t kIgmp1Report = 0x12;
inline constexpr std::uint8_t kIgmp2Report = 0x16;
inline constexpr std::uint8_t kIgmp2Leave = 0x17;
inline constexpr std::uint8_t kIgmp3Report = 0x22;

inline constexpr std::uint8_t kMldQuery = 130;
inline constexpr std::uint8_t kMld1Report = 131;
inline constexpr std::uint8_t kMld1Done = 132;
inline constexpr std::uint8_t kMld2Report = 143;

inline constexpr std::uint8_t kRouterSolicitation = 133;
inline constexpr std::uint8_t kRouterAdvertisement = 134;
inline constexpr std::uint8_t kNeighborSolicitation = 135;
inline constexpr std::uint8_t kNeighborAdvertisement = 136;
inline constexpr std::uint8_t kSourceLinkAddress = 1;  ///< option, RFC 4861 section 4.6.1
inline constexpr std::uint8_t kTargetLinkAddress = 2;
inline constexpr std::uint8_t kPrefixInformation = 3;  ///< option, RFC 4861 section 4.6.2
inline constexpr std::uint8_t kNeighborHopLimit = 255;

inline constexpr std::size_t kMembershipHeaderV4 = 8;   ///< of an IGMP message
inline constexpr std::size_t kMembershipHeaderV6 = 24;  ///< of an MLDv1 message
inline constexpr std::size_t kRecordReportHeader = 8;   ///< of IGMPv3 and MLDv2 reports, before the records

}  // namespace orv::live
