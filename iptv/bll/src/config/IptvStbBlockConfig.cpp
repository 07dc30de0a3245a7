#include "config/IptvStbBlockConfig.h"

#include "ClassRegistration.h"
#include "IptvLog.h"
#include "config/ConfigChanges.h"
#include "config/IptvBlockIfUserFinder.h"
#include "orv/common/exceptions.h"
#include "orv/core/if_manager.h"
#include "orv/core/network_interface.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/igmpmld/multicast_host_config.h"

namespace orv::iptv {

namespace {

framework::RelationChangeDelegate MakeDelegate(CIptvStbBlockConfig* block) {
    return framework::RelationChangeDelegate::To<&CIptvStbBlockConfig::RelChangeHandler>(block);
}

CScriptable& GetParentOrThrow(const CIptvStbBlockConfig& block) {
    CScriptable* const parent = block.GetParent();
    ORV_ASSERT(parent != NULL, "Serious error: No parent");
    return *parent;
}

void RegisterInterfaceUserFinder() {
    if (CIptvStbBlockConfig::m_ifFinderRegistered) return;
    core::CIfManager::Instance().RegisterInterfaceUserFinderFactoryMethod(
        core::CIfManager::FinderFactory::To<&CIptvBlockIfUserFinder::IptvBlockIfUserFinderMaker>());
    CIptvStbBlockConfig::m_ifFinderRegistered = true;
}

}  // namespace

const StbPortMap& CIptvStbBlockConfig::m_startTestStbMap = RunningTest::GetParticipants();
const bool& CIptvStbBlockConfig::m_bFccCheck = RunningTest::GetRules().fcc_check;
bool CIptvStbBlockConfig::m_ifFinderRegistered = false;

CIptvStbBlockConfig::CIptvStbBlockConfig() = default;
CIptvStbBlockConfig::~CIptvStbBlockConfig() {
    StopListening();
}

std::uint32_t CIptvStbBlockConfig::GetIndexHandle() const {
    if (!GetParent()) return 0;
    const CScriptable* port = GetParent()->GetObject(ids::Port::CLASS, ids::relations::AffiliationPort);
    return port ? port->GetHandle() : 0;
}

bool CIptvStbBlockConfig::OnInit() {
    CScriptable& device = GetParentOrThrow(*this);
    FileUnderPort();
    if (GetBlockKey() != 0 && !HasBlockIndex()) {
        throw common::COrvRunTimeError(device.Describe() + ": its port carries " + std::to_string(kNoIndex) +
                                       " set-top-box blocks already, and cannot carry more");
    }
    Listen(device);
    RegisterInterfaceUserFinder();
    return true;
}

void CIptvStbBlockConfig::FileUnderPort() {
    AddObjectToMap();
    ConfigChanges::NotePort(GetBlockKey());
    if (GetBlockKey() != 0 && !HasBlockIndex()) {
        LogText(userLogger(), LogLevelType::Error, [&] {
            return Describe() + " has no index: its port carries " + std::to_string(kNoIndex) +
                   " set-top-box blocks already";
        });
    }
}

void CIptvStbBlockConfig::LeavePort() {
    ConfigChanges::NotePort(GetBlockKey());
    RemoveObjectFromMap();
}

bool CIptvStbBlockConfig::OnMarkDelete() {
    GetParentOrThrow(*this);
    StopListening();
    ConfigChanges::NotePort(GetBlockKey());
    if (GetBlockKey() != 0 && HasBlockIndex()) LeaveGroup();
    return true;
}

void CIptvStbBlockConfig::Listen(CScriptable& device) {
    StopListening();
    device.RegisterRelationChangeDelegate(MakeDelegate(this));
    m_listeningTo = device.GetHandle();
}

void CIptvStbBlockConfig::StopListening() {
    CScriptable* device = framework::CHandleRegistry::Instance().Find(m_listeningTo);
    if (device) device->UnregisterRelationChangeDelegate(MakeDelegate(this));
    m_listeningTo = 0;
}

void CIptvStbBlockConfig::OnRelationModified(RelationType type, CScriptable& other, bool added) {
    // A block that is moved to another device belongs to that device's port from then on.
    if (type == common::kChildParent && !IsDeleted()) {
        if (!added) {
            StopListening();
            LeavePort();
        } else if (other.GetHandle() != m_listeningTo) {
            Listen(other);
            FileUnderPort();
        }
    }
    if (added && type == ids::relations::MulticastParam) {
        // What the hosts join is what the set-top boxes watch; they need no memberships of their own.
        if (other.IsTypeOf(igmpmld::CMulticastHostConfig::CLASS_ID())) {
            other.Set("AllowNoMemberships", "TRUE");
        } else {
            LogText(devLogger(), LogLevelType::Error,
                    "IptvStbBlockConfig: Error trying to set AllowNoMemberships flag");
        }
    }
    CScriptable::OnRelationModified(type, other, added);
}

void CIptvStbBlockConfig::RelChangeHandler(CScriptable& source, CScriptable& other, RelationType type,
                                           bool added) {
    if (type != ids::relations::AffiliationPort || !source.IsTypeOf(ids::EmulatedDevice::CLASS) ||
        !other.IsTypeOf(ids::Port::CLASS)) {
        return;
    }
    if (added) {
        FileUnderPort();
    } else if (GetBlockKey() != 0) {
        LeavePort();
    }
}

CScriptable* CIptvStbBlockConfig::GetMcastCfg() const {
    return GetObject(ids::MulticastHostConfig::CLASS, ids::relations::MulticastParam);
}

core::CNetworkInterface* CIptvStbBlockConfig::GetMcastIf() const {
    const CScriptable* protocol = GetMcastCfg();
    if (!protocol) return nullptr;
    return dynamic_cast<core::CNetworkInterface*>(
        protocol->GetObject(core::CNetworkInterface::CLASS_ID(), ids::relations::UsesIf));
}

bool CIptvStbBlockConfig::CheckIfAnyRelatedObjectsAreDirty(bool update) {
    StbBlockValues now;
    GetNewValues(now);
    if (now == m_appliedValues) return false;
    Trace([&] {
        return "CIptvStbBlockConfig::CheckIfAnyRelatedObjectsAreDirty() for " + GetName() +
               ". Things are dirty (" + DescribeDifference(now, m_appliedValues) + ")";
    });
    if (update) m_appliedValues = std::move(now);
    return true;
}

IPTV_REGISTER_CLASS(CIptvStbBlockConfig);
IPTV_REGISTER_VALIDATOR(CIptvStbBlockConfig, OnValidateStbBlock, ids::Project::CLASS);

}  // namespace orv::iptv
