#include "control/PortRequests.h"

#include <algorithm>
#include <cmath>

#include "IptvLog.h"
#include "control/SendRequest.h"
#include "control/StreamMap.h"
#include "msgset/HwGeneral_1.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/port.h"
#include "orv/tm/message.h"

namespace orv::iptv {

using framework::CRpcManager;
using framework::ResponseDelegate;

namespace {

/// The ports' handle of the test configuration; there is one on each port.
constexpr std::uint32_t kConfigHandle = 9;

/// The port's handle as the context of a message.
void* AsContext(const core::CPort& port) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(port.GetHandle()));
}

void SendOrThrow(const core::CPort& port, Message& message, const ResponseDelegate& delegate) {
    const int result = SendRequest(port, message, delegate);
    if (result < 0) throw result;
}

/// The test's duration as the ports count it, ms.
std::uint64_t GetDurationMs(double seconds) {
    constexpr double most = 9e15;  // whole numbers beyond are not exact
    return static_cast<std::uint64_t>(std::trunc(std::clamp(seconds, 0.0, most))) * 1000;
}

/// Registers with the port; 0 after logging when that fails.
std::uint32_t Register(const core::CPort& port, Message& message, const char* notification,
                       const ResponseDelegate& delegate, void* context, const char* what) {
    int id = 0;
    const int result = CRpcManager::Instance().RegisterForNotification(port.GetMessenger(), message,
                                                                       notification, delegate, context, &id);
    if (result == 0) return static_cast<std::uint32_t>(id);
    LogText(devLogger(), LogLevelType::Error, [&] {
        return std::string("Failed to send RegisterForNotification message to register ") + what + " handler";
    });
    return 0;
}

}  // namespace

iptvcd_1_bll::testConfig_s MakeTestConfig(const TestSettings& settings, const StackFlags& stack) {
    using namespace iptvcd_1_bll;
    testConfig_s config;
    config.config_handle = kConfigHandle;
    config.test_type = static_cast<TestType>(settings.kind.type);
    config.test_env = static_cast<TestEnv>(settings.environment);
    config.test_duration = GetDurationMs(settings.duration_s);
    config.join_fail_threshold = settings.join_fail_threshold;
    config.vlan_outer = stack.m_bVlanOuter;
    config.vlan_inner = stack.m_bVlanInner;
    config.ppp_enable = stack.m_bPppEnable;
    config.udp_port_type = static_cast<UdpPortType>(settings.udp_port_type);
    config.udp_port = settings.udp_port;
    config.udp_protocol = UdpProtocol::UDP;
    config.vlan_sub_filter = static_cast<VlanSubFilter>(settings.vlan_sub_filter);
    config.max_sbit_delay = settings.max_sbit_delay;
    config.min_sbit_delay = settings.min_sbit_delay;
    config.mcast_join_trigger = static_cast<MulticastJoinTriggerType>(settings.kind.mcast_join_trigger);
    config.unicast_leave_trigger = static_cast<UnicastLeaveTriggerType>(settings.unicast_leave_trigger);
    config.ext_hdr_check_enable = settings.ext_hdr_check;
    config.ext_hdr_check_pattern_period = settings.ext_hdr_check_period;
    if (settings.kind.HasRetransmission())
        config.rrr_test_config.push_back({settings.retransmission_threshold});
    return config;
}

void SendTestConfig(const core::CPort& port, const iptvcd_1_bll::testConfig_s& config,
                    const ResponseDelegate& delegate) {
    Message message;
    iptvcd_1_bll::create_req_UpdateConfig(&message, config, true);
    SendOrThrow(port, message, delegate);
}

void SendCutThruRxFilterEnables(const core::CPort& port, const ResponseDelegate& delegate) {
    Message message;
    HwGeneral_1_bll::create_req_SetCutThruRxFilterEnables(
        &message,
        {.allowVeltraSigFrames = true, .allowNonVeltraSigFrames = true, .allowRxInvalidFrames = false}, true);
    SendOrThrow(port, message, delegate);
}

void SendStart(const core::CPort& port, const std::vector<std::uint32_t>& stbBlocks,
               std::uint32_t start_delay_step, const ResponseDelegate& delegate) {
    Message message;
    iptvcd_1_bll::create_req_Start(&message, kConfigHandle, stbBlocks, start_delay_step, true);
    SendOrThrow(port, message, delegate);
}

void SendStreamMap(const core::CPort& port, const StreamMap& map, const ResponseDelegate& delegate) {
    Message message;
    iptvcd_1_bll::create_req_UpdateStreamMap(&message, map.GetSources(), map.GetGroups(), map.GetStreamIds(),
                                             false);
    if (SendRequest(port, message, delegate) != 0)
        LogText(devLogger(), LogLevelType::Error, "Failed to send interface message");
}

deregHandles RegisterForNotifications(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks,
                                      std::uint32_t interval_ms, const ResponseDelegate& results,
                                      const ResponseDelegate& end) {
    Message results_request;
    iptvcd_1_bll::create_req_RegisterResultsNotify(&results_request, stbBlocks, interval_ms, true);
    results_request.header().set_discard_eligible(true);
    Message end_request;
    iptvcd_1_bll::create_req_RegisterEOTNotify(&end_request, interval_ms, true);

    deregHandles handles;
    handles.port = port.GetHandle();
    handles.results_id =
        Register(port, results_request, "iptvcd_1.ResultsNotification", results, &port, "results");
    if (handles.results_id != 0) {
        handles.end_test_id =
            Register(port, end_request, "iptvcd_1.EOTNotification", end, AsContext(port), "EOT");
    }
    return handles;
}

}  // namespace orv::iptv
