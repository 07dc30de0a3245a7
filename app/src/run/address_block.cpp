#include "address_block.h"

#include <fmt/format.h>

#include <map>
#include <stdexcept>
#include <string>
#include <utility>

#include "host_text.h"
#include "interface_stacks.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/eth_ii_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/ids/core_ids.h"
#include "orv/nic/address_check.h"

namespace orv::app {

using core::CNetworkInterface;
using core::CProtocolBlockConfig;
using hostaddr_1_bll::addressBlock_s;
using hostaddr_1_bll::AddressProtocol;
using hostaddr_1_bll::hostIdentity_s;
using hostaddr_1_bll::hostOption_s;

namespace {

namespace V4 = ids::Dhcpv4BlockConfig;
namespace V6 = ids::Dhcpv6BaseBlockConfig;

/// Codes of options of DHCPv4 (RFC 2132, RFC 3925) and DHCPv6 (RFC 8415).
constexpr std::uint16_t kHostName = 12, kVendorClass = 60, kClientId = 61, kEnterpriseClass = 124,
                        kEnterpriseOptions = 125, kVendorClassV6 = 16, kVendorOptionsV6 = 17;
/// The length of an enterprise's data in an option of DHCPv4 is one byte.
constexpr std::size_t kMostEnterpriseBytes = 255;

AddressProtocol GetProtocol(const CProtocolBlockConfig& block) {
    if (block.IsTypeOf(ids::Dhcpv4BlockConfig::CLASS)) return AddressProtocol::DHCPV4;
    if (block.IsTypeOf(ids::Dhcpv6BlockConfig::CLASS)) return AddressProtocol::DHCPV6;
    if (block.IsTypeOf(ids::Dhcpv6PdBlockConfig::CLASS)) return AddressProtocol::DHCPV6_PD;
    return AddressProtocol::SLAAC;
}

bool IsLinkLocal(const CNetworkInterface& interface) {
    const auto bytes = interface.GetIpv6(ids::Ipv6If::Address).GetBytes();
    return bytes[0] == 0xfe && (bytes[1] & 0xc0) == 0x80;
}

std::vector<std::uint8_t> GetBytesOf(std::uint32_t number) {
    return {static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
            static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
}

/// Reads what differs from host to host out of a block's texts.
class IdentityReader {
  public:
    IdentityReader(const CProtocolBlockConfig& block, AddressProtocol protocol)
        : block_(block), protocol_(protocol) {}

    hostIdentity_s Read(std::uint32_t host, const common::CMacAddress& mac) const {
        hostIdentity_s identity;
        const auto expand = [&](common::PropId text) {
            return ExpandHostText(block_.GetString(text), host, mac);
        };
        const auto add = [&](std::uint16_t code, std::vector<std::uint8_t> value) {
            if (!value.empty()) identity.options.push_back({code, std::move(value)});
        };
        if (protocol_ == AddressProtocol::DHCPV4) {
            add(kHostName, expand(V4::HostName));
            add(kVendorClass, expand(V4::VendorClass));
            add(kClientId, expand(V4::ClientId));
            add(kEnterpriseClass,
                MakeEnterprise(V4::VendorClassEnterprise, expand(V4::EnterpriseVendorClass)));
            add(kEnterpriseOptions, MakeEnterprise(V4::VendorOptionsEnterprise, expand(V4::VendorOptions)));
        } else if (protocol_ != AddressProtocol::SLAAC) {
            identity.duid = expand(V6::Duid);
            identity.iaid = block_.GetU32(V6::Iaid) + block_.GetU32(V6::IaidStep) * host;
            add(kVendorClassV6, MakeEnterpriseV6(V6::VendorClassEnterprise, expand(V6::VendorClass), true));
            add(kVendorOptionsV6,
                MakeEnterpriseV6(V6::VendorOptionsEnterprise, expand(V6::VendorOptions), false));
        }
        return identity;
    }

  private:
    /// RFC 3925: the enterprise's number, a length and the data.
    std::vector<std::uint8_t> MakeEnterprise(common::PropId number, std::vector<std::uint8_t> data) const {
        if (data.empty()) return {};
        if (data.size() > kMostEnterpriseBytes)
            throw common::COrvRunTimeError(
                fmt::format("the data of an enterprise has {} bytes; at most {} are possible", data.size(),
                            kMostEnterpriseBytes));
        std::vector<std::uint8_t> value = GetBytesOf(block_.GetU32(number));
        value.push_back(static_cast<std::uint8_t>(data.size()));
        value.insert(value.end(), data.begin(), data.end());
        return value;
    }
    /// RFC 8415 sections 21.16 and 21.17: a class has a length in front, options are options themselves.
    std::vector<std::uint8_t> MakeEnterpriseV6(common::PropId number, std::vector<std::uint8_t> data,
                                               bool has_length) const {
        if (data.empty()) return {};
        std::vector<std::uint8_t> value = GetBytesOf(block_.GetU32(number));
        if (has_length) {
            value.push_back(static_cast<std::uint8_t>(data.size() >> 8));
            value.push_back(static_cast<std::uint8_t>(data.size()));
        }
        value.insert(value.end(), data.begin(), data.end());
        return value;
    }

    const CProtocolBlockConfig& block_;
    const AddressProtocol protocol_;
};

void FillInOptions(const CProtocolBlockConfig& block, addressBlock_s& record) {
    if (record.protocol == AddressProtocol::DHCPV4) {
        for (const std::uint8_t code : block.GetCollection<std::uint8_t>(V4::ParameterRequestList))
            record.requested_options.push_back(code);
        record.lease_seconds = block.GetU32(V4::LeaseTime);
        record.rapid_commit = block.GetBool(V4::RapidCommit);
        record.broadcast = block.GetBool(V4::BroadcastFlag);
    } else if (record.protocol != AddressProtocol::SLAAC) {
        record.requested_options = block.GetCollection<std::uint16_t>(V6::RequestedOptions);
        record.rapid_commit = block.GetBool(V6::RapidCommit);
    }
}

}  // namespace

const char* GetProtocolName(AddressProtocol protocol) {
    switch (protocol) {
        case AddressProtocol::DHCPV4:
            return "DHCPv4";
        case AddressProtocol::DHCPV6:
            return "DHCPv6";
        case AddressProtocol::DHCPV6_PD:
            return "DHCPv6-PD";
        case AddressProtocol::SLAAC:
            return "SLAAC";
    }
    return "";
}

std::vector<CProtocolBlockConfig*> FindAddressBlocks(const core::CPort& port) {
    std::vector<CProtocolBlockConfig*> found;
    framework::ScriptableVec devices;
    port.GetParent()->GetObjects(devices, core::CEmulatedDevice::CLASS_ID(), common::kParentChild);
    for (const framework::CScriptable* object : devices) {
        const auto& device = dynamic_cast<const core::CEmulatedDevice&>(*object);
        if (device.IsDeleted() || !device.GetActive() || device.GetPort() != &port) continue;
        framework::ScriptableVec blocks;
        device.GetObjects(blocks, ids::AddressBlockConfig::CLASS, common::kParentChild);
        for (framework::CScriptable* block : blocks)
            if (block->GetActive() && !block->IsDeleted())
                found.push_back(&dynamic_cast<CProtocolBlockConfig&>(*block));
    }
    return found;
}

const CNetworkInterface* FindInterfaceOf(const CProtocolBlockConfig& block) {
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    const core::CPort* port = device ? device->GetPort() : nullptr;
    if (!port) return nullptr;
    const bool is_v6 = GetProtocol(block) != AddressProtocol::DHCPV4;
    const CNetworkInterface* first = nullptr;
    for (const CNetworkInterface* interface : FindStacks(*port)) {
        if (interface->GetParent() != device || interface->IsTypeOf(core::CIpv6If::CLASS_ID()) != is_v6)
            continue;
        if (!is_v6 || !IsLinkLocal(*interface)) return interface;
        if (!first) first = interface;
    }
    return first;
}

addressBlock_s MakeAddressBlock(const CProtocolBlockConfig& block, const core::CPort& port) {
    namespace Id = ids::AddressBlockConfig;
    addressBlock_s record;
    record.protocol = GetProtocol(block);
    const CNetworkInterface* interface = FindInterfaceOf(block);
    if (!interface)
        throw common::COrvRunTimeError(
            fmt::format("the device has no {} interface whose hosts could ask for an address",
                        record.protocol == AddressProtocol::DHCPV4 ? "IPv4" : "IPv6"));
    record.handle = block.GetHandle();
    record.if_handle = interface->GetIlIfHandle(&port);
    record.sessions_per_second = block.GetU32(Id::SessionsPerSecond);
    record.outstanding_sessions = block.GetU32(Id::OutstandingSessions);
    record.attempts = block.GetU32(Id::Attempts);
    record.first_timeout_ms = block.GetU32(Id::FirstTimeout);
    record.longest_timeout_ms = block.GetU32(Id::LongestTimeout);
    record.probe_ms = block.GetU32(Id::ConflictWait);
    FillInOptions(block, record);
    const IdentityReader reader(block, record.protocol);
    core::CNetworkInterfaceStackEnumerator hosts(*interface);
    for (std::uint32_t host = 0; host < hosts.GetEndpointCount(); ++host) {
        common::CMacAddress mac;
        for (const CNetworkInterface* layer : hosts.GetInterfaceList(host))
            if (layer->IsTypeOf(core::CEthIIIf::CLASS_ID()))
                mac = layer->GetT<common::CMacAddress>(ids::EthIIIf::SourceMac);
        record.hosts.push_back(reader.Read(host, mac));
    }
    try {
        nic::CheckAddressBlock(record);
    } catch (const std::invalid_argument& error) {
        throw common::COrvRunTimeError(error.what());
    }
    return record;
}

ObjectProblems FindAddressProblems(const core::CPort& port) {
    ObjectProblems problems;
    std::map<const CNetworkInterface*, const CProtocolBlockConfig*> by_interface;
    for (const CProtocolBlockConfig* block : FindAddressBlocks(port)) {
        try {
            MakeAddressBlock(*block, port);
        } catch (const common::COrvRunTimeError& error) {
            problems.push_back({block, {}, error.what()});
            continue;
        }
        const auto [other, is_new] = by_interface.emplace(FindInterfaceOf(*block), block);
        if (!is_new)
            problems.push_back(
                {block, {}, "the hosts get their addresses by " + other->second->Describe() + " already"});
    }
    return problems;
}

}  // namespace orv::app
