#include <tins/dhcp.h>
#include <tins/exceptions.h>

#include <algorithm>
#include <bit>
#include <map>

#include "bytes.h"
#include "dhcp4_fields.h"
#include "orv/live/dhcp4_message.h"

namespace orv::live {
namespace dhcp4 {
namespace {

using Payload = std::span<const std::byte>;
using Value = std::vector<std::byte>;
/// By code; the parts of split options together (RFC 3396).
using Options = std::map<std::uint8_t, Value>;

/// More than any link carries in one frame; bounds what is allocated.
constexpr std::size_t kMostAnswer = 9216;
constexpr std::size_t kLongestText = 255;

/// Appends the options of a field, without what only fills it. libtins takes what stands behind the end for
/// options as well. False if the last one is cut off.
bool append_options(Value& out, Payload field) {
    for (std::size_t at = 0; at < field.size();) {
        const std::uint8_t code = get8(&field[at]);
        if (code == kEnd) return true;
        if (code == kPad) {
            ++at;
            continue;
        }
        if (field.size() - at < 2) return false;
        const std::size_t length = std::size_t{2} + get8(&field[at + 1]);
        if (field.size() - at < length) return false;
        const Payload option = field.subspan(at, length);
        out.insert(out.end(), option.begin(), option.end());
        at += length;
    }
    return true;
}

/// The message that libtins reads: the fixed part and the options.
Options read_options(const Value& message) {
    const Tins::DHCP read(reinterpret_cast<const std::uint8_t*>(message.data()),
                          static_cast<std::uint32_t>(message.size()));
    Options options;
    for (const Tins::DHCP::option& option : read.options()) {
        const auto bytes = std::as_bytes(std::span(option.data_ptr(), option.data_size()));
        Value& value = options[option.option()];
        value.insert(value.end(), bytes.begin(), bytes.end());
    }
    return options;
}

/// Of all fields that have some, in the order of RFC 3396 section 5.
std::optional<Options> all_options(Payload payload) {
    Value message(payload.begin(), payload.begin() + kOptionsAt);
    if (!append_options(message, payload.subspan(kOptionsAt))) return {};
    Options options = read_options(message);
    const auto overload = options.find(kOverload);
    if (overload == options.end()) return options;
    if (overload->second.size() != 1) return {};
    const std::uint8_t fields = get8(overload->second.data());
    if (fields < 1 || fields > 3) return {};
    if ((fields & 1) != 0 && !append_options(message, payload.subspan(kFileAt, kFileLength))) return {};
    if ((fields & 2) != 0 && !append_options(message, payload.subspan(kServerNameAt, kServerNameLength)))
        return {};
    return read_options(message);
}

/// Options of four bytes. Whatever is of another length is noted.
class Fields {
  public:
    explicit Fields(const Options& options) : options_(options) {}

    const Value* find(std::uint8_t code) const {
        const auto at = options_.find(code);
        return at == options_.end() ? nullptr : &at->second;
    }
    std::optional<std::uint32_t> number(std::uint8_t code) {
        const Value* value = find(code);
        if (value && value->size() != 4) is_damaged_ = true;
        if (!value || value->size() != 4) return {};
        return get32(value->data());
    }
    bool is_damaged() const { return is_damaged_; }

