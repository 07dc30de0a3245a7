#include <tins/dhcp.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <vector>

#include "dhcp4_fields.h"
#include "headers.h"
#include "orv/live/dhcp4_message.h"

namespace orv::live {
namespace dhcp4 {
namespace {

constexpr std::size_t kLeastDhcp4Message = 300;
constexpr std::size_t kMostOptionLength = 255;

Tins::IPv4Address tins_address(const IpAddress& address) {
    require(!address.IsV6(), "DHCPv4 is for IPv4 addresses");
    std::uint32_t in_network_order;
    std::memcpy(&in_network_order, address.GetBytes().data(), sizeof in_network_order);
    return Tins::IPv4Address(in_network_order);
}

using Values = std::span<const std::uint8_t>;

void add(Tins::DHCP& message, std::uint8_t code, Values value) {
    for (; !value.empty(); value = value.subspan(std::min(value.size(), kMostOptionLength))) {
        const Values part = value.first(std::min(value.size(), kMostOptionLength));
        message.add_option({code, part.size(), part.data()});
    }
}

void add_free(Tins::DHCP& message, std::span<const Dhcp4Option> options, bool only_client_id) {
    for (const Dhcp4Option& option : options)
        if (!only_client_id || option.code == kDhcp4ClientId) add(message, option.code, option.value);
}

/// Nothing for 0.0.0.0.
void add_address(Tins::DHCP& message, std::uint8_t code, const IpAddress& address) {
    require(!address.IsV6(), "DHCPv4 is for IPv4 addresses");
    if (!address.IsUnspecified()) add(message, code, address.GetBytes());
}

void add_number(Tins::DHCP& message, std::uint8_t code, std::uint32_t number) {
    std::array<std::byte, 4> bytes;
    put(bytes.data(), number);
    add(message, code, {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

}  // namespace
}  // namespace dhcp4

Dhcp4Option MakeEnterpriseOption(std::uint8_t code, std::uint32_t enterprise,
                                 std::span<const std::uint8_t> data) {
    require(code == kDhcp4EnterpriseClass || code == kDhcp4EnterpriseOptions,
            "only the options 124 and 125 are of enterprises");
    require(data.size() <= 255, "the data of an enterprise have more than 255 bytes");
    std::array<std::byte, 5> head;
    put(head.data(), enterprise);
    put(head.data() + 4, static_cast<std::uint8_t>(data.size()));
    Dhcp4Option option{code, {}};
    for (const std::byte byte : head) option.value.push_back(std::to_integer<std::uint8_t>(byte));
    option.value.insert(option.value.end(), data.begin(), data.end());
    return option;
}

bool IsFreeDhcp4Option(const Dhcp4Option& option) {
    using namespace dhcp4;
    static constexpr std::uint8_t kTaken[] = {kPad,    kRequestedAddress, kLeaseTime, kOverload,    kType,
                                              kServer, kParameters,       kMessage,   kRapidCommit, kEnd};
    return !option.value.empty() && std::ranges::find(kTaken, option.code) == std::end(kTaken);
}

std::size_t WriteDhcp4Request(std::span<std::byte> out, const Dhcp4Request& request) {
    using namespace dhcp4;
    const bool gives_back = request.type == Dhcp4Type::Decline || request.type == Dhcp4Type::Release;
    Tins::DHCP message;
    message.opcode(Tins::DHCP::BOOTREQUEST);
    message.xid(request.transaction);
    message.secs(request.seconds);
    message.padding(request.wants_broadcast ? kBroadcastFlag : 0);
    message.ciaddr(tins_address(request.own));
    message.chaddr(Tins::HWAddress<6>(request.mac.bytes.data()));

    const auto type = static_cast<std::uint8_t>(request.type);
    add(message, kType, {&type, 1});
    add_address(message, kRequestedAddress, request.requested);
    add_address(message, kServer, request.server);
    if (request.lease_seconds) add_number(message, kLeaseTime, *request.lease_seconds);
    if (request.rapid_commit) message.add_option({kRapidCommit, 0, nullptr});
    add(message, kParameters, request.parameters);
    add(message, kMessage,
        {reinterpret_cast<const std::uint8_t*>(request.message.data()), request.message.size()});
    add_free(message, request.shared_options, gives_back);
    add_free(message, request.own_options, gives_back);

    // The end is written here: libtins would give it a length.
    const std::size_t end = message.size();
    const std::size_t length = std::max(end + 1, kLeastDhcp4Message);
    if (length > out.size()) throw std::length_error("the buffer is too short for the DHCP message");
    std::ranges::fill(out.first(length), std::byte{0});
    const std::vector<std::uint8_t> bytes = message.serialize();
    std::ranges::copy(std::as_bytes(std::span(bytes)), out.begin());
    out[end] = std::byte{kEnd};
    return length;
}

}  // namespace orv::live
