// The kind of a test.
#pragma once

#include <cstdint>

namespace orv::iptv {

/// Test type and multicast join trigger, as numbers of the message set.
struct TestKind {
    std::uint8_t type = 0;                ///< iptvcd_1_bll::TestType
    std::uint8_t mcast_join_trigger = 0;  ///< iptvcd_1_bll::MulticastJoinTriggerType

    /// RELIABLE_RETRANSMISSION and FCC_WITH_RRR.
    bool HasRetransmission() const { return type == 3 || type == 4; }
    /// FAST_CHANNEL_CHANGE and those with retransmission: the STBs also receive unicast.
    bool HasUnicast() const { return type >= 2 && type <= 4; }
    /// The multicast join waits for a unicast packet with the S-bit (SBIT_AND_DELAY).
    bool HasSbit() const { return HasUnicast() && mcast_join_trigger == 1; }
};

}  // namespace orv::iptv
