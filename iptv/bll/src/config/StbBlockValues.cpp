// How an STB block collects the values that it takes from related objects.
#include "config/StbBlockValues.h"

#include <boost/algorithm/string/case_conv.hpp>

#include <algorithm>
#include <iterator>

#include "IptvErrors.h"
#include "config/AddressLists.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_interface.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/vlan_if.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace {

using iptvcd_1_bll::IgmpVersion;
namespace StbBlockId = ids::IptvStbBlockConfig;

[[noreturn]] void ThrowMissing(const char* object, const char* from, const CIptvStbBlockConfig& block,
                               const std::source_location& where = std::source_location::current()) {
    ThrowLookupFailure({object, from, "CIptvPortConfig::OnApplyStbBlockUpdate"},
                       std::string(object) + " associated with " + block.GetName(), where);
}

struct VersionName {
    const char* name;
    IgmpVersion version;
};
constexpr VersionName kVersionNames[] = {{"IGMP_V1", IgmpVersion::IGMP_VERSION1},
                                         {"IGMP_V2", IgmpVersion::IGMP_VERSION2},
                                         {"IGMP_V3", IgmpVersion::IGMP_VERSION3},
                                         {"MLD_V1", IgmpVersion::MLD_VERSION1},
                                         {"MLD_V2", IgmpVersion::MLD_VERSION2}};

/// Another text leaves the version as it is.
void SetVersion(IgmpVersion& version, const std::string& name) {
    const auto found = std::find_if(std::begin(kVersionNames), std::end(kVersionNames),
                                    [&name](const VersionName& known) { return name == known.name; });
    if (found != std::end(kVersionNames)) version = found->version;
}

ipAddress_t GetFccServer(const CIptvStbBlockConfig& block, const std::string& version_name) {
    const bool ipv6 = version_name == "MLD_V1" || version_name == "MLD_V2";
    return ipv6 ? ToIpAddress(block.GetIpv6(StbBlockId::FccServerAddrV6))
                : ToIpAddress(block.GetIp(StbBlockId::FccServerAddrV4));
}

/// Takes VLAN tags and PPPoE sessions from the interface stack. The first VLAN tag met, from the link layer
/// up, is the outer one, the second the inner one; further tags are ignored. False when the sessions are not
/// known yet: then nothing is written.
class StackValues {
  public:
    explicit StackValues(const CIptvStbBlockConfig& block) : m_block(block) {}

    bool Collect(const core::CNetworkInterface& top, StbBlockValues& values);

  private:
    bool AddSessions(const core::CNetworkInterface& layer, StbBlockValues& values) const;

    const CIptvStbBlockConfig& m_block;
    std::vector<const core::CVlanIf*> m_vlans;
};

bool StackValues::Collect(const core::CNetworkInterface& top, StbBlockValues& values) {
    std::vector<core::CNetworkInterface*> stack;
    top.GetNetworkInterfaceStack(stack);
    for (const core::CNetworkInterface* layer : stack) {
        if (const auto* vlan = dynamic_cast<const core::CVlanIf*>(layer)) {
            m_vlans.push_back(vlan);
        } else if (layer->IsTypeOf(core::CPppoeIf::CLASS_ID()) && !AddSessions(*layer, values)) {
            return false;
        }
    }
    if (!m_vlans.empty()) {
        values.has_outer_vlan = 1;
        values.outer_vlan_id = m_vlans[0]->GetU16(ids::VlanIf::VlanId);
        values.outer_vlan_step = static_cast<std::uint16_t>(m_vlans[0]->GetS16(ids::VlanIf::IdStep));
    }
    if (m_vlans.size() > 1) {
        values.has_inner_vlan = 1;
        values.inner_vlan_id = m_vlans[1]->GetU16(ids::VlanIf::VlanId);
        values.inner_vlan_step = static_cast<std::uint16_t>(m_vlans[1]->GetS16(ids::VlanIf::IdStep));
    }
    return true;
}

