// One apply of all ports.
#include <algorithm>

#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "apply/ApplyStates.h"
#include "config/ConfigChanges.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/framework_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace {

using framework::CHandleRegistry;
using framework::ErrorMsg;

ScriptableVec GetCurrentAndRemoved(const CScriptable& project, common::ClassId id) {
    ScriptableVec objects;
    project.GetObjects(objects, id, common::kParentChild);
    // Objects whose deletion is pending are on both lists.
    ScriptableVec removed;
    project.GetRemovedObjects(removed, id, common::kParentChild);
    const std::set<CScriptable*> listed(objects.begin(), objects.end());
    std::copy_if(removed.begin(), removed.end(), std::back_inserter(objects),
                 [&listed](CScriptable* object) { return !listed.contains(object); });
    return objects;
}

[[noreturn]] void ThrowErrors(const std::vector<ErrorMsg>& errors) {
    std::string text = "IPTV Apply received error";
    if (errors.size() > 1) text += "s";
    LogText(devLogger(), LogLevelType::Error, text);
    for (std::size_t i = 0; i < errors.size(); ++i) {
        const ErrorMsg& error = errors[i];
        text += "error " + std::to_string(i) + ": msgSeqNum " + std::to_string(error.msg_seq_num) +
                ", msgrString: " + error.messenger_string +
                ", faultCode: " + std::to_string(error.fault_code) + ", faultString: " + error.fault_string;
    }
    LogText(devLogger(), LogLevelType::Error, text);
    throw common::COrvRunTimeError(text, true);
}

/// The ports that take part in one apply, by handle: objects may be destroyed during a wait.
class Passes {
  public:
    void Add(CIptvMsgSetCln& client) {
        client.Begin(std::make_unique<IptvSetupState>());
        m_ports.push_back(client.GetPortHandle());
        m_allPorts.push_back(client.GetPortHandle());
    }

    /// Returns when every port is done. A fault stops its own port only; all errors are thrown at the end.
    void Run();

  private:
    void RunPasses();
    bool Walk();
    void Wait();
    void AbandonAll();
    void ForgetAddresses();
    CIptvMsgSetCln* Find(std::uint32_t port) const { return CIptvMsgSetCln::FindPortClient(port); }

    std::vector<std::uint32_t> m_ports;  ///< those that are not done
    std::vector<std::uint32_t> m_allPorts;
    std::vector<ErrorMsg> m_errors;
};

void Passes::Run() {
    try {
        RunPasses();
    } catch (...) {
        // Requests in flight to other ports are waited for, so that what these ports do is noted, and no
        // response arrives in the middle of the next apply.
        Wait();
        AbandonAll();
        ForgetAddresses();
        throw;
    }
    ForgetAddresses();
    if (!m_errors.empty()) ThrowErrors(m_errors);
}

void Passes::RunPasses() {
    while (!m_ports.empty()) {
        if (Walk()) Wait();
    }
}

/// One step of each port. True when a response is outstanding.
bool Passes::Walk() {
    bool pending = false;
    for (auto port = m_ports.begin(); port != m_ports.end();) {
        CIptvMsgSetCln* client = Find(*port);
        // A port may have been destroyed while others were waited for.
        const bool gone = client && !client->GetPort();
        if (client && client->IsBusy() && !gone) {
            client->Dispatch(pending);
            client->TakeSendErrors(m_errors);
            ++port;
            continue;
        }
        if (client && (gone || client->GetPort()->IsDeleted())) CIptvMsgSetCln::ReleasePortClient(client);
        port = m_ports.erase(port);
    }
    return pending;
}

void Passes::Wait() {
    framework::CRpcManager::Instance().Wait(m_errors);
}

void Passes::AbandonAll() {
    for (const std::uint32_t port : m_ports) {
        if (CIptvMsgSetCln* client = Find(port)) client->Abandon();
    }
}

void Passes::ForgetAddresses() {
    for (const std::uint32_t port : m_allPorts) {
        if (CIptvMsgSetCln* client = Find(port)) client->ForgetAddresses();
    }
}

}  // namespace

CIptvMsgSetCln* CIptvMsgSetCln::FindPortClient(std::uint32_t port) {
    const auto found = m_portMap.find(port);
    return found == m_portMap.end() ? nullptr : found->second;
}

