#include "interface_stacks.h"

#include <fmt/format.h>

#include <functional>
#include <string>
#include <utility>

#include "msgset/iptvcd_1.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/eth_ii_if.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/core/vlan_if.h"
#include "orv/ids/core_ids.h"
#include "orv/nic/interface_stack.h"
#include "orv/tm/message.h"
#include "port_request.h"

namespace orv::app {

using core::CNetworkInterface;
using IFSETUP_1_bll::NetworkInterfaceStack_s;
using Type = IFSETUP_1_bll::InterfaceTypeList_t;
using namespace ifSetup_1_bll;  // NOLINT: the records are what this file is about

namespace {

Ipv4Address_s ToRecord(const common::CIpAddress& address) {
    Ipv4Address_s record;
    address.CopyTo(record.address);
    return record;
}

Ipv6Address_s ToRecord(const common::CIpv6Address& address) {
    Ipv6Address_s record;
    address.CopyTo(record.address);
    return record;
}

MacAddress_s ToRecord(const common::CMacAddress& address) {
    return {{address.GetBytes().begin(), address.GetBytes().end()}};
}

// Of the first host, a record also gets what all hosts have in common.

void AddHost(const core::CIpv4If& layer, Ipv4If_s& record) {
    namespace Id = ids::Ipv4If;
    record.AddrList.push_back(ToRecord(layer.GetIp(Id::Address)));
    record.GatewayList.push_back(ToRecord(layer.GetIp(Id::Gateway)));
    if (record.AddrList.size() > 1) return;
    record.Address = record.AddrList.front();
    record.PrefixLength = layer.GetU8(Id::PrefixLength);
    record.Gateway = record.GatewayList.front();
    record.ResolveGatewayMac = layer.GetBool(Id::ResolveGatewayMac);
    record.GatewayMac = ToRecord(layer.GetT<common::CMacAddress>(Id::GatewayMac));
}

void AddHost(const core::CIpv6If& layer, Ipv6If_s& record) {
    namespace Id = ids::Ipv6If;
    record.AddrList.push_back(ToRecord(layer.GetIpv6(Id::Address)));
    record.GatewayList.push_back(ToRecord(layer.GetIpv6(Id::Gateway)));
    if (record.AddrList.size() > 1) return;
    record.Address = record.AddrList.front();
    record.PrefixLength = layer.GetU8(Id::PrefixLength);
    record.Gateway = record.GatewayList.front();
    record.ResolveGatewayMac = layer.GetBool(Id::ResolveGatewayMac);
    record.GatewayMac = ToRecord(layer.GetT<common::CMacAddress>(Id::GatewayMac));
}

void AddHost(const core::CVlanIf& layer, VlanIf_s& record) {
    namespace Id = ids::VlanIf;
    record.IdList.push_back(layer.GetU16(Id::VlanId));
    if (record.IdList.size() > 1) return;
    record.VlanId = record.IdList.front();
    record.Priority = layer.GetU8(Id::Priority);
    record.Cfi = layer.GetU8(Id::Cfi);
    record.Tpid = layer.GetU16(Id::Tpid);
}

void AddHost(const core::CEthIIIf& layer, EthIIIf_s& record) {
    record.SrcMacList.push_back(ToRecord(layer.GetT<common::CMacAddress>(ids::EthIIIf::SourceMac)));
    if (record.SrcMacList.size() == 1) record.SourceMac = record.SrcMacList.front();
}

/// Puts a layer's values for one host into the record of the layer.
using Adder = std::function<void(const CNetworkInterface& layer)>;

/// Converts a stack to records, layer by layer.
class StackWriter {
  public:
    explicit StackWriter(const CNetworkInterface& top) : hosts_(top) {
        for (const CNetworkInterface* layer = &top; layer; layer = layer->GetLowerInterface())
            AddLayer(*layer);
        for (std::uint32_t host = 0; host < hosts_.GetEndpointCount(); ++host) {
            const auto& layers = hosts_.GetInterfaceList(host);
            for (std::size_t i = 0; i < adders_.size(); ++i) adders_[i](*layers[i]);
        }
    }

    NetworkInterfaceStack_s Take() { return std::move(stack_); }

