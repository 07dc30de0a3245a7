#include "live_addressing.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "address_clients.h"
#include "links.h"
#include "orv/il/port_fault.h"
#include "orv/il/random.h"
#include "orv/live/dhcp4_message.h"
#include "orv/live/dhcp6_message.h"

namespace orv::nic {

using hostaddr_1_bll::addressBlock_s;
using hostaddr_1_bll::AddressProtocol;
using il::FaultCode;
using il::PortFault;
using live::AddressClient;

namespace {

/// Of the same family.
live::IpAddress make_unspecified(const live::IpAddress& like) {
    return like.IsV6() ? live::IpAddress::V6({}) : live::IpAddress();
}

}  // namespace

LiveAddressing::LiveAddressing(il::ITimeline& timeline, FrameSink& sink, Events events)
    : timeline_(timeline), sink_(sink), events_(std::move(events)) {}

std::size_t LiveAddressing::HostKeyHash::operator()(const HostKey& key) const {
    return hash_of(std::as_bytes(std::span(key.mac.bytes)), key.link * 2 + (key.is_v6 ? 1 : 0));
}

il::AddressNetwork::Clients LiveAddressing::make_clients(const addressBlock_s& block,
                                                         const il::PortConfiguration& configuration,
                                                         std::uint64_t seed, Changed changed) {
    std::vector<Host> hosts =
        hosts_without_addresses(block.if_handle, configuration.interfaces.stacks.at(block.if_handle));
    if (hosts.size() != block.hosts.size())
        throw PortFault(FaultCode::BadValue,
                        fmt::format("address block {} has {} hosts, and interface {} has {}", block.handle,
                                    block.hosts.size(), block.if_handle, hosts.size()));
    if (interfaces_.contains(block.if_handle))
        throw PortFault(FaultCode::BadValue,
                        fmt::format("the hosts of interface {} get their addresses by another block already",
                                    block.if_handle));
    if (!hosts.empty() && hosts.front().address.ip.IsV6() != (block.protocol != AddressProtocol::DHCPV4))
        throw PortFault(FaultCode::BadValue,
                        fmt::format("address block {} and interface {} have different IP versions",
                                    block.handle, block.if_handle));
    for (std::size_t i = 0; i < hosts.size(); ++i)
        if (const auto& own = hosts[i].address; find(own.vlan, own.mac, own.ip.IsV6()))
            throw PortFault(
                FaultCode::BadValue,
                fmt::format("address block {}, host {}: another host of the link has its MAC address, "
                            "and asks for an address, too",
                            block.handle, i + 1));
    const ClientMaker make = choose_client_maker(block);
    Clients clients;
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        AddressClient::Surroundings surroundings{
            timeline_, il::mixed(seed + i), [this](std::span<const std::byte> frame) { sink_.send(frame); },
            [changed, number = static_cast<std::uint32_t>(i)] { changed(number); }};
        try {
            clients.push_back(make(block.hosts[i], hosts[i], std::move(surroundings)));
        } catch (const std::invalid_argument& error) {
            throw PortFault(FaultCode::BadValue,
                            fmt::format("address block {}, host {}: {}", block.handle, i + 1, error.what()));
        }
    }
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        const live::HostAddress& address = hosts[i].address;
        const bool is_v6 = address.ip.IsV6();
        clients_.insert_or_assign({Links::key_of(address.vlan), address.mac, is_v6}, clients[i].get());
        // Servers and relays answer to it.
        if (is_v6) listen_to_neighbours(hosts[i], il::mixed(seed - i));
    }
    if (block.protocol == AddressProtocol::DHCPV4) ipv4_clients_ += hosts.size();
    Interface& interface = interfaces_[block.if_handle];
    interface.last_addresses.resize(hosts.size());
    interface.hosts = std::move(hosts);
    // A delegated prefix is for those behind the host, whose own address is configured.
    interface.gives_addresses = block.protocol != AddressProtocol::DHCPV6_PD;
    events_.listening_changed();
    return clients;
}

