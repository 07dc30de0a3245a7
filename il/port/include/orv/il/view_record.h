// Fills the event record of a finished view.
#pragma once

#include <cstdint>

#include "msgset/iptvcd_1.h"
#include "orv/il/run_plan.h"
#include "orv/il/tick_counter.h"
#include "orv/il/time.h"

namespace orv::il {

/// Times of the events of one view; kNever for events that did not happen.
struct ViewTimes {
    Time join = kNever;  ///< multicast
    Time leave = kNever;
    Time first = kNever;  ///< multicast packet; before `join` if the stream was already flowing
    Time last = kNever;
    bool last_valid = true;
    Time silence = 0;  ///< time between first and last in which nothing was sent
    Time unicast_join = kNever;
    Time unicast_leave = kNever;
    Time unicast_first = kNever;  ///< packet, with or without S-bit
    Time unicast_last = kNever;
    Time sbit_first = kNever;  ///< first packet with S-bit
    bool sbit_failure = false;
};

/// What an STB counted of a stream. Packets that were reordered, duplicate or late are among those received.
struct Packets {
    std::uint64_t received = 0;
    std::uint64_t lost = 0;
    std::uint64_t reordered = 0;
    std::uint64_t duplicate = 0;
    std::uint64_t late = 0;
    std::uint64_t payload_errors = 0;
};

/// Fills in which STB viewed which channel. `Event`: stbox_event_s or stbox_event_rrr_s. `settop_index`
/// counts from 0.
template <class Event>
void identify(const PlannedBlock& block, const PlannedChannel& channel, std::uint32_t settop_index,
              Event& event) {
    const iptvcd_1_bll::settopBlockConfig_s& config = block.config;
    event.settop_index = settop_index + 1;  // the first STB of a block is number 1
    event.viewed_channel = channel.number;
    event.viewed_ip = channel.group;
    event.vlan_tag = static_cast<std::uint16_t>(config.vlan_tag + settop_index * config.vlan_step);
    event.vlan_inner_tag =
        static_cast<std::uint16_t>(config.vlan_inner_tag + settop_index * config.vlan_inner_step);
    if (!config.ppp_index.empty()) event.ppp_index = config.ppp_index[settop_index];
}

/// Times of the multicast stream, and whether there are packets to have times.
void stamp_multicast(const ViewTimes& view, const TickCounter& counter, iptvcd_1_bll::stbox_event_s& event);

/// Packets of the multicast stream.
void count_multicast(const Packets& packets, iptvcd_1_bll::stbox_event_s& event);

/// Which joins and leaves took longer than the profile's thresholds.
void flag_latencies(const ViewTimes& view, const iptvcd_1_bll::profileConfig_s& profile,
                    iptvcd_1_bll::stbox_event_s& event);

}  // namespace orv::il
