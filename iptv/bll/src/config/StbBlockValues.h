// What an STB block takes from related objects for its port.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "msgset/iptvcd_1.h"

namespace orv::iptv {

/// The values that an STB block takes from its relations, its device and the device's interface stack.
struct StbBlockValues {
    std::uint32_t profile_handle = 0;            ///< viewing profile
    std::uint32_t settop_count = 0;              ///< set-top boxes: hosts of the device
    std::uint8_t has_outer_vlan = 0;             ///< 1 when the stack has a VLAN tag
    std::uint16_t outer_vlan_id = 0;             ///< of the first host
    std::uint16_t outer_vlan_step = 0;           ///< signed, as its 16 bits
    std::vector<std::uint32_t> channel_handles;  ///< viewed-channel ranges, in relation order
    std::uint32_t vif_handle = 0;                ///< of the interface on its port; 0: not on the port
    std::vector<std::uint16_t> ppp_sessions;     ///< PPPoE session id of each host
    std::uint8_t has_inner_vlan = 0;             ///< 1 when the stack has a second VLAN tag
    std::uint16_t inner_vlan_id = 0;
    std::uint16_t inner_vlan_step = 0;
    iptvcd_1_bll::IgmpVersion igmp_version = iptvcd_1_bll::IgmpVersion::IGMP_VERSION1;
    std::uint16_t min_buffer_level = 0;
    iptvcd_1_bll::ipAddress_t fcc_server_address;  ///< fast channel change; these four are 0 for other tests
    std::uint16_t fcc_server_port = 0;             ///< UDP
    std::uint16_t udp_source_port = 0;             ///< of the first set-top box
    std::uint16_t udp_source_port_step = 0;        ///< from one set-top box to the next

    bool operator==(const StbBlockValues&) const = default;
};

/// Names of the values that differ, in the order of the members, separated by a comma and a blank; empty when
/// none does.
std::string DescribeDifference(const StbBlockValues& a, const StbBlockValues& b);

}  // namespace orv::iptv