void LiveAddressing::host_changed(const addressBlock_s& block, std::uint32_t number, const Client& client) {
    Interface& interface = interfaces_.at(block.if_handle);
    if (!interface.gives_addresses) return;
    Host& host = interface.hosts.at(number);
    const Host before = host;
    const auto& given = client.GetGiven();
    host.address.ip = given ? given->address : make_unspecified(before.address.ip);
    host.gateway = given ? given->gateway : make_unspecified(before.address.ip);
    host.prefix_length = given ? given->prefix_length : std::uint8_t{0};
    host.gateway_mac = given ? given->gateway_mac : std::nullopt;
    const bool had_address = !before.address.ip.IsUnspecified();
    if (host.address.ip == before.address.ip && host.gateway == before.gateway &&
        host.prefix_length == before.prefix_length && host.gateway_mac == before.gateway_mac)
        return;
    if (const auto member = members_.find({Links::key_of(host.address.vlan), host.address.mac, true});
        member != members_.end()) {
        const live::IpAddress own = live::LinkLocalAddress(host.address.mac);
        const auto is_other = [&own](const live::IpAddress& address) {
            return address.IsV6() && !address.IsUnspecified() &&
                   live::SolicitedNodeAddress(address) != live::SolicitedNodeAddress(own);
        };
        if (is_other(before.address.ip)) member->second->Leave(live::SolicitedNodeAddress(before.address.ip));
        if (is_other(host.address.ip))
            member->second->Join(live::SolicitedNodeAddress(host.address.ip), live::FilterMode::Exclude);
    }
    if (had_address) neighbours_.remove(before.address);
    if (given) {
        // A server may give one address to several hosts: each of them has a conflict with the one before.
        const auto* other = neighbours_.find(host.address.vlan, host.address.ip);
        if (other && other->mac != host.address.mac)
            if (AddressClient* own = find(host.address.vlan, host.address.mac, host.address.ip.IsV6()))
                own->OnAddressUsed(host.address.ip, other->mac);
        neighbours_.add(host.address);
    }
    if (!given) {
        if (had_address) events_.address_lost({block.if_handle, number, before.address.ip});
        return;
    }
    const live::IpAddress former = std::exchange(interface.last_addresses.at(number), host.address.ip);
    if (!former.IsUnspecified()) events_.address_changed({block.if_handle, number, former}, host);
}

void LiveAddressing::forget(const addressBlock_s& block) {
    const auto found = interfaces_.find(block.if_handle);
    if (found == interfaces_.end()) return;
    for (const Host& host : found->second.hosts) {
        const bool is_v6 = host.address.ip.IsV6();
        clients_.erase({Links::key_of(host.address.vlan), host.address.mac, is_v6});
        neighbours_.remove(host.address);
        members_.erase({Links::key_of(host.address.vlan), host.address.mac, is_v6});
        if (is_v6)
            neighbours_.remove(
                {host.address.mac, live::LinkLocalAddress(host.address.mac), host.address.vlan});
        if (!is_v6) --ipv4_clients_;
    }
    interfaces_.erase(found);
    events_.listening_changed();
}

bool LiveAddressing::has(std::uint32_t if_handle) const {
    const auto found = interfaces_.find(if_handle);
    return found != interfaces_.end() && found->second.gives_addresses;
}

AddressClient* LiveAddressing::find(const live::VlanTags& vlan, const live::MacAddress& mac,
                                    bool is_v6) const {
    const auto found = clients_.find({Links::key_of(vlan), mac, is_v6});
    return found == clients_.end() ? nullptr : found->second;
}

void LiveAddressing::on_frame(const live::ParsedFrame& frame, il::Time stamp) {
    if (clients_.empty()) return;
    if (const auto* packet = std::get_if<live::UdpPacket>(&frame.content)) return on_datagram(frame, *packet);
    if (const auto* reply = std::get_if<live::ArpReply>(&frame.content)) {
        tell_address_used(frame, reply->ip, reply->mac);
    } else if (const auto* request = std::get_if<live::ArpRequest>(&frame.content)) {
        // Also a probe by somebody who is about to take the same address (RFC 5227 section 2.1.1).
        const bool is_probe = request->asker.IsUnspecified();
        tell_address_used(frame, is_probe ? request->target : request->asker, request->asker_mac);
    } else if (const auto* told = std::get_if<live::NeighborAdvertisement>(&frame.content)) {
        tell_address_used(frame, told->target, told->mac);
    } else if (const auto* asked = std::get_if<live::NeighborSolicitation>(&frame.content)) {
        if (asked->asker.IsUnspecified()) tell_address_used(frame, asked->target, asked->asker_mac);
    }
    if (const auto* query = std::get_if<live::MembershipQuery>(&frame.content))
        return on_query(frame, *query, stamp);
    if (const auto* advertisement = std::get_if<live::RouterAdvertisement>(&frame.content))
        return tell_routers(frame, *advertisement);
    neighbours_.on_frame(frame, stamp, sink_);
}

