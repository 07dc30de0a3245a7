// How a test ends: on each port, on all of them, and for good.
#include <algorithm>
#include <exception>
#include <utility>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "msgset/iptvcd_1.h"
#include "orv/common/exceptions.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/iptv_ids.h"
#include "orv/tm/message.h"
#include "results/IptvResultsManager.h"
#include "results/IptvTestResults.h"
#include "results/ManagerLock.h"
#include "results/ResultNodes.h"

namespace orv::iptv {

using framework::CRpcManager;

namespace {

core::CPort* FindPort(std::uint32_t handle) {
    return dynamic_cast<core::CPort*>(framework::CHandleRegistry::Instance().Find(handle));
}

const core::CPort& FindPortOrThrow(std::uint32_t handle, const char* object, const char* operation) {
    if (const core::CPort* port = FindPort(handle)) return *port;
    ThrowLookupFailure({object, "De-registration Vector", operation}, object);
}

/// The commands' states are those of the first block of the test.
void SetCommandStatus(const TestRun& run, ClassId command, bool enabled) {
    if (!run.stb_blocks.empty())
        framework::CCommandStatusManager::Instance().SetCommandStatus(run.stb_blocks.front(), command,
                                                                      enabled);
}

}  // namespace

void CIptvResultsManager::EndTestHandler(std::uint16_t, Message* message, void* portHandle) {
    const core::CPort* port =
        FindPort(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(portHandle)));
    Trace([port] {
        return "Received EOT notification from " + (port ? port->GetName() : std::string("unknown port"));
    });
    if (!LogRefusal(*message)) iptvcd_1_bll::parse_req_EOTNotification(message);
    // A port that refuses to say when it ends counts as one that has; one that says it again has ended once.
    if (port && !known_ends_.insert(port->GetHandle()).second) return;
    EndOfTestProcessing(false);
}

void CIptvResultsManager::OnPortOffline(std::uint32_t port) {
    StopRunning();
    if (m_resultManager) m_resultManager->GoOnWithoutPort(port);
}

void CIptvResultsManager::GoOnWithoutPort(std::uint32_t port) {
    const auto lost = std::find_if(registrations_.begin(), registrations_.end(),
                                   [port](const deregHandles& entry) { return entry.port == port; });
    if (lost == registrations_.end() || final_done_) return;
    DropRegistration(deregHandles(*lost));
    registrations_.erase(lost);
    --port_count_;
    started_.erase(port);
    if (known_ends_.erase(port) > 0) --ended_ports_;
    try {
        finishing_ && !end_held_ ? CarryOutEnd(false) : EndOfTestProcessing(true);
    } catch (const std::exception& error) {
        LogText(devLogger(), LogLevelType::Error,
                [&] { return std::string("The end of a test that lost a port failed: ") + error.what(); });
    }
}

void CIptvResultsManager::EndOfTestProcessing(bool stopRequested) {
    if (!stopRequested) ++ended_ports_;
    if (end_held_) {
        stop_held_ = stop_held_ || stopRequested;
    } else {
        CarryOutEnd(stopRequested);
    }
}

bool CIptvResultsManager::IsAwaitingEnds() const {
    return finishing_ && !final_done_ &&
           !std::includes(known_ends_.begin(), known_ends_.end(), started_.begin(), started_.end());
}

bool CIptvResultsManager::IsStopping() const {
    return IsAwaitingEnds() && framework::CTaskManager::Instance().GetNow() < stopping_until_;
}

void CIptvResultsManager::ReleaseEnd() {
    if (!std::exchange(end_held_, false)) return;
    const bool stop = std::exchange(stop_held_, false);
    if (stop || ended_ports_ > 0) CarryOutEnd(stop);
}

void CIptvResultsManager::CarryOutEnd(bool stopRequested) {
    const bool all_ended = static_cast<float>(ended_ports_) / static_cast<float>(port_count_) >= 1.0f;
    if (stopRequested || (all_ended && !finishing_)) {
        finishing_ = true;
        stopping_until_ = framework::CTaskManager::Instance().GetNow() + std::chrono::seconds(60);
        SetCommandStatus(run_, ids::IptvStopTestCommand::CLASS, false);
        LogText(
            devLogger(), LogLevelType::Info,
            " IPTV test is in the process of finishing. At this time both Start Test and Stop Test buttons "
            "are disabled. Start Test button will be enabled on test completion.");
        const std::vector<deregHandles> registrations = registrations_;
        for (const deregHandles& registration : registrations) SendStop(registration);
    }
    if (ended_ports_ == port_count_ && !final_done_) FinalProcessing();
}

void CIptvResultsManager::SendStop(const deregHandles& registration) {
    const core::CPort& port =
        FindPortOrThrow(registration.port, "Port in De-registration Vector(sending stoptestcommand to IL)",
                        "CIptvResultsManager::EndOfTestProcessing");
    Trace([&port] { return "CIptvResultsManager::EndOfTestProcessing: Stopping Test On " + port.GetName(); });
    Message message;
    iptvcd_1_bll::create_req_Stop(&message);
    // The fault of a stop is dealt with by its handler.
    const int result = CRpcManager::Instance().SendAsyncMessage(port.GetMessenger(), message, &stop_delegate_,
                                                                nullptr, 0, false);
    if (result < 0) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return "Error sending IptvStopTest Message on port" + port.GetMessenger().ToMessengerString();
        });
    }
}