  private:
    void AddLayer(const CNetworkInterface& layer) {
        const common::ClassId id = layer.GetClassId();
        if (id == core::CIpv4If::CLASS_ID()) {
            adders_.push_back(Describe<core::CIpv4If>(layer, Type::IPv4, stack_.Ipv4InterfaceList));
        } else if (id == core::CIpv6If::CLASS_ID()) {
            adders_.push_back(Describe<core::CIpv6If>(layer, Type::IPv6, stack_.Ipv6InterfaceList));
        } else if (id == core::CVlanIf::CLASS_ID()) {
            adders_.push_back(Describe<core::CVlanIf>(layer, Type::VLAN, stack_.VlanInterfaceList));
        } else if (id == core::CEthIIIf::CLASS_ID()) {
            adders_.push_back(Describe<core::CEthIIIf>(layer, Type::ETHII, stack_.EthIIInterfaceList));
        } else {
            adders_.push_back([](const CNetworkInterface&) {});
            if (id == ids::PppIf::CLASS) return Name(layer, Type::PPP, stack_.PppInterfaceList);
            if (id == ids::PppoeIf::CLASS) return Name(layer, Type::PPPOE, stack_.PppoeInterfaceList);
            if (id == ids::Aal5If::CLASS) return Name(layer, Type::AAL5, stack_.Aal5InterfaceList);
            throw common::COrvRunTimeError(layer.Describe() + " is no layer that a port could be told of");
        }
    }

    template <class Record>
    void Name(const CNetworkInterface& layer, Type type, std::vector<Record>& records) {
        stack_.ifDescriptors.push_back({type, static_cast<std::uint32_t>(records.size())});
        Record& record = records.emplace_back();
        record.NetworkInterface.TotalCount = hosts_.GetEndpointCount();
        record.NetworkInterface.BllHandle = layer.GetHandle();
    }

    template <class Layer, class Record>
    Adder Describe(const CNetworkInterface& layer, Type type, std::vector<Record>& records) {
        Name(layer, type, records);
        return [&records, index = records.size() - 1](const CNetworkInterface& of_host) {
            AddHost(dynamic_cast<const Layer&>(of_host), records[index]);
        };
    }

    core::CNetworkInterfaceStackEnumerator hosts_;
    NetworkInterfaceStack_s stack_;
    std::vector<Adder> adders_;  ///< one for each layer
};

bool IsOnPort(const core::CEmulatedDevice& device, const core::CPort& port) {
    return !device.IsDeleted() && device.GetActive() && device.GetPort() == &port;
}

bool IsIp(const CNetworkInterface& interface) {
    return interface.IsTypeOf(core::CIpv4If::CLASS_ID()) || interface.IsTypeOf(core::CIpv6If::CLASS_ID());
}

bool HasStack(const CNetworkInterface& interface) {
    return IsIp(interface) && !interface.IsDeleted() && interface.GetActive() &&
           interface.GetU8(ids::EmulatedIf::IlMembership) == ids::IlMembership::INCLUDED;
}

}  // namespace

std::vector<const CNetworkInterface*> FindStacks(const core::CPort& port) {
    std::vector<const CNetworkInterface*> found;
    framework::ScriptableVec devices;
    port.GetParent()->GetObjects(devices, core::CEmulatedDevice::CLASS_ID(), common::kParentChild);
    for (const framework::CScriptable* device : devices) {
        if (!IsOnPort(dynamic_cast<const core::CEmulatedDevice&>(*device), port)) continue;
        framework::ScriptableVec interfaces;
        device->GetObjects(interfaces, CNetworkInterface::CLASS_ID(), common::kParentChild);
        for (const framework::CScriptable* object : interfaces) {
            const auto& interface = dynamic_cast<const CNetworkInterface&>(*object);
            if (HasStack(interface)) found.push_back(&interface);
        }
    }
    return found;
}

InterfaceStacks MakeInterfaceStacks(const core::CPort& port) {
    InterfaceStacks stacks;
    for (const CNetworkInterface* interface : FindStacks(port)) {
        stacks.handles.push_back(interface->GetIlIfHandle(&port));
        stacks.stacks.push_back(StackWriter(*interface).Take());
    }
    return stacks;
}

std::vector<live::HostAddress> GetLiveHosts(const core::CNetworkEndpoint& endpoint) {
    const auto* top = dynamic_cast<const CNetworkInterface*>(&endpoint);
    if (!top || !IsIp(*top)) return {};
    try {
        return nic::GetHosts(StackWriter(*top).Take());
    } catch (const nic::StackError& error) {
        throw common::COrvRunTimeError(error.what());
    }
}

void ConfigureInterfaces(const core::CPort& port) {
    const InterfaceStacks stacks = MakeInterfaceStacks(port);
    if (stacks.handles.empty()) return;
    tm::Message request;
    iptvcd_1_bll::create_req_ConfigInterfacesWithIlHandle(&request, stacks.handles, stacks.stacks, {}, true);
    try {
        AskPort(port, std::move(request));
    } catch (const common::COrvRunTimeError& error) {
        throw common::COrvRunTimeError(fmt::format("The interfaces of port \"{}\" cannot be configured: {}",
                                                   port.GetName(), error.what()));
    }
}

}  // namespace orv::app
