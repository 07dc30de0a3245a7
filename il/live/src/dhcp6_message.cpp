#include "orv/live/dhcp6_message.h"

#include <tins/dhcpv6.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "bytes.h"

namespace orv::live {

namespace {

/// RFC 8415 section 21.
enum Code : std::uint16_t {
    kClientDuid = 1,
    kServerDuid = 2,
    kIaNa = 3,
    kIaAddress = 5,
    kRequestedOptions = 6,
    kPreference = 7,
    kElapsed = 8,
    kStatus = 13,
    kRapidCommit = 14,
    kIaPd = 25,
    kIaPrefix = 26,
    kSolicitMaxRt = 82,
};
constexpr std::size_t kMostLeases = 8;
constexpr std::size_t kLongestMessage = 9216;
constexpr std::size_t kLongestText = 200;

using Value = std::vector<std::uint8_t>;

void append(Value& value, std::uint64_t number, std::size_t bytes) {
    for (std::size_t i = bytes; i-- > 0;) value.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

void append(Value& value, std::span<const std::uint8_t> bytes) {
    value.insert(value.end(), bytes.begin(), bytes.end());
}

void add(Tins::DHCPv6& message, std::uint16_t code, std::span<const std::uint8_t> value) {
    message.add_option(Tins::DHCPv6::option(code, value.begin(), value.end()));
}

void check_v6(const IpAddress& address) {
    if (!address.IsV6()) throw std::invalid_argument("DHCPv6 is for IPv6 addresses");
}

/// With what it is about as an option of its own.
Value make_association(const Dhcp6Request& request) {
    Value value;
    append(value, request.iaid, 4);
    append(value, 0, 8);  // T1 and T2 are the server's (RFC 8415 section 21.4)
    if (!request.lease) return value;
    check_v6(request.lease->address);
    append(value, request.is_prefix ? kIaPrefix : kIaAddress, 2);
    if (request.is_prefix) {
        append(value, 25, 2);
        append(value, 0, 8);
        value.push_back(request.lease->length);
        append(value, request.lease->address.GetBytes());
    } else {
        append(value, 24, 2);
        append(value, request.lease->address.GetBytes());
        append(value, 0, 8);
    }
    return value;
}

/// Calls `visit(code, value)` for options within an option. False if they do not fit into it.
template <class Visit>
bool for_each_option(std::span<const std::byte> bytes, Visit visit) {
    while (!bytes.empty()) {
        if (bytes.size() < 4) return false;
        const std::size_t length = get16(bytes.data() + 2);
        if (length > bytes.size() - 4) return false;
        visit(get16(bytes.data()), bytes.subspan(4, length));
        bytes = bytes.subspan(4 + length);
    }
    return true;
}

void read_status(std::span<const std::byte> value, Dhcp6Answer& answer) {
    if (value.size() < 2 || answer.status != Dhcp6Status::Success) return;
    answer.status = static_cast<Dhcp6Status>(get16(value.data()));
    if (answer.status == Dhcp6Status::Success) return;
    answer.text = get_text(value.subspan(2), kLongestText);
}

/// An address that a host could have, or the beginning of a network.
bool is_possible(const Dhcp6Lease& lease) {
    return !lease.address.IsUnspecified() && !lease.address.IsMulticast() && !lease.address.IsLinkLocal() &&
           lease.length > 0 && lease.length <= 128 && lease.preferred <= lease.valid && lease.valid > 0;
}

/// An IA Address or IA Prefix option.
bool read_lease(std::span<const std::byte> value, bool is_prefix, Dhcp6Answer& answer) {
    Dhcp6Lease lease;
    const std::size_t header = is_prefix ? 25 : 24;
    if (value.size() < header) return false;
    if (is_prefix) {
        lease.preferred = get32(value.data());
        lease.valid = get32(value.data() + 4);
        lease.length = get8(value.data() + 8);
        lease.address = get_v6(value.data() + 9);
    } else {
        lease.address = get_v6(value.data());
        lease.preferred = get32(value.data() + 16);
        lease.valid = get32(value.data() + 20);
    }
    bool is_refused = false;
    const bool fits =
        for_each_option(value.subspan(header), [&](std::uint16_t code, std::span<const std::byte> inner) {
            if (code != kStatus || inner.size() < 2 || get16(inner.data()) == 0) return;
            is_refused = true;
            read_status(inner, answer);
        });
    if (fits && !is_refused && is_possible(lease) && answer.leases.size() < kMostLeases)
        answer.leases.push_back(lease);
    return fits;
}

bool read_association(std::span<const std::byte> value, std::uint32_t iaid, bool is_prefix,
                      Dhcp6Answer& answer) {
    constexpr std::size_t kHeader = 12;
    if (value.size() < kHeader) return false;
    if (get32(value.data()) != iaid || answer.has_association) return true;
    answer.has_association = true;
    answer.t1 = get32(value.data() + 4);
    answer.t2 = get32(value.data() + 8);
    if (answer.t1 > answer.t2 && answer.t2 > 0) return true;  // not to be used (RFC 8415 section 21.4)
    bool fits = true;
    fits &=
        for_each_option(value.subspan(kHeader), [&](std::uint16_t code, std::span<const std::byte> inner) {
            if (code == kStatus) read_status(inner, answer);
            if (code == (is_prefix ? kIaPrefix : kIaAddress)) fits &= read_lease(inner, is_prefix, answer);
        });
    return fits;
}

}  // namespace

bool IsFreeDhcp6Option(const Dhcp6Option& option) {
    constexpr std::array kOurs{kClientDuid, kServerDuid, kIaNa, kIaAddress, kRequestedOptions, kPreference,
                               kElapsed,    kStatus,     kIaPd, kIaPrefix,  kRapidCommit,      kSolicitMaxRt};
    return option.code != 0 && std::ranges::find(kOurs, option.code) == kOurs.end();
}

std::size_t WriteDhcp6Request(std::span<std::byte> out, const Dhcp6Request& request) {
    if (request.duid.empty() || request.duid.size() > kLongestDuid || request.server.size() > kLongestDuid)
        throw std::invalid_argument("a DUID has 1 to 130 bytes");
    Tins::DHCPv6 message;
    message.msg_type(static_cast<Tins::DHCPv6::MessageType>(request.type));
    message.transaction_id(request.transaction & 0xffffff);
    add(message, kClientDuid, request.duid);
    if (!request.server.empty()) add(message, kServerDuid, request.server);
    Value elapsed;
    append(elapsed, request.elapsed, 2);
    add(message, kElapsed, elapsed);
    add(message, request.is_prefix ? kIaPd : kIaNa, make_association(request));
    if (request.rapid_commit) add(message, kRapidCommit, {});
    // Releases and declines ask for nothing (RFC 8415 section 24).
    if (request.type != Dhcp6Type::Release && request.type != Dhcp6Type::Decline) {
        Value codes;
        append(codes, kSolicitMaxRt, 2);  // clients ask for it always (RFC 8415 section 21.24)
        for (const std::uint16_t code : request.requested_options)
            if (code != kSolicitMaxRt) append(codes, code, 2);
        add(message, kRequestedOptions, codes);
        for (const auto list : {request.shared_options, request.own_options})
            for (const Dhcp6Option& option : list) add(message, option.code, option.value);
    }
    const auto bytes = message.serialize();
    if (bytes.size() > out.size()) throw std::length_error("the buffer is too short for the message");
    std::ranges::transform(bytes, out.begin(), [](std::uint8_t byte) { return std::byte{byte}; });
    return bytes.size();
}

std::optional<Dhcp6Answer> ReadDhcp6Answer(std::span<const std::byte> payload, std::uint32_t iaid,
                                           bool is_prefix) {
    if (payload.size() < 4 || payload.size() > kLongestMessage) return {};
    const std::uint8_t type = get8(payload.data());
    // The library reads messages of relays otherwise.
    if (type != static_cast<std::uint8_t>(Dhcp6Type::Advertise) &&
        type != static_cast<std::uint8_t>(Dhcp6Type::Reply))
        return {};
    Dhcp6Answer answer;
    answer.type = static_cast<Dhcp6Type>(type);
    try {
        const Tins::DHCPv6 message(reinterpret_cast<const std::uint8_t*>(payload.data()),
                                   static_cast<std::uint32_t>(payload.size()));
        answer.transaction = message.transaction_id();
        for (const auto& option : message.options()) {
            const std::span value(reinterpret_cast<const std::byte*>(option.data_ptr()), option.data_size());
            const auto get_duid = [&value] {
                Value duid;
                for (const std::byte byte : value) duid.push_back(std::to_integer<std::uint8_t>(byte));
                return duid;
            };
            if ((option.option() == kClientDuid || option.option() == kServerDuid) &&
                (value.empty() || value.size() > kLongestDuid))
                return {};
            if (option.option() == kClientDuid) answer.duid = get_duid();
            if (option.option() == kServerDuid) answer.server = get_duid();
            if (option.option() == kPreference && value.size() == 1) answer.preference = get8(value.data());
            if (option.option() == kSolicitMaxRt && value.size() == 4) {
                // Other values are none (RFC 8415 section 21.24).
                const std::uint32_t seconds = get32(value.data());
                if (seconds >= 60 && seconds <= 86400) answer.solicit_max_seconds = seconds;
            }
            if (option.option() == kRapidCommit) answer.rapid_commit = true;
            if (option.option() == kStatus) read_status(value, answer);
            if (option.option() == (is_prefix ? kIaPd : kIaNa) &&
                !read_association(value, iaid, is_prefix, answer))
                return {};
        }
    } catch (const Tins::exception_base&) {
        return {};
    }
    if (answer.duid.empty() || answer.server.empty()) return {};
    return answer;
}

std::vector<std::uint8_t> MakeDuid(const MacAddress& mac) {
    std::vector<std::uint8_t> duid(4 + mac.bytes.size());
    duid[1] = 3;  // a link-layer address
    duid[3] = 1;  // Ethernet
    std::ranges::copy(mac.bytes, duid.begin() + 4);
    return duid;
}

}  // namespace orv::live
