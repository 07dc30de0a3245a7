// Contents of group membership messages, in terms that IGMP and MLD share.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

#include "orv/live/address.h"

namespace orv::live {

using Nanoseconds = std::chrono::nanoseconds;

/// IGMP: RFC 1112, RFC 2236, RFC 3376. MLD: RFC 2710, RFC 3810.
enum class MembershipVersion : std::uint8_t { Igmp1, Igmp2, Igmp3, Mld1, Mld2 };

constexpr bool IsMld(MembershipVersion version) {
    return version >= MembershipVersion::Mld1;
}
/// Whether reports carry filter modes and sources.
constexpr bool HasSourceFilters(MembershipVersion version) {
    return version == MembershipVersion::Igmp3 || version == MembershipVersion::Mld2;
}

/// Include: only the listed sources; Exclude: all but these.
enum class FilterMode : std::uint8_t { Include, Exclude };

/// RFC 3376 section 4.2.12, RFC 3810 section 5.2.12.
enum class RecordType : std::uint8_t {
    ModeIsInclude = 1,
    ModeIsExclude = 2,
    ChangeToInclude = 3,
    ChangeToExclude = 4,
    AllowNewSources = 5,
    BlockOldSources = 6,
};

/// One group of an IGMPv3 or MLDv2 report.
struct GroupRecord {
    RecordType type;
    IpAddress group;
    std::span<const IpAddress> sources;
};

/// Addresses of one family that lie in a received frame. Valid as long as the frame's bytes.
class AddressList {
  public:
    AddressList() = default;
    /// `bytes` holds whole addresses, of 16 bytes each when `is_v6`, otherwise of 4.
    AddressList(std::span<const std::byte> bytes, bool is_v6) : bytes_(bytes), is_v6_(is_v6) {}

    std::size_t GetSize() const { return bytes_.size() / GetLength(); }
    /// `index` is below GetSize().
    IpAddress operator[](std::size_t index) const;

  private:
    std::size_t GetLength() const { return is_v6_ ? 16 : 4; }

    std::span<const std::byte> bytes_;
    bool is_v6_ = false;
};

/// A query of any version. General when `group` is unspecified, group-specific when there are no sources,
/// otherwise group-and-source-specific.
struct MembershipQuery {
    MembershipVersion version = MembershipVersion::Igmp2;  ///< of the message (RFC 3376 7.1, RFC 3810 8.1)
    IpAddress destination;  ///< of the packet; a multicast address, or one host's own
    IpAddress group;
    std::uint16_t max_response_code = 0;      ///< raw value, for hosts of an older version
    Nanoseconds max_response_time{};          ///< decoded for the message's version; 10 s for IGMPv1
    AddressList sources;                      ///< IGMPv3 and MLDv2
    bool suppress_router_processing = false;  ///< the S flag; ignored by hosts
    std::uint8_t robustness = 0;              ///< 1 to 7; 0 when the message does not say
    Nanoseconds query_interval{};             ///< whole seconds; 0 when the message does not say
};

/// A report of IGMPv1, IGMPv2 or MLDv1: the versions with report suppression.
struct MembershipReport {
    MembershipVersion version = MembershipVersion::Igmp2;
    IpAddress source;
    IpAddress group;
};

/// An IGMPv2 leave or MLDv1 done.
struct MembershipLeave {
    MembershipVersion version = MembershipVersion::Igmp2;
    IpAddress source;
    IpAddress group;
};

}  // namespace orv::live
