// End of a test: on one port, on all ports, and final processing.
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

/// The status of the test commands is kept at the first STB block of the test.
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
    // A port that refused the registration counts as ended. A repeated notification counts once.
    if (port && !m_knownEnds.insert(port->GetHandle()).second) return;
    EndOfTestProcessing(false);
}

void CIptvResultsManager::OnPortOffline(std::uint32_t port) {
    StopRunning();
    if (m_resultManager) m_resultManager->GoOnWithoutPort(port);
}

void CIptvResultsManager::GoOnWithoutPort(std::uint32_t port) {
    const auto lost = std::find_if(m_registrations.begin(), m_registrations.end(),
                                   [port](const deregHandles& entry) { return entry.port == port; });
    if (lost == m_registrations.end() || m_finalDone) return;
    DropRegistration(deregHandles(*lost));
    m_registrations.erase(lost);
    --m_portCount;
    m_started.erase(port);
    if (m_knownEnds.erase(port) > 0) --m_endedPorts;
    try {
        m_finishing && !m_endHeld ? CarryOutEnd(false) : EndOfTestProcessing(true);
    } catch (const std::exception& error) {
        LogText(devLogger(), LogLevelType::Error,
                [&] { return std::string("The end of a test that lost a port failed: ") + error.what(); });
    }
}

void CIptvResultsManager::EndOfTestProcessing(bool stopRequested) {
    if (!stopRequested) ++m_endedPorts;
    if (m_endHeld) {
        m_stopHeld = m_stopHeld || stopRequested;
    } else {
        CarryOutEnd(stopRequested);
    }
}

bool CIptvResultsManager::IsAwaitingEnds() const {
    return m_finishing && !m_finalDone &&
           !std::includes(m_knownEnds.begin(), m_knownEnds.end(), m_started.begin(), m_started.end());
}

bool CIptvResultsManager::IsStopping() const {
    return IsAwaitingEnds() && framework::CTaskManager::Instance().GetNow() < m_stoppingUntil;
}

void CIptvResultsManager::ReleaseEnd() {
    if (!std::exchange(m_endHeld, false)) return;
    const bool stop = std::exchange(m_stopHeld, false);
    if (stop || m_endedPorts > 0) CarryOutEnd(stop);
}

void CIptvResultsManager::CarryOutEnd(bool stopRequested) {
    const bool all_ended = static_cast<float>(m_endedPorts) / static_cast<float>(m_portCount) >= 1.0f;
    if (stopRequested || (all_ended && !m_finishing)) {
        m_finishing = true;
        m_stoppingUntil = framework::CTaskManager::Instance().GetNow() + std::chrono::seconds(60);
        SetCommandStatus(m_run, ids::IptvStopTestCommand::CLASS, false);
        LogText(
            devLogger(), LogLevelType::Info,
            " IPTV test is in the process of finishing. At this time both Start Test and Stop Test buttons "
            "are disabled. Start Test button will be enabled on test completion.");
        const std::vector<deregHandles> registrations = m_registrations;
        for (const deregHandles& registration : registrations) SendStop(registration);
    }
    if (m_endedPorts == m_portCount && !m_finalDone) FinalProcessing();
}

void CIptvResultsManager::SendStop(const deregHandles& registration) {
    const core::CPort& port =
        FindPortOrThrow(registration.port, "Port in De-registration Vector(sending stoptestcommand to IL)",
                        "CIptvResultsManager::EndOfTestProcessing");
    Trace([&port] { return "CIptvResultsManager::EndOfTestProcessing: Stopping Test On " + port.GetName(); });
    Message message;
    iptvcd_1_bll::create_req_Stop(&message);
    // StopTestHandler deals with a fault.
    const int result = CRpcManager::Instance().SendAsyncMessage(port.GetMessenger(), message, &m_stopDelegate,
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
            // No end-of-test notification will come from that port. By now another test may run.
            if (m_finishing && !m_finalDone) FinalProcessing();
        }
    } catch (const std::exception& error) {
        LogText(devLogger(), LogLevelType::Error, "got exception on IptvStopTest");
        LogText(devLogger(), LogLevelType::Error, error.what());
    }
}

CIptvTestResults& CIptvResultsManager::FindOrMakeTestResults() {
    auto* testResult =
        dynamic_cast<CIptvTestResults*>(framework::CHandleRegistry::Instance().Find(m_run.test_results));
    // A result that a user has cleared meanwhile would not be saved, so it is replaced.
    if (!testResult || testResult->IsDeleted()) {
        testResult = nullptr;
        auto* project = core::CProject::GetCurrentActiveInstance();
        if (project) testResult = FindOrMakeResult<CIptvTestResults>(*project, false, true);
        if (testResult) testResult->SetTestParams(m_run.test_name);
    }
    ORV_ASSERT(testResult != NULL, "Failed to retrieve IptvTestResults");
    return *testResult;
}

void CIptvResultsManager::FinalProcessing() {
    Trace([] { return "CIptvResultsManager::FinalProcessing()"; });
    m_finalDone = true;  // a test ends once, whatever arrives later
    {
        const ManagerLock lock(m_iptvMutex);          // results that are being binned belong to the test
        m_distributionResults.Make(m_distributions);  // complete when the verdict is announced
    }
    const double fail_percent =
        m_netChannelChanges == 0 ? 100.0 : m_failedJoins * 100.0 / m_netChannelChanges;
    CIptvTestResults& results = FindOrMakeTestResults();
    results.Set(ids::IptvTestResults::TestResult,
                m_run.Passes(fail_percent) ? ids::TestOutcome::PASSED : ids::TestOutcome::FAILED);
    results.SetEndTime();
    {
        const ManagerLock lock(m_iptvMutex);
        SaveToDatabase(fail_percent);
    }
    SetTestRunning(false);
    SetCommandStatus(m_run, ids::IptvStartTestCommand::CLASS, true);
    DeregisterAllNotifications();
    ResetBlockTimeStampVec();
    m_unsavedRows.Destroy();
    LogText(devLogger(), LogLevelType::Info, " IPTV test has finished.");
}

void CIptvResultsManager::DeregisterAllNotifications() {
    const std::vector<deregHandles> registrations = m_registrations;
    for (const deregHandles& registration : registrations) Deregister(registration);
    m_registrations.clear();
}

/// Cleans up after a test that did not end properly. Its ports and connections may be gone.
void CIptvResultsManager::DropRegistrations() {
    for (const deregHandles& registration : std::exchange(m_registrations, {}))
        DropRegistration(registration);
    for (const deregHandles& registration : std::exchange(m_incomplete, {})) {
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
    } catch (const common::COrvRunTimeError&) {  // already logged
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
