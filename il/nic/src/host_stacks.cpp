#include "host_stacks.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "orv/il/port_fault.h"
#include "orv/nic/interface_stack.h"

namespace orv::nic {

using namespace IFSETUP_1_bll;  // NOLINT: the records are what this file is about

namespace {

template <class... Arguments>
[[noreturn]] void refuse(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    throw StackError(fmt::format(format, std::forward<Arguments>(arguments)...));
}

std::uint16_t tag_type(std::uint16_t tpid) {
    switch (tpid) {
        case 0:
            return live::VlanTag{}.type;
        case 0x8100:
        case 0x88a8:
        case 0x9100:
            return tpid;
        default:
            refuse("has a VLAN tag of type {:#06x}; live ports offer 0x8100, 0x88a8 and 0x9100", tpid);
    }
}

live::MacAddress convert(const ifSetup_1_bll::MacAddress_s& address) {
    live::MacAddress mac;
    if (address.address.size() != mac.bytes.size())
        refuse("has a MAC address of {} bytes", address.address.size());
    std::copy(address.address.begin(), address.address.end(), mac.bytes.begin());
    return mac;
}

bool is_group(const live::MacAddress& mac) {
    return (mac.bytes[0] & 1) != 0;
}

/// Whether the first `bits` of two addresses of one family are the same.
bool have_same_prefix(std::span<const std::uint8_t> one, std::span<const std::uint8_t> other,
                      std::size_t bits) {
    const std::size_t whole = bits / 8;
    if (!std::ranges::equal(one.first(whole), other.first(whole))) return false;
    return bits % 8 == 0 || (one[whole] ^ other[whole]) >> (8 - bits % 8) == 0;
}

class Stack {
  public:
    explicit Stack(const NetworkInterfaceStack_s& stack) : stack_(stack) {
        for (const NetworkInterfaceDescriptor_s& layer : stack.ifDescriptors) add(layer);
        if (!has_ip_) refuse("has no IP layer");
        if (!ethernet_) refuse("has no Ethernet layer");
        // From the IP layer down: the last tag is the outer one.
        std::reverse(vlans_.begin(), vlans_.end());
    }

    /// Without `has_addresses`, those of the records do not matter.
    std::vector<Host> hosts(bool has_addresses = true) const {
        std::size_t count = std::max(ips_.size(), ethernet_->SrcMacList.size());
        for (const auto* vlan : vlans_) count = std::max(count, vlan->IdList.size());
        std::vector<Host> made(count, Host{{}, {}, prefix_length_, gateway_mac_});
        for (std::size_t i = 0; i < count; ++i) {
            live::HostAddress& address = made[i].address;
            address.mac = convert(entry(ethernet_->SrcMacList, ethernet_->SourceMac, count, i));
            if (is_group(address.mac)) refuse("has a host with a multicast MAC address");
            if (has_addresses) {
                set_addresses(made[i], count, i);
            } else {
                made[i] = Host{address};
                address.ip = made[i].gateway =
                    ips_.front().IsV6() ? live::IpAddress::V6({}) : live::IpAddress();
            }
            for (const auto* vlan : vlans_) {
                live::VlanTag& tag = address.vlan.tags[address.vlan.count++];
                tag.type = tag_type(vlan->Tpid);
                tag.control =
                    static_cast<std::uint16_t>((vlan->Priority & 7) << 13 | (vlan->Cfi & 1) << 12 |
                                               (entry(vlan->IdList, vlan->VlanId, count, i) & 0xfff));
            }
        }
        return made;
    }

  private:
    void set_addresses(Host& host, std::size_t count, std::size_t i) const {
        host.address.ip = entry(ips_, ips_.front(), count, i);
        if (host.address.ip.IsMulticast() || host.address.ip.IsUnspecified())
            refuse("has a host with the address {}", host.address.ip.ToString());
        host.gateway = entry(gateways_, gateways_.front(), count, i);
        if (host.gateway.IsMulticast()) refuse("has a host with the gateway {}", host.gateway.ToString());
    }

    template <class List>
    const auto& at(const List& list, std::uint32_t index) const {
        if (index >= list.size()) refuse("names a layer that it does not have");
        return list[index];
    }

