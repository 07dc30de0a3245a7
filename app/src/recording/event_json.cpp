#include "event_json.h"

#include <fmt/format.h>

#include <type_traits>

#include "orv/common/addresses.h"
#include "orv/common/exceptions.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

using iptvcd_1_bll::ipAddress_t;

OrderedJson ToText(const ipAddress_t& address) {
    if (address.type == ipAddress_t::kV6) return common::CIpv6Address(address.v6.address).ToString();
    return common::CIpAddress(address.v4.address).ToString();
}

void Read(const OrderedJson& json, ipAddress_t& address) {
    const std::string text = json.is_string() ? json.get<std::string>() : "";
    if (const auto v4 = common::CIpAddress::FromString(text)) {
        address.type = ipAddress_t::kV4;
        v4->CopyTo(address.v4.address);
    } else if (const auto v6 = common::CIpv6Address::FromString(text)) {
        address.type = ipAddress_t::kV6;
        v6->CopyTo(address.v6.address);
    } else {
        throw common::COrvRunTimeError("expected an IPv4 or IPv6 address");
    }
}

void Read(const OrderedJson& json, bool& flag) {
    if (!json.is_boolean()) throw common::COrvRunTimeError("expected true or false");
    flag = json.get<bool>();
}

template <class Number>
requires std::is_integral_v<Number>
void Read(const OrderedJson& json, Number& number) {
    using Limits = std::numeric_limits<Number>;
    const bool fits = json.is_number_unsigned()
                          ? std::in_range<Number>(json.get<std::uint64_t>())
                          : json.is_number_integer() && std::in_range<Number>(json.get<std::int64_t>());
    if (!fits) {
        throw common::COrvRunTimeError(
            fmt::format("expected a whole number from {} to {}", Limits::min(), Limits::max()));
    }
    number = json.get<Number>();
}

template <class Event>
OrderedJson Write(const Event& event) {
    OrderedJson json = OrderedJson::object();
    visit_members(event, [&json](const char* name, const auto& member) {
        using Member = std::remove_cvref_t<decltype(member)>;
        if (member == Member{}) return;
        if constexpr (std::is_same_v<Member, ipAddress_t>) {
            json[name] = ToText(member);
        } else {
            json[name] = member;
        }
    });
    return json;
}

template <class Event>
void ReadEvent(const OrderedJson& json, Event& event) {
    if (!json.is_object()) throw common::COrvRunTimeError("an event is an object of members and values");
    std::size_t known = 0;
    std::vector<std::string> names;
    visit_members(event, [&](const char* name, auto& member) {
        names.emplace_back(name);
        const auto found = json.find(name);
        if (found == json.end()) return;
        ++known;
        try {
            Read(*found, member);
        } catch (const common::COrvRunTimeError& error) {
            throw common::COrvRunTimeError(
                fmt::format("{}: {} is wrong; {}", name, found->dump(), error.what()));
        }
    });
    if (known == json.size()) return;
    for (const auto& [name, value] : json.items()) {
        if (std::find(names.begin(), names.end(), name) != names.end()) continue;
        const std::string nearest = FindNearestName(name, names);
        throw common::COrvRunTimeError(fmt::format("an event has no member \"{}\"{}", name,
                                                   nearest.empty() ? "" : "; did you mean " + nearest + "?"));
    }
}

}  // namespace

OrderedJson ToJson(const iptvcd_1_bll::stbox_event_s& event) {
    return Write(event);
}
OrderedJson ToJson(const iptvcd_1_bll::stbox_event_rrr_s& event) {
    return Write(event);
}
void FromJson(const OrderedJson& json, iptvcd_1_bll::stbox_event_s& event) {
    ReadEvent(json, event);
}
void FromJson(const OrderedJson& json, iptvcd_1_bll::stbox_event_rrr_s& event) {
    ReadEvent(json, event);
}

}  // namespace orv::app
