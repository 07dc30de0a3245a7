#include "wizard/FrameLayout.h"

#include <utility>
#include <vector>

#include "orv/core/network_interface.h"
#include "orv/ids/core_ids.h"

namespace orv::iptv {

std::string MakeFrameLayout(const core::CNetworkInterface& top) {
    static constexpr std::pair<common::ClassId, const char*> kHeaders[] = {
        {ids::Aal5If::CLASS, "<aal5/>"}, {ids::EthIIIf::CLASS, "<ethernet2/>"},
        {ids::VlanIf::CLASS, "<vlan/>"}, {ids::PppoeIf::CLASS, "<pppoe/>"},
        {ids::PppIf::CLASS, "<ppp/>"},   {ids::Ipv4If::CLASS, "<ipv4/>"},
        {ids::Ipv6If::CLASS, "<ipv6/>"},
    };
    std::vector<core::CNetworkInterface*> stack;
    top.GetNetworkInterfaceStack(stack);
    std::string layout = "<frame>";
    for (const core::CNetworkInterface* layer : stack) {
        for (const auto& [id, header] : kHeaders) {
            if (layer->IsTypeOf(id)) layout += header;
        }
    }
    return layout + "<udp/></frame>";
}

}  // namespace orv::iptv
