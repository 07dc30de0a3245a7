// The settings of a test.
#pragma once

#include <cstdint>

#include "running/TestKind.h"

namespace orv::iptv {

class CIptvStartTestCommand;

/// The properties of a start command that its units use, all read at the same time. Enumerations are numbers
/// of the data model.
struct TestSettings {
    TestKind kind;
    std::uint8_t environment = 0;            ///< ids::TestEnv
    std::uint8_t unicast_leave_trigger = 0;  ///< ids::UnicastLeaveTrigger
    std::uint8_t udp_port_type = 0;          ///< ids::UdpPortType
    std::uint32_t udp_port = 0;
    std::uint8_t vlan_sub_filter = 0;  ///< ids::VlanSubFilter
    double duration_s = 0;
    std::uint32_t join_fail_threshold = 0;  ///< percent
    std::uint32_t start_delay_step = 0;
    std::uint32_t max_sbit_delay = 0;
    std::uint32_t min_sbit_delay = 0;
    bool ext_hdr_check = false;
    std::uint32_t ext_hdr_check_period = 0;
    std::uint32_t retransmission_threshold = 0;

    static TestSettings Of(const CIptvStartTestCommand& command);
};

}  // namespace orv::iptv