void CIptvResultsManager::StopTestHandler(std::uint16_t, Message* message, void*) {
    Trace([message] {
        return "CIptvResultsManager::StopTestHandler: message type " +
               std::to_string(static_cast<int>(message->get_msg_type()));
    });
    try {
        if (message->get_msg_type() == tm::TMT_RESPONSE) {
            iptvcd_1_bll::parse_resp_Stop(message);
        } else if (message->get_msg_type() == tm::TMT_FAULT) {
            for (auto* logger : {devLogger(), userLogger()}) {
                LogResource(
                    logger, LogLevelType::Error, resource::kRpcFaultError,
                    {"IptvStopTestCommand", [&] { return std::to_string(message->header().get_seq_no()); },
                     message->get_fault_string(), ""});
            }
            // That port will not say that it has ended. The test may be another one by now.
            if (finishing_ && !final_done_) FinalProcessing();
        }
    } catch (const std::exception& error) {
        LogText(devLogger(), LogLevelType::Error, "got exception on IptvStopTest");
        LogText(devLogger(), LogLevelType::Error, error.what());
    }
}

CIptvTestResults& CIptvResultsManager::FindOrMakeTestResults() {
    auto* testResult =
        dynamic_cast<CIptvTestResults*>(framework::CHandleRegistry::Instance().Find(run_.test_results));
    // One that a user has cleared meanwhile is as good as gone: it would not be stored.
    if (!testResult || testResult->IsDeleted()) {
        testResult = nullptr;
        auto* project = core::CProject::GetCurrentActiveInstance();
        if (project) testResult = FindOrMakeResult<CIptvTestResults>(*project, false, true);
        if (testResult) testResult->SetTestParams(run_.test_name);
    }
    ORV_ASSERT(testResult != NULL, "Failed to retrieve IptvTestResults");
    return *testResult;
}

void CIptvResultsManager::FinalProcessing() {
    Trace([] { return "CIptvResultsManager::FinalProcessing()"; });
    final_done_ = true;  // whatever arrives from now on, a test ends once
    const double fail_percent =
        net_channel_changes_ == 0 ? 100.0 : failed_joins_ * 100.0 / net_channel_changes_;
    CIptvTestResults& results = FindOrMakeTestResults();
    results.Set(ids::IptvTestResults::TestResult, fail_percent <= run_.join_fail_threshold
                                                      ? ids::TestOutcome::PASSED
                                                      : ids::TestOutcome::FAILED);
    results.SetEndTime();
    {
        const ManagerLock lock(m_iptvMutex);
        SaveToDatabase(fail_percent);
    }
    SetTestRunning(false);
    SetCommandStatus(run_, ids::IptvStartTestCommand::CLASS, true);
    DeregisterAllNotifications();
    ResetBlockTimeStampVec();
    DestroyRows();
    LogText(devLogger(), LogLevelType::Info, " IPTV test has finished.");
}

void CIptvResultsManager::DeregisterAllNotifications() {
    const std::vector<deregHandles> registrations = registrations_;
    for (const deregHandles& registration : registrations) Deregister(registration);
    registrations_.clear();
}

/// What a test has left that did not come to its end; ports and connections may be gone.
void CIptvResultsManager::DropRegistrations() {
    for (const deregHandles& registration : std::exchange(registrations_, {})) DropRegistration(registration);
    for (const deregHandles& registration : std::exchange(incomplete_, {})) {
        const core::CPort* port = FindPort(registration.port);
        if (!port || !CRpcManager::Instance().IsConnected(port->GetMessenger())) continue;
        Message message;
        iptvcd_1_bll::create_req_DeregisterResultsNotify(&message);
        CRpcManager::Instance().DeregisterForNotification(port->GetMessenger(), message,
                                                          static_cast<int>(registration.results_id));
    }
}

void CIptvResultsManager::DropRegistration(const deregHandles& registration) {
    const core::CPort* port = FindPort(registration.port);
    if (!port || !CRpcManager::Instance().IsConnected(port->GetMessenger())) return;
    try {
        Deregister(registration);
    } catch (const common::COrvRunTimeError&) {  // it has been logged
    }
}

void CIptvResultsManager::Deregister(const deregHandles& registration) {
    const core::CPort& port =
        FindPortOrThrow(registration.port, "Port in De-registration Vector (De-registering Notifications)",
                        "CIptvResultsManager::DeRegisterAllNotifications");
    Trace([&port] { return "Deregistering EOT and results notification for " + port.GetName(); });
    const auto deregister = [&port](void (*encode)(Message*), std::uint32_t id, const char* failure) {
        Message message;
        encode(&message);
        if (CRpcManager::Instance().DeregisterForNotification(port.GetMessenger(), message,
                                                              static_cast<int>(id)) == 0) {
            return;
        }
        LogResource(devLogger(), LogLevelType::Error, resource::kRpcError, {failure});
        LogResource(userLogger(), LogLevelType::Error, resource::kRpcErrorForUser, {});
        throw common::COrvRunTimeError(iptvAutomationRpcErrMsg + failure, true);
    };
    deregister(iptvcd_1_bll::create_req_DeregisterEOTNotify, registration.end_test_id,
               "Failed to deregister EOT on port");
    deregister(iptvcd_1_bll::create_req_DeregisterResultsNotify, registration.results_id,
               "Failed to deregister results on port");
}

}  // namespace orv::iptv
