#include "IptvMsgSetCln.h"

#include <algorithm>

#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "apply/ApplyStates.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/tm/message.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

using framework::CHandleRegistry;

std::map<std::uint32_t, CIptvMsgSetCln*>& CIptvMsgSetCln::m_portMap =
    *new std::map<std::uint32_t, CIptvMsgSetCln*>;
framework::PropId CIptvMsgSetCln::m_portOnlineProp;
ScriptableVec CIptvMsgSetCln::m_profileList;
ScriptableVec CIptvMsgSetCln::m_viewedChannelList;
std::optional<ChannelBlockIndex> CIptvMsgSetCln::m_channelBlocks;
ConfigLook CIptvMsgSetCln::m_sent;
std::map<std::uint32_t, bool> CIptvMsgSetCln::m_filledRanges;

CIptvMsgSetCln* CIptvMsgSetCln::GetPortClient(const core::CPort* port, ApplyContext* ctx) {
    if (!port) return nullptr;
    auto found = m_portMap.find(port->GetHandle());
    if (found == m_portMap.end()) {
        auto client = std::make_unique<CIptvMsgSetCln>(port);
        found = m_portMap.emplace(port->GetHandle(), nullptr).first;
        found->second = client.release();
    }
    if (ctx) found->second->m_applyContext = ctx;
    return found->second;
}

void CIptvMsgSetCln::ReleasePortClient(CIptvMsgSetCln* client) {
    if (!client) return;
    m_portMap.erase(client->m_portHandle);
    delete client;
}

std::vector<std::uint32_t> CIptvMsgSetCln::FindPorts() {
    std::vector<std::uint32_t> ports;
    CIptvStbBlockConfig::FindObjectHandles(ports);
    for (const auto& [port, client] : m_portMap) {
        if (!client->m_knownBlocks.empty() || client->m_abandoned) ports.push_back(port);
    }
    GoneObjects::Get<CIptvViewingProfileConfig>().FindPorts(ports);
    GoneObjects::Get<CIptvViewedChannels>().FindPorts(ports);
    std::sort(ports.begin(), ports.end());
    ports.erase(std::unique(ports.begin(), ports.end()), ports.end());
    return ports;
}

CIptvMsgSetCln::CIptvMsgSetCln(const core::CPort* port)
    : m_portHandle(port->GetHandle()),
      m_responseDelegate(framework::ResponseDelegate::To<&CIptvMsgSetCln::GenericResponseHandler>(this)),
      m_portOnlineDelegate(framework::PropertyChangeDelegate::To<&CIptvMsgSetCln::PortOfflineHandler>(this)) {
    if (m_portOnlineProp == framework::PropId()) {
        const framework::CPropertyMeta* online = port->GetMetaClass()->FindProperty("Online");
        if (!online) {
            ThrowLookupFailure({"Online property", "Port", "CIptvMsgSetCln's constructor"},
                               "Port.Online property ");
        }
        m_portOnlineProp = online->id;
    }
    // const_cast: registering the client's delegate leaves the port's configuration as it is.
    const_cast<core::CPort*>(port)->RegisterPropertyChangeDelegate(m_portOnlineProp, m_portOnlineDelegate);
}

CIptvMsgSetCln::~CIptvMsgSetCln() {
    if (CScriptable* port = CHandleRegistry::Instance().Find(m_portHandle))
        port->UnregisterPropertyChangeDelegate(m_portOnlineProp, m_portOnlineDelegate);
}

const core::CPort* CIptvMsgSetCln::GetPort() const {
    return FindByHandle<core::CPort>(m_portHandle);
}

void CIptvMsgSetCln::PortOfflineHandler(CScriptable*, framework::PropId) {
    const core::CPort* port = GetPort();
    if (!port) ThrowLookupFailure({"Port", "IptvMsgSetCln", "CIptvMsgSetCln::PortOfflineHandler"}, "");
    if (port->IsOnline()) return;
    CIptvResultsManager::OnPortOffline(m_portHandle);
    ForgetEverything();
    const auto* project = core::CProject::GetCurrentActiveInstance();
    if (!project) return;
    ScriptableVec objects;
    project->GetObjects(objects, CIptvViewingProfileConfig::CLASS_ID(), common::kParentChild);
    project->GetObjects(objects, CIptvChannelBlock::CLASS_ID(), common::kParentChild);
    for (CScriptable* object : objects) {
        // Objects marked for deletion keep that state.
        if (!object->IsDeleted()) object->SetObjectState(CScriptable::STATE_MODIFIED);
    }
}

void CIptvMsgSetCln::ForgetEverything() {
    // A port that comes back may have lost its configuration, so everything is sent again. A response still
    // in flight is ignored.
    Abandon();
    m_knownBlocks.clear();
    m_sent = {};
    GoneObjects::Get<CIptvViewingProfileConfig>().Erase(m_portHandle);
    GoneObjects::Get<CIptvViewedChannels>().Erase(m_portHandle);
    const auto* project = core::CProject::GetCurrentActiveInstance();
    if (!project) return;
    ScriptableVec objects;
    project->GetObjects(objects, CIptvViewingProfileConfig::CLASS_ID(), common::kParentChild);
    project->GetObjects(objects, CIptvViewedChannels::CLASS_ID(), common::kParentChild);
    for (CScriptable* object : objects) {
        if (auto* known = dynamic_cast<AppliedPorts*>(object)) known->RemovePortInVec(m_portHandle);
    }
}