    /// The value of host `i`; without a list, the same for all hosts.
    template <class Value>
    const Value& entry(const std::vector<Value>& list, const Value& only, std::size_t count,
                       std::size_t i) const {
        if (list.size() <= 1) return list.empty() ? only : list.front();
        if (list.size() != count)
            refuse("has {} entries for one of its layers and {} for another", list.size(), count);
        return list[i];
    }

    template <class Record>
    void add_ips(const Record& record) {
        if (has_ip_) refuse("has more than one IP layer");
        has_ip_ = true;
        for (const auto& address : record.AddrList)
            ips_.push_back(live::IpAddress::FromBytes(address.address));
        if (ips_.empty()) ips_.push_back(live::IpAddress::FromBytes(record.Address.address));
        for (const auto& gateway : record.GatewayList)
            gateways_.push_back(live::IpAddress::FromBytes(gateway.address));
        if (gateways_.empty()) gateways_.push_back(live::IpAddress::FromBytes(record.Gateway.address));
        prefix_length_ = record.PrefixLength;
        if (prefix_length_ > 8 * std::size(record.Address.address))
            refuse("has a prefix of {} bits", prefix_length_);
        if (record.ResolveGatewayMac || record.GatewayMac.address.empty()) return;
        gateway_mac_ = convert(record.GatewayMac);
        if (is_group(*gateway_mac_)) refuse("has a gateway with a multicast MAC address");
    }

    void add(const NetworkInterfaceDescriptor_s& layer) {
        switch (layer.ifType) {
            case InterfaceTypeList_t::IPv4:
                return add_ips(at(stack_.Ipv4InterfaceList, layer.indexInList));
            case InterfaceTypeList_t::IPv6:
                return add_ips(at(stack_.Ipv6InterfaceList, layer.indexInList));
            case InterfaceTypeList_t::VLAN:
                if (vlans_.size() == live::VlanTags::kMost)
                    refuse("has more than {} VLANs", live::VlanTags::kMost);
                vlans_.push_back(&at(stack_.VlanInterfaceList, layer.indexInList));
                return;
            case InterfaceTypeList_t::ETHII:
                ethernet_ = &at(stack_.EthIIInterfaceList, layer.indexInList);
                return;
            case InterfaceTypeList_t::PPP:
            case InterfaceTypeList_t::PPPOE:
                refuse("has a PPP session, which is not offered by live ports");
            default:
                refuse("has a layer other than IP, VLAN and Ethernet, which is not offered by live ports");
        }
    }

    const NetworkInterfaceStack_s& stack_;
    bool has_ip_ = false;
    std::vector<live::IpAddress> ips_, gateways_;
    std::uint8_t prefix_length_ = 0;
    std::optional<live::MacAddress> gateway_mac_;
    std::vector<const ifSetup_1_bll::VlanIf_s*> vlans_;
    const ifSetup_1_bll::EthIIIf_s* ethernet_ = nullptr;
};

}  // namespace

std::vector<live::HostAddress> GetHosts(const NetworkInterfaceStack_s& stack) {
    std::vector<live::HostAddress> addresses;
    for (const Host& host : Stack(stack).hosts()) addresses.push_back(host.address);
    return addresses;
}

namespace {

std::vector<Host> hosts_of(std::uint32_t handle, const NetworkInterfaceStack_s& stack, bool has_addresses) {
    try {
        return Stack(stack).hosts(has_addresses);
    } catch (const StackError& error) {
        throw il::PortFault(il::FaultCode::BadValue, fmt::format("interface {} {}", handle, error.what()));
    }
}

}  // namespace

std::vector<Host> hosts_of(std::uint32_t handle, const NetworkInterfaceStack_s& stack) {
    return hosts_of(handle, stack, true);
}

std::vector<Host> hosts_without_addresses(std::uint32_t handle, const NetworkInterfaceStack_s& stack) {
    return hosts_of(handle, stack, false);
}

live::IpAddress next_hop(const Host& host, const live::IpAddress& destination) {
    const bool is_on_link =
        destination.IsLinkLocal() ||
        have_same_prefix(host.address.ip.GetBytes(), destination.GetBytes(), host.prefix_length);
    return is_on_link || host.gateway.IsUnspecified() ? destination : host.gateway;
}

}  // namespace orv::nic