  private:
    const Options& options_;
    bool is_damaged_ = false;
};

constexpr std::uint32_t mask_of(unsigned prefix_length) {
    return prefix_length == 0 ? 0 : ~std::uint32_t{0} << (32 - prefix_length);
}

/// Unicast, not of this host, not of class E.
constexpr bool is_host_number(std::uint32_t number) {
    const std::uint32_t first = number >> 24;
    return first != 0 && first != 127 && first < 224;
}

/// Nothing for a mask with gaps and one of no bits.
std::optional<std::uint8_t> prefix_of(std::optional<std::uint32_t> mask, std::uint32_t address) {
    if (!mask) return static_cast<std::uint8_t>(address >> 31 == 0 ? 8 : address >> 30 == 2 ? 16 : 24);
    const int length = std::countl_one(*mask);
    if (length == 0 || *mask != mask_of(static_cast<unsigned>(length))) return {};
    return static_cast<std::uint8_t>(length);
}

bool is_network_or_broadcast(std::uint32_t address, std::uint8_t prefix_length) {
    const std::uint32_t host = ~mask_of(prefix_length);
    return prefix_length < 31 && ((address & host) == 0 || (address & host) == host);
}

std::optional<IpAddress> gateway_of(const Value* routers, std::uint32_t address, std::uint8_t prefix_length) {
    if (!routers) return IpAddress();
    if (routers->empty() || routers->size() % 4 != 0) return {};
    for (std::size_t at = 0; at < routers->size(); at += 4) {
        const std::uint32_t router = get32(&(*routers)[at]);
        if (router != address && ((router ^ address) & mask_of(prefix_length)) == 0 &&
            !is_network_or_broadcast(router, prefix_length))
            return IpAddress::V4(router);
    }
    return IpAddress();
}

/// What an offer and an acknowledgement have beyond a refusal. False if it makes no sense.
bool read_address(Dhcp4Answer& answer, Payload payload, Fields& fields) {
    constexpr std::size_t kYourAddressAt = 16;
    const std::uint32_t address = get32(&payload[kYourAddressAt]);
    const auto prefix_length = prefix_of(fields.number(kMask), address);
    const auto lease = fields.number(kLeaseTime);
    if (!is_host_number(address) || !prefix_length || is_network_or_broadcast(address, *prefix_length) ||
        lease.value_or(0) == 0)
        return false;
    const auto gateway = gateway_of(fields.find(kRouters), address, *prefix_length);
    if (!gateway) return false;
    answer.address = IpAddress::V4(address);
    answer.prefix_length = *prefix_length;
    answer.gateway = *gateway;
    answer.lease_seconds = *lease;
    answer.renewal_seconds = fields.number(kRenewalTime);
    answer.rebinding_seconds = fields.number(kRebindingTime);
    if (const Value* rapid_commit = fields.find(kRapidCommit)) {
        if (!rapid_commit->empty()) return false;
        answer.rapid_commit = true;
    }
    return true;
}

std::optional<Dhcp4Answer> read_answer(Payload payload) {
    const auto mac = Dhcp4ClientOf(payload);
    if (!mac || payload.size() > kMostAnswer) return {};
    const auto options = all_options(payload);
    if (!options) return {};
    Fields fields(*options);
    const Value* type = fields.find(kType);
    const auto server = fields.number(kServer);
    if (!type || type->size() != 1 || !server || !is_host_number(*server)) return {};
    Dhcp4Answer answer;
    answer.type = static_cast<Dhcp4Type>(get8(type->data()));
    answer.transaction = get32(&payload[kTransactionAt]);
    answer.mac = *mac;
    answer.server = IpAddress::V4(*server);
    if (const Value* message = fields.find(kMessage)) answer.message = get_text(*message, kLongestText);
    const bool has_address = answer.type == Dhcp4Type::Offer || answer.type == Dhcp4Type::Ack;
    if (!has_address && answer.type != Dhcp4Type::Nak) return {};
    if (has_address && !read_address(answer, payload, fields)) return {};
    if (fields.is_damaged()) return {};
    return answer;
}

}  // namespace
}  // namespace dhcp4

std::optional<MacAddress> Dhcp4ClientOf(std::span<const std::byte> payload) {
    if (payload.size() < dhcp4::kOptionsAt || get8(&payload[0]) != dhcp4::kAnswer ||
        get8(&payload[1]) != dhcp4::kEthernet || get8(&payload[2]) != MacAddress::kLength)
        return {};
    return get_mac(&payload[dhcp4::kMacAt]);
}

std::optional<Dhcp4Answer> ReadDhcp4Answer(std::span<const std::byte> payload) {
    try {
        return dhcp4::read_answer(payload);
    } catch (const Tins::exception_base&) {
        return {};  // not the four bytes that begin options
    }
}

}  // namespace orv::live
