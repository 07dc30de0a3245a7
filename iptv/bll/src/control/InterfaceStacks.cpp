#include "control/InterfaceStacks.h"

#include <vector>

#include "IptvErrors.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/core/aal5_if.h"
#include "orv/core/eth_ii_if.h"
#include "orv/core/network_interface.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/vlan_if.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

void LinkLayers::Add(const core::CNetworkInterface& top) {
    for (const core::CNetworkInterface* layer = &top; layer; layer = layer->GetLowerInterface()) {
        if (layer->IsTypeOf(core::CAal5If::CLASS_ID())) {
            m_atmEncapsulation = layer->GetU8(ids::Aal5If::VcEncapsulation);
            m_bAtmPort = true;
        } else if (layer->IsTypeOf(core::CEthIIIf::CLASS_ID())) {
            m_bEthPort = true;
        }
    }
}

StackFlags CheckVlanAndPppEnable(const CIptvStbBlockConfig& stbBlock, std::uint8_t vlan_sub_filter) {
    constexpr const char* kCheck = "CIptvStartTestCommand::CheckVlanAndPppEnable";
    const CScriptable* protocol = stbBlock.GetMcastCfg();
    if (!protocol) {
        ThrowLookupFailure({"MulticastHostConfig", "IptvStbBlockConfig", kCheck},
                           "MulticastHostConfig associated with " + stbBlock.GetName());
    }
    const core::CNetworkInterface* interface = stbBlock.GetMcastIf();
    if (!interface) {
        ThrowLookupFailure({"NetworkInterface", "MulticastHostConfig", kCheck},
                           "NetworkInterface associated with " + protocol->GetName());
    }
    std::vector<core::CNetworkInterface*> stack;
    interface->GetNetworkInterfaceStack(stack);
    StackFlags flags;
    for (const core::CNetworkInterface* layer : stack) {
        if (layer->IsTypeOf(core::CVlanIf::CLASS_ID())) {
            (flags.m_vlanCount == 0 ? flags.m_bVlanOuter : flags.m_bVlanInner) = true;
            ++flags.m_vlanCount;
        }
        if (layer->IsTypeOf(core::CPppoeIf::CLASS_ID())) flags.m_bPppEnable = true;
    }
    if (flags.m_bPppEnable && flags.m_bVlanOuter && flags.m_bVlanInner)
        (vlan_sub_filter == ids::VlanSubFilter::OUTER ? flags.m_bVlanInner : flags.m_bVlanOuter) = false;
    return flags;
}

}  // namespace orv::iptv