void CIptvMsgSetCln::ReleaseClientsOfGonePorts() {
    for (auto entry = m_portMap.begin(); entry != m_portMap.end();) {
        CIptvMsgSetCln* client = (entry++)->second;
        if (!client->GetPort()) ReleasePortClient(client);
    }
    const auto forget = [](GoneObjects& gone) {
        std::vector<std::uint32_t> ports;
        gone.FindPorts(ports);
        for (const std::uint32_t port : ports) {
            if (!CHandleRegistry::Instance().Find(port)) gone.Erase(port);
        }
    };
    forget(GoneObjects::Get<CIptvViewingProfileConfig>());
    forget(GoneObjects::Get<CIptvViewedChannels>());
}

ConfigChanges CIptvMsgSetCln::FindChanges() {
    // After an apply that failed, also in another handler, everything still counts as changed.
    const bool settled = framework::CChangeLog::Instance().GetSettled() > m_sent.GetMoment();
    return settled ? m_sent.GetChanges() : ConfigChanges::Everything();
}

void CIptvMsgSetCln::NoteAddresses(CIptvViewedChannels& range, bool changed) {
    const auto [entry, is_first] = m_filledRanges.try_emplace(range.GetHandle(), false);
    if (!is_first && changed) entry->second = true;
}

/// What is not sent because a test runs stays new or modified.
void CIptvMsgSetCln::KeepDirty(const CScriptable& project, ApplyContext& ctx) {
    ScriptableVec objects;
    for (const common::ClassId id : {CIptvViewingProfileConfig::CLASS_ID(), CIptvViewedChannels::CLASS_ID(),
                                     CIptvChannelBlock::CLASS_ID()})
        project.GetObjects(objects, id, common::kParentChild);
    std::vector<std::uint32_t> ports;
    CIptvStbBlockConfig::FindObjectHandles(ports);
    for (const std::uint32_t port : ports) {
        std::vector<CIptvStbBlockConfig*> blocks;
        CIptvStbBlockConfig::FindObjects(port, blocks);
        objects.insert(objects.end(), blocks.begin(), blocks.end());
    }
    for (CScriptable* object : objects) {
        if (object->IsObjectDirty(false)) ctx.AddProcessedObject(*object, true);
    }
}

void CIptvMsgSetCln::ListSharedObjects(const CScriptable& project) {
    m_profileList = GetCurrentAndRemoved(project, CIptvViewingProfileConfig::CLASS_ID());
    m_viewedChannelList = GetCurrentAndRemoved(project, CIptvViewedChannels::CLASS_ID());
    m_channelBlocks.emplace(ChannelBlockIndex::OfProject());
}

void CIptvMsgSetCln::OnApplyProject(ApplyContext& ctx) {
    Trace([] { return "CIptvMsgSetCln::OnApplyProject() begin"; });
    ReleaseClientsOfGonePorts();
    const std::vector<std::uint32_t> ports = FindPorts();
    const CScriptable* project = ctx.GetCurrentObject();
    if (!project) return;
    if (CIptvResultsManager::IsTestRunning()) return KeepDirty(*project, ctx);
    if (ports.empty()) return;

    const ConfigChanges changes = FindChanges();
    const ConfigLook now = ConfigLook::Now();
    m_filledRanges.clear();
    m_sent = {};  // until the apply has succeeded on all ports
    if (changes.IsEverything()) ListSharedObjects(*project);
    Passes passes;
    for (const std::uint32_t handle : ports) {
        if (!changes.Concern(handle)) continue;
        const auto* port = FindByHandle<core::CPort>(handle);
        if (!port) continue;
        if (!port->IsReachable()) {
            // The port takes no part in this apply. Once it is reachable again, it is sent everything.
            if (CIptvMsgSetCln* client = FindPortClient(handle)) client->ForgetEverything();
            continue;
        }
        if (port->GetObjectState() == CScriptable::STATE_OBSOLETE) {
            CIptvStbBlockConfig::InvalidateHandle(handle);
            continue;
        }
        CIptvMsgSetCln* client = GetPortClient(port, &ctx);
        ORV_ASSERT(client != NULL, "Failed to get IPTV port client");
        passes.Add(*client);
    }
    passes.Run();
    for (const auto& [handle, differently] : m_filledRanges) {
        auto* range = FindByHandle<CIptvViewedChannels>(handle);
        if (range && differently) range->ForgetIpParam();
    }
    if (now.HasSameRules()) m_sent = now;
    Trace([] { return "CIptvMsgSetCln::OnApplyProject() end"; });
}

namespace {

const framework::ApplyObjectHandler handler{
    "ApplyIptv", "Mulvane", ids::Project::CLASS,
    framework::ApplyObjectHandler::Function::To<&CIptvMsgSetCln::OnApplyProject>(), false};
const framework::StaticRegisterApplyHandler registration{&handler};

}  // namespace

}  // namespace orv::iptv
