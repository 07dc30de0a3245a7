#include "host_stacks.h"

#include <fmt/format.h>

#include <algorithm>

#include "port_fault.h"

namespace orv::nic {

using namespace IFSETUP_1_bll;  // NOLINT: the records are what this file is about
using il::FaultCode;
using il::PortFault;

namespace {

template <class... Arguments>
[[noreturn]] void refuse(std::uint32_t handle, fmt::format_string<Arguments...> format,
                         Arguments&&... arguments) {
    throw PortFault(
        FaultCode::BadValue,
        fmt::format("interface {} {}", handle, fmt::format(format, std::forward<Arguments>(arguments)...)));
}

live::MacAddress convert(std::uint32_t handle, const ifSetup_1_bll::MacAddress_s& address) {
    live::MacAddress mac;
    if (address.address.size() != mac.bytes.size())
        refuse(handle, "has a MAC address of {} bytes", address.address.size());
    std::copy(address.address.begin(), address.address.end(), mac.bytes.begin());
    return mac;
}

class Stack {
  public:
    Stack(std::uint32_t handle, const NetworkInterfaceStack_s& stack) : handle_(handle), stack_(stack) {
        for (const NetworkInterfaceDescriptor_s& layer : stack.ifDescriptors) add(layer);
        if (!has_ip_) refuse(handle_, "has no IP layer");
        if (!ethernet_) refuse(handle_, "has no Ethernet layer");
        // From the IP layer down: the last tag met is the outer one.
        std::reverse(vlans_.begin(), vlans_.end());
    }

    std::vector<live::HostAddress> hosts() const {
        std::size_t count = std::max(ips_.size(), ethernet_->SrcMacList.size());
        for (const auto* vlan : vlans_) count = std::max(count, vlan->IdList.size());
        std::vector<live::HostAddress> made(count);
        for (std::size_t i = 0; i < count; ++i) {
            made[i].ip = entry(ips_, ips_.front(), count, i);
            made[i].mac = convert(handle_, entry(ethernet_->SrcMacList, ethernet_->SourceMac, count, i));
            for (const auto* vlan : vlans_) {
                live::VlanTag& tag = made[i].vlan.tags[made[i].vlan.count++];
                if (vlan->Tpid != 0) tag.type = vlan->Tpid;
                tag.control =
                    static_cast<std::uint16_t>((vlan->Priority & 7) << 13 | (vlan->Cfi & 1) << 12 |
                                               (entry(vlan->IdList, vlan->VlanId, count, i) & 0xfff));
            }
        }
        return made;
    }

  private:
    template <class List>
    const auto& at(const List& list, std::uint32_t index) const {
        if (index >= list.size()) refuse(handle_, "names a layer that it does not have");
        return list[index];
    }

    /// Of host `i`; what has no list is the same for all.
    template <class Value>
    const Value& entry(const std::vector<Value>& list, const Value& only, std::size_t count,
                       std::size_t i) const {
        if (list.size() <= 1) return list.empty() ? only : list.front();
        if (list.size() != count)
            refuse(handle_, "has {} entries for one of its layers and {} for another", list.size(), count);
        return list[i];
    }

    template <class Record>
    void add_ips(const Record& record) {
        if (has_ip_) refuse(handle_, "has more than one IP layer");
        has_ip_ = true;
        for (const auto& address : record.AddrList)
            ips_.push_back(live::IpAddress::FromBytes(address.address));
        if (ips_.empty()) ips_.push_back(live::IpAddress::FromBytes(record.Address.address));
    }

    void add(const NetworkInterfaceDescriptor_s& layer) {
        switch (layer.ifType) {
            case InterfaceTypeList_t::IPv4:
                return add_ips(at(stack_.Ipv4InterfaceList, layer.indexInList));
            case InterfaceTypeList_t::IPv6:
                return add_ips(at(stack_.Ipv6InterfaceList, layer.indexInList));
            case InterfaceTypeList_t::VLAN:
                if (vlans_.size() == live::VlanTags::kMost)
                    refuse(handle_, "has more than {} VLANs", live::VlanTags::kMost);
                vlans_.push_back(&at(stack_.VlanInterfaceList, layer.indexInList));
                return;
            case InterfaceTypeList_t::ETHII:
                ethernet_ = &at(stack_.EthIIInterfaceList, layer.indexInList);
                return;
            case InterfaceTypeList_t::PPP:
            case InterfaceTypeList_t::PPPOE:
                refuse(handle_, "has a PPP session, which is not offered by live ports");
            default:
                refuse(handle_,
                       "has a layer other than IP, VLAN and Ethernet, which is not offered by live ports");
        }
    }

    std::uint32_t handle_;
    const NetworkInterfaceStack_s& stack_;
    bool has_ip_ = false;
    std::vector<live::IpAddress> ips_;
    std::vector<const ifSetup_1_bll::VlanIf_s*> vlans_;
    const ifSetup_1_bll::EthIIIf_s* ethernet_ = nullptr;
};

}  // namespace

std::vector<live::HostAddress> hosts_of(std::uint32_t handle, const NetworkInterfaceStack_s& stack) {
    return Stack(handle, stack).hosts();
}

}  // namespace orv::nic