bool StackValues::AddSessions(const core::CNetworkInterface& layer, StbBlockValues& values) const {
    const auto* pppoe = dynamic_cast<const core::CPppoeIf*>(&layer);
    if (!pppoe) ThrowMissing("PppoeIf", "nvIt", m_block);
    if (pppoe->GetU8(ids::PppoeIf::SessionResolveState) == ids::ResolveState::RESOLVE_NEEDED) return false;
    const std::vector<std::uint16_t> sessions = pppoe->GetSessionIdList();
    values.ppp_sessions.insert(values.ppp_sessions.end(), sessions.begin(), sessions.end());
    return true;
}

}  // namespace

void CIptvStbBlockConfig::GetNewValues(StbBlockValues& values) const {
    const CScriptable* profile = GetObject(ids::IptvViewingProfileConfig::CLASS, ids::relations::IptvProfile);
    if (!profile) ThrowMissing("IptvViewingProfileConfig", "IptvStbBlockConfig", *this);
    values.profile_handle = profile->GetHandle();
    values.min_buffer_level = GetU16(StbBlockId::MinBufferLevel);

    const CScriptable* protocol = GetMcastCfg();
    if (!protocol) ThrowMissing("MulticastHostConfig", "IptvStbBlockConfig", *this);
    const std::string version = boost::to_upper_copy(protocol->Get("Version"));
    SetVersion(values.igmp_version, version);
    if (m_bFccCheck) {
        values.fcc_server_address = GetFccServer(*this, version);
        values.fcc_server_port = GetU16(StbBlockId::FccServerPort);
        values.udp_source_port = GetU16(StbBlockId::UdpSourcePort);
        values.udp_source_port_step = GetU16(StbBlockId::UdpSourcePortStep);
    }

    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(GetParent());
    if (!device) ThrowMissing("EmulatedDevice", "IptvStbBlockConfig", *this);
    values.settop_count = device->GetDeviceCount();
    const core::CNetworkInterface* interface = GetMcastIf();
    if (!interface) ThrowMissing("NetworkInterface", "MulticastHostConfig", *this);
    const bool on_port = interface->GetU8(ids::EmulatedIf::IlMembership) == ids::IlMembership::INCLUDED;
    values.vif_handle = on_port ? interface->GetIlIfHandle(device->GetPort(), protocol) : 0;

    values.ppp_sessions.clear();
    if (!StackValues(*this).Collect(*interface, values)) return;
    framework::ScriptableVec ranges;
    GetObjects(ranges, ids::IptvViewedChannels::CLASS, ids::relations::StbChannel);
    for (const CScriptable* range : ranges) values.channel_handles.push_back(range->GetHandle());
}

std::string DescribeDifference(const StbBlockValues& a, const StbBlockValues& b) {
    std::string names;
    const auto compare = [&](auto StbBlockValues::*member, const char* name) {
        if (a.*member == b.*member) return;
        if (!names.empty()) names += ", ";
        names += name;
    };
    compare(&StbBlockValues::profile_handle, "profile handle");
    compare(&StbBlockValues::settop_count, "set-top box count");
    compare(&StbBlockValues::has_outer_vlan, "outer VLAN present");
    compare(&StbBlockValues::outer_vlan_id, "outer VLAN id");
    compare(&StbBlockValues::outer_vlan_step, "outer VLAN id step");
    compare(&StbBlockValues::channel_handles, "channel handles");
    compare(&StbBlockValues::vif_handle, "interface handle");
    compare(&StbBlockValues::ppp_sessions, "PPPoE session ids");
    compare(&StbBlockValues::has_inner_vlan, "inner VLAN present");
    compare(&StbBlockValues::inner_vlan_id, "inner VLAN id");
    compare(&StbBlockValues::inner_vlan_step, "inner VLAN id step");
    compare(&StbBlockValues::igmp_version, "group membership version");
    compare(&StbBlockValues::min_buffer_level, "minimum buffer level");
    compare(&StbBlockValues::fcc_server_address, "FCC server address");
    compare(&StbBlockValues::fcc_server_port, "FCC server port");
    compare(&StbBlockValues::udp_source_port, "UDP source port");
    compare(&StbBlockValues::udp_source_port_step, "UDP source port step");
    return names;
}

}  // namespace orv::iptv