void LiveAddressing::on_datagram(const live::ParsedFrame& frame, const live::UdpPacket& packet) {
    if (packet.destination_port == live::kDhcp4ClientPort && !packet.destination.IsV6()) {
        const auto mac = live::Dhcp4ClientOf(packet.payload);
        if (AddressClient* client = mac ? find(frame.vlan, *mac, false) : nullptr)
            client->OnDatagram(packet.source, frame.source, packet.payload);
    } else if (packet.destination_port == live::kDhcp6ClientPort && packet.destination.IsV6()) {
        if (AddressClient* client = find(frame.vlan, frame.destination, true))
            client->OnDatagram(packet.source, frame.source, packet.payload);
    }
}

/// Servers and relays answer to the link-local address.
void LiveAddressing::listen_to_neighbours(const Host& host, std::uint64_t seed) {
    live::HostAddress local = host.address;
    local.ip = live::LinkLocalAddress(local.mac);
    neighbours_.add(local);
    live::MembershipHost::Settings settings;
    settings.version = live::MembershipVersion::Mld2;
    auto member = std::make_unique<live::MembershipHost>(
        local, settings, timeline_, seed, [this](std::span<const std::byte> frame) { sink_.send(frame); });
    member->Join(live::SolicitedNodeAddress(local.ip), live::FilterMode::Exclude);
    members_.insert_or_assign({Links::key_of(local.vlan), local.mac, true}, std::move(member));
}

/// Whatever asks, the hosts of a link answer once in a while only.
void LiveAddressing::on_query(const live::ParsedFrame& frame, const live::MembershipQuery& query,
                              il::Time stamp) {
    if (!live::IsMld(query.version) || (last_query_ != il::kNever && stamp - last_query_ < il::kSecond))
        return;
    last_query_ = stamp;
    const std::uint32_t link = Links::key_of(frame.vlan);
    for (const auto& [key, member] : members_)
        if (key.link == link) member->OnQuery(query);
}

/// To one host, or to all of the link.
void LiveAddressing::tell_routers(const live::ParsedFrame& frame,
                                  const live::RouterAdvertisement& advertisement) {
    if (AddressClient* client = find(frame.vlan, frame.destination, true))
        return client->OnRouterAdvertisement(advertisement);
    if ((frame.destination.bytes[0] & 1) == 0) return;
    const std::uint32_t link = Links::key_of(frame.vlan);
    for (const auto& [key, client] : clients_)
        if (key.link == link && key.is_v6) client->OnRouterAdvertisement(advertisement);
}

/// Those who asked whether they may use it are answered by their MAC address; with IPv6 all hosts of the link
/// hear it, because who asks has no address (RFC 4861 section 7.2.4).
void LiveAddressing::tell_address_used(const live::ParsedFrame& frame, const live::IpAddress& address,
                                       const live::MacAddress& user) {
    const bool is_v6 = address.IsV6();
    if (find(frame.vlan, user, is_v6)) return;  // a host of ours
    if (AddressClient* client = find(frame.vlan, frame.destination, is_v6))
        return client->OnAddressUsed(address, user);
    if (const auto* host = neighbours_.find(frame.vlan, address)) {
        if (AddressClient* client = find(frame.vlan, host->mac, is_v6)) client->OnAddressUsed(address, user);
        return;
    }
    if (!is_v6) return;
    const std::uint32_t link = Links::key_of(frame.vlan);
    for (const auto& [key, client] : clients_)
        if (key.link == link && key.is_v6 == is_v6) client->OnAddressUsed(address, user);
}

}  // namespace orv::nic
