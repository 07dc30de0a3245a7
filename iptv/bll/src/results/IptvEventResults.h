// Event row of a channel view.
#pragma once

#include <cstdint>

#include "ModelClass.h"
#include "msgset/iptvcd_1.h"
#include "results/IptvBaseEventResults.h"

namespace orv::iptv {

using iptvcd_1_bll::stbox_event_s;

/// One channel view of one set-top box, stored when its block saves time stamps.
class CIptvEventResults : public ModelClass<ids::IptvEventResults::CLASS.GetValue(), CIptvBaseEventResults> {
  public:
    /// The earlier of two time stamps, ignoring zeros; 0 if both are 0.
    static constexpr std::int64_t EarlierNonZero(std::int64_t a, std::int64_t b) {
        if (a == 0) return b;
        if (b == 0) return a;
        return b < a ? b : a;
    }
    static constexpr std::int64_t Larger(std::int64_t a, std::int64_t b) { return a < b ? b : a; }

    static std::int64_t GetFirstAnyJoinTs(const stbox_event_s& ev) {
        return EarlierNonZero(ev.mcast_join_ts, ev.unicast_join_ts);
    }
    static std::int64_t GetLastAnyLeaveTs(const stbox_event_s& ev) {
        return Larger(ev.mcast_leave_ts, ev.unicast_leave_ts);
    }
    static std::int64_t GetFirstUnicastPacketTs(const stbox_event_s& ev) {
        return EarlierNonZero(ev.first_unicast_nosb_pkt_ts, ev.first_unicast_sbit_pkt_ts);
    }
    static std::int64_t GetLastUnicastPacketTs(const stbox_event_s& ev) {
        return Larger(ev.last_unicast_nosb_pkt_ts, ev.last_unicast_sbit_pkt_ts);
    }
    static std::int64_t GetFirstAnyPacketTs(const stbox_event_s& ev) {
        return EarlierNonZero(ev.first_mcast_pkt_ts, GetFirstUnicastPacketTs(ev));
    }
    static std::int64_t GetLastAnyPacketTs(const stbox_event_s& ev) {
        return Larger(ev.last_mcast_pkt_ts, GetLastUnicastPacketTs(ev));
    }
};

}  // namespace orv::iptv
