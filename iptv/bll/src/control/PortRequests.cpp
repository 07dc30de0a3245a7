// What a test start tells a port, and what becomes of the answers.
#include <algorithm>
#include <cmath>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "control/IptvStartTestCommand.h"
#include "control/SendRequest.h"
#include "msgset/HwGeneral_1.h"
#include "msgset/iptvcd_1.h"
#include "orv/core/port.h"
#include "orv/ids/iptv_ids.h"
#include "orv/tm/message.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace Id = ids::IptvStartTestCommand;
using framework::CRpcManager;
using framework::ResponseDelegate;

namespace {

/// The ports' handle of the test configuration; there is one on each port.
constexpr std::uint32_t kConfigHandle = 9;

constexpr std::uint8_t kFccWithRrr = static_cast<std::uint8_t>(iptvcd_1_bll::TestType::FCC_WITH_RRR);

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

void TraceAnswer(const char* handler, const Message& response) {
    Trace([&] {
        return std::string(" In CIptvStartTestCommand::") + handler + "Message Response " +
               std::to_string(static_cast<int>(response.get_msg_type()));
    });
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

void CIptvStartTestCommand::OnApplyTestUpdate(core::CPort& port) {
    using namespace iptvcd_1_bll;
    Trace([&port] { return "CIptvStartTestCommand::OnApplyTestUpdate for " + port.GetName(); });
    const TestKind kind{GetTypeOfTest(), GetMulticastJoinTrigger()};
    testConfig_s config;
    config.config_handle = kConfigHandle;
    config.test_type = static_cast<TestType>(kind.type);
    config.test_env = static_cast<TestEnv>(GetTestEnv());
    config.test_duration = GetDurationMs(GetDouble(Id::TestDuration));
    config.join_fail_threshold = GetU32(Id::JoinFailThreshold);
    config.vlan_outer = m_stack.m_bVlanOuter;
    config.vlan_inner = m_stack.m_bVlanInner;
    config.ppp_enable = m_stack.m_bPppEnable;
    config.udp_port_type = static_cast<UdpPortType>(GetU8(Id::UdpPortType));
    config.udp_port = GetU32(Id::UdpPort);
    config.udp_protocol = UdpProtocol::UDP;
    config.vlan_sub_filter = static_cast<VlanSubFilter>(GetU8(Id::VlanSubFilter));
    config.max_sbit_delay = GetU32(Id::MaxSbitDelay);
    config.min_sbit_delay = GetU32(Id::MinSbitDelay);
    config.mcast_join_trigger = static_cast<MulticastJoinTriggerType>(kind.mcast_join_trigger);
    config.unicast_leave_trigger = static_cast<UnicastLeaveTriggerType>(GetUnicastLeaveTrigger());
    config.ext_hdr_check_enable = GetBool(Id::ExtHdrCheckEnable);
    config.ext_hdr_check_pattern_period = GetU32(Id::ExtHdrCheckPatternPeriod);
    if (kind.HasRetransmission()) config.rrr_test_config.push_back({GetU32(Id::TestRetransThres)});
    Message update;
    create_req_UpdateConfig(&update, config, true);
    SendOrThrow(port, update,
                ResponseDelegate::To<&LogFaultAndHandle<&CIptvStartTestCommand::SetConfigHandler>>());

    if (kind.type != kFccWithRrr) return;
    Message enables;
    HwGeneral_1_bll::create_req_SetCutThruRxFilterEnables(
        &enables,
        {.allowVeltraSigFrames = true, .allowNonVeltraSigFrames = true, .allowRxInvalidFrames = false}, true);
    SendOrThrow(
        port, enables,
        ResponseDelegate::To<&LogFaultAndHandle<&CIptvStartTestCommand::SetCutThruRxFilterEnablesHandler>>());
}

void CIptvStartTestCommand::RegisterForResultAndEotNotifications(core::CPort& port,
                                                                 const std::vector<std::uint32_t>& stbBlocks,
                                                                 int portCount) {
    // The more ports report, the less often each does.
    const auto interval_ms = static_cast<std::uint32_t>(std::clamp(portCount, 0, 10)) * 1000;
    Trace([&] {
        return "Registering Result and EOT notifications for " + port.GetName() +
               "with Notification Interval " + std::to_string(interval_ms);
    });
    Message results;
    iptvcd_1_bll::create_req_RegisterResultsNotify(&results, stbBlocks, interval_ms, true);
    results.header().set_discard_eligible(true);
    Message end;
    iptvcd_1_bll::create_req_RegisterEOTNotify(&end, interval_ms, true);

    CIptvResultsManager& manager = *CIptvResultsManager::GetResultsManager();
    deregHandles handles;
    handles.port = port.GetHandle();
    handles.results_id = Register(port, results, "iptvcd_1.ResultsNotification", manager.GetResultsDelegate(),
                                  &port, "results");
    if (handles.results_id == 0) return;
    handles.end_test_id =
        Register(port, end, "iptvcd_1.EOTNotification", manager.GetEndTestDelegate(), AsContext(port), "EOT");
    handles.end_test_id == 0 ? manager.AddIncompleteRegistration(handles) : manager.AddRegistration(handles);
}

void CIptvStartTestCommand::SendMessageToIL(core::CPort& port, const std::vector<std::uint32_t>& stbBlocks) {
    Message message;
    iptvcd_1_bll::create_req_Start(&message, kConfigHandle, stbBlocks, GetU32(Id::StartDelayStep), true);
    Trace([&port] { return "Starting Test on  " + port.GetName(); });
    SendOrThrow(port, message, ResponseDelegate::To<&CIptvStartTestCommand::StartTestHandler>());
}

void CIptvStartTestCommand::StartTestHandler(std::uint16_t sequence, Message* response, void*) {
    if (response->get_msg_type() == tm::TMT_RESPONSE) {
        iptvcd_1_bll::parse_resp_Start(response);
    } else if (response->get_msg_type() == tm::TMT_FAULT) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return "Rcvd error response on IptvStartTestCommand: seq(" + std::to_string(sequence) + ") " +
                   response->get_fault_string() + " on port ";
        });
    }
}

void CIptvStartTestCommand::SetConfigHandler(std::uint16_t, Message* response, void*) {
    TraceAnswer("SetConfigHandler ", *response);
}

void CIptvStartTestCommand::UpdateStreamMapHandler(std::uint16_t, Message* response, void*) {
    TraceAnswer("UpdateStreamMapHandler ", *response);
}

void CIptvStartTestCommand::SetCutThruRxFilterEnablesHandler(std::uint16_t, Message* response, void*) {
    TraceAnswer("SetCutThruRxFilterEnablesHandler ", *response);
}

}  // namespace orv::iptv
