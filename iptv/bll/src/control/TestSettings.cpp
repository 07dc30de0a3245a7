#include "control/TestSettings.h"

#include "control/IptvStartTestCommand.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

TestSettings TestSettings::Of(const CIptvStartTestCommand& command) {
    using namespace ids::IptvStartTestCommand;
    TestSettings settings;
    settings.kind = {command.GetTypeOfTest(), command.GetMulticastJoinTrigger()};
    settings.environment = command.GetTestEnv();
    settings.unicast_leave_trigger = command.GetUnicastLeaveTrigger();
    settings.udp_port_type = command.GetU8(UdpPortType);
    settings.udp_port = command.GetU32(UdpPort);
    settings.vlan_sub_filter = command.GetU8(VlanSubFilter);
    settings.duration_s = command.GetDouble(TestDuration);
    settings.join_fail_threshold = command.GetU32(JoinFailThreshold);
    settings.start_delay_step = command.GetU32(StartDelayStep);
    settings.max_sbit_delay = command.GetU32(MaxSbitDelay);
    settings.min_sbit_delay = command.GetU32(MinSbitDelay);
    settings.ext_hdr_check = command.GetBool(ExtHdrCheckEnable);
    settings.ext_hdr_check_period = command.GetU32(ExtHdrCheckPatternPeriod);
    settings.retransmission_threshold = command.GetU32(TestRetransThres);
    return settings;
}

}  // namespace orv::iptv