void CIptvMsgSetCln::AddToApplyMap(const std::string& key, CScriptable* object) {
    if (object) AddToApplyMap(key, object->GetHandle());
}

void CIptvMsgSetCln::GetFromApplyMap(const std::string& key, ScriptableVec& out) const {
    for (const std::uint32_t handle : GetHandlesFromApplyMap(key)) {
        if (CScriptable* object = CHandleRegistry::Instance().Find(handle)) out.push_back(object);
    }
}

std::vector<std::uint32_t> CIptvMsgSetCln::GetHandlesFromApplyMap(const std::string& key) const {
    const auto found = m_applyMap.find(key);
    if (found == m_applyMap.end()) return {};
    return {found->second.begin(), found->second.end()};
}

void CIptvMsgSetCln::ClearApplyMap(const std::string& key) {
    if (key.empty()) {
        m_applyMap.clear();
    } else {
        m_applyMap.erase(key);
    }
}

bool CIptvMsgSetCln::EntriesInApplyMap(const std::string& key) {
    const auto found = m_applyMap.find(key);
    if (found == m_applyMap.end()) return false;
    if (!found->second.empty()) return true;
    m_applyMap.erase(found);
    return false;
}

void CIptvMsgSetCln::AddProcessedObject(CScriptable& object, bool flag) {
    if (m_applyContext) m_applyContext->AddProcessedObject(object, flag);
}

void CIptvMsgSetCln::AddProcessedObjects(ScriptableVec& objects, bool flag) {
    for (CScriptable* object : objects) AddProcessedObject(*object, flag);
}

void CIptvMsgSetCln::Begin(std::unique_ptr<BaseState> state) {
    m_sentValues.clear();
    m_waitingResponse = false;
    m_abandoned = false;
    m_state = std::move(state);
}

void CIptvMsgSetCln::Abandon() {
    if (!m_state) return;
    m_state.reset();
    m_abandoned = true;
    m_sentValues.clear();
}

void CIptvMsgSetCln::ForgetAddresses() {
    if (!m_abandoned) return;
    for (CIptvViewedChannels* range : GetFromApplyMap<CIptvViewedChannels>(apply_key::kUpdateChannelBlock))
        range->ForgetIpParam();
}

void CIptvMsgSetCln::TakeSendErrors(std::vector<framework::ErrorMsg>& errors) {
    std::move(m_sendErrors.begin(), m_sendErrors.end(), std::back_inserter(errors));
    m_sendErrors.clear();
}

void CIptvMsgSetCln::Dispatch(bool& pending) {
    if (!m_state) return;
    if (m_waitingResponse) {
        pending = true;
        return;
    }
    bool await_response = false;
    if (m_state->PrepareState(this)) {
        Message message;
        if (m_state->FillMessage(this, message, await_response)) {
            Send(message, await_response, pending);
            if (!m_state || m_waitingResponse) return;
        }
    }
    m_state = m_state->NextState(this);
}

void CIptvMsgSetCln::Send(Message& message, bool await_response, bool& pending) {
    const core::CPort* port = GetPort();
    ORV_ASSERT(port != NULL, "Failed to retrieve port from IPTV port client");
    const framework::Messenger messenger = port->GetMessenger();
    const int result = framework::CRpcManager::Instance().SendAsyncMessage(
        messenger, message, &m_responseDelegate, nullptr, 0, true);
    if (static_cast<std::uint16_t>(result) != 0) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            return DescribeError("CIptvMsgSetCln::Dispatch (" + m_state->GetName() + ") message send",
                                 message);
        });
        m_sendErrors.push_back({message.header().get_seq_no(), messenger.ToMessengerString(), result,
                                message.get_request_name() + " could not be sent"});
        Abandon();
        return;
    }
    if (!await_response) return;
    m_waitingResponse = true;
    pending = true;
    m_state->CommitObjects(this);
}

std::string CIptvMsgSetCln::DescribeError(const std::string& prefix, const Message& message) const {
    const core::CPort* port = GetPort();
    return "RPC error for " + prefix + ": Seq " + std::to_string(message.header().get_seq_no()) + ", \"" +
           message.get_request_name() + "\", fault " + std::to_string(message.get_fault_code()) + ", \"" +
           message.get_fault_string() + "\" on port " +
           (port ? port->GetMessenger().ToMessengerString() : std::string());
}

void CIptvMsgSetCln::GenericResponseHandler(std::uint16_t sequence, Message* response, void* context) {
    m_waitingResponse = false;
    if (response->get_msg_type() == tm::TMT_FAULT) {
        LogText(devLogger(), LogLevelType::Error, [&] {
            const std::string state = m_state ? "(" + m_state->GetName() + ") " : "";
            return DescribeError("CIptvMsgSetCln::GenericResponseHandler " + state + "message response",
                                 *response);
        });
        Abandon();
    } else if (response->get_msg_type() == tm::TMT_RESPONSE && m_state) {
        try {
            m_state->ProcessResponse(this, sequence, response, context);
        } catch (...) {
            Abandon();  // otherwise the request would be sent again
            throw;
        }
        m_state = m_state->NextState(this);
    }
}

}  // namespace orv::iptv
