#include "network_of_test.h"

#include <algorithm>

#include "addresses.h"
#include "orv/ids/iptv_ids.h"
#include "orv/il/address_order.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::app {

namespace {

/// Adjacent addresses become one range: a channel block may number thousands of groups.
void AppendRanges(std::vector<ipAddress_t> addresses, const BehaviourChange& change,
                  const Simulation& simulation, std::vector<il::Network::GroupRange>& ranges) {
    const il::NetworkBehaviour behaviour = change.ApplyTo(simulation.defaults);
    const auto ports = std::make_shared<std::map<std::string, il::NetworkBehaviour>>(simulation.ports);
    for (auto& [name, of_port] : *ports) of_port = change.ApplyTo(of_port);
    const auto is_next = [](const ipAddress_t& before, const ipAddress_t& after) {
        const std::size_t last = ipAddress_t::length_of(after.type) - 1;
        ipAddress_t successor = before;
        // Carries need not be merged: two ranges work as well as one.
        return before.type == after.type && ++successor.v6.address[last] != 0 && successor == after;
    };
    std::sort(addresses.begin(), addresses.end(), il::AddressOrder{});
    bool first = true;
    for (const ipAddress_t& address : addresses) {
        if (!first && (ranges.back().last == address || is_next(ranges.back().last, address))) {
            ranges.back().last = address;
        } else {
            ranges.push_back({address, address, behaviour, ports});
        }
        first = false;
    }
}

}  // namespace

il::Network MakeNetwork(const Simulation& simulation, const framework::CScriptable& project) {
    il::Network network;
    network.behaviour = simulation.defaults;
    network.ports = simulation.ports;
    network.seed = simulation.seed;
    framework::ScriptableVec channel_blocks;
    project.GetObjects(channel_blocks, ids::IptvChannelBlock::CLASS, common::kParentChild);
    for (const framework::CScriptable* channels : channel_blocks) {
        const auto change = simulation.channel_blocks.find(channels->GetName());
        if (change == simulation.channel_blocks.end()) continue;
        const auto* group = dynamic_cast<const mcastcore::CMulticastGroup*>(
            channels->GetObject(mcastcore::CMulticastGroup::CLASS_ID(), ids::relations::MulticastParam));
        if (!group || !group->GetNetworkBlock()) continue;
        AppendRanges(GetAddresses(*group->GetNetworkBlock()), change->second, simulation, network.groups);
    }
    return network;
}

}  // namespace orv::app
