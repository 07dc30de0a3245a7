#include "agents/protocol/settings.h"

#include <limits>
#include <memory>
#include <utility>

#include "agents/protocol/json_members.h"
#include "orv/common/addresses.h"
#include "test_file/simulation.h"

// Members are listed in the namespaces of their types, where the archives find them.

namespace iptvcd_1_bll {

/// As text.
template <class Archive>
void VisitMembers(Archive& archive, ipAddress_t& address) {
    using orv::common::CIpAddress, orv::common::CIpv6Address;
    std::string text;
    if constexpr (!Archive::kReads) {
        text = address.type == ipAddress_t::kV6 ? CIpv6Address(address.v6.address).ToString()
                                                : CIpAddress(address.v4.address).ToString();
    }
    archive("ip", text);
    if constexpr (Archive::kReads) {
        address = {};
        if (const auto v4 = CIpAddress::FromString(text)) {
            v4->CopyTo(address.v4.address);
        } else if (const auto v6 = CIpv6Address::FromString(text)) {
            address.type = ipAddress_t::kV6;
            v6->CopyTo(address.v6.address);
        } else {
            throw orv::app::ProtocolError("expected an IPv4 or IPv6 address");
        }
    }
}

}  // namespace iptvcd_1_bll

namespace orv::live {

template <class Archive>
void VisitMembers(Archive& archive, IpAddress& address) {
    std::vector<std::uint8_t> bytes(address.GetBytes().begin(), address.GetBytes().end());
    archive("bytes", bytes);
    if constexpr (Archive::kReads) {
        if (bytes.size() != 4 && bytes.size() != 16) throw app::ProtocolError("expected 4 or 16 bytes");
        address = IpAddress::FromBytes(bytes);
    }
}

template <class Archive>
void VisitMembers(Archive& archive, HostAddress& host) {
    std::vector<std::uint8_t> mac(host.mac.bytes.begin(), host.mac.bytes.end());
    std::vector<std::uint16_t> tags;
    for (const VlanTag& tag : host.vlan.Get()) tags.insert(tags.end(), {tag.type, tag.control});
    archive("mac", mac);
    archive("ip", host.ip);
    archive("vlan", tags);
    if constexpr (Archive::kReads) {
        if (mac.size() != MacAddress::kLength)
            throw app::ProtocolError("expected the bytes of a MAC address");
        std::copy(mac.begin(), mac.end(), host.mac.bytes.begin());
        if (tags.size() % 2 != 0 || tags.size() > 2 * VlanTags::kMost)
            throw app::ProtocolError("expected VLAN tags");
        host.vlan = {};
        for (std::size_t i = 0; i < tags.size(); i += 2)
            host.vlan.tags[host.vlan.count++] = {tags[i], tags[i + 1]};
    }
}

}  // namespace orv::live

namespace orv::nic {

constexpr auto GetLast(UnicastSettings::Sbit) {
    return static_cast<int>(UnicastSettings::Sbit::JoinTime);
}

template <class Archive>
void VisitMembers(Archive& archive, MembershipSettings& settings) {
    archive("robustness", settings.robustness);
    archive("suppress_reports", settings.suppress_reports);
    if constexpr (Archive::kReads) {
        if (settings.robustness < 1 || settings.robustness > 7)
            throw app::ProtocolError("robustness: expected 1 to 7");
    }
}

template <class Archive>
void VisitMembers(Archive& archive, UnicastSettings& settings) {
    archive("port_mapping", settings.port_mapping);
    archive("reduced_size", settings.reduced_size);
    archive("sbit", settings.sbit);
    archive("ssrc_base", settings.ssrc_base);
    archive("max_bitrate", settings.max_bitrate);
}

template <class Archive>
void VisitMembers(Archive& archive, Stream& stream) {
    archive("id", stream.id);
    archive("source", stream.source);
    archive("group", stream.group);
    archive("packets_per_second", stream.packets_per_second);
    archive("source_port", stream.source_port);
    archive("destination_port", stream.destination_port);
    if constexpr (Archive::kReads) {
        if (!(stream.packets_per_second > 0 && stream.packets_per_second <= 1e9))
            throw app::ProtocolError("packets_per_second: expected more than 0");
        if (!stream.group.IsMulticast() || stream.group.IsV6() != stream.source.ip.IsV6())
            throw app::ProtocolError("group: expected a multicast address of the source's family");
    }
}

template <class Archive>
void VisitMembers(Archive& archive, LiveFigures& figures) {
    archive("joins_and_leaves", figures.joins_and_leaves);
    archive("unseen", figures.unseen);
    archive("frames_sent", figures.frames_sent);
    archive("frames_unsent", figures.frames_unsent);
    archive("frames_received", figures.frames_received);
    archive("frames_dropped", figures.frames_dropped);
    archive("stream_packets_sent", figures.stream_packets_sent);
    archive("stream_packets_unsent", figures.stream_packets_unsent);
    archive("late_joins", figures.late_joins);
    archive("very_late_joins", figures.very_late_joins);
    std::int64_t latest = figures.latest_join.count();
    archive("latest_join", latest);
    figures.latest_join = Nanoseconds(latest);
    archive("bursts_requested", figures.bursts_requested);
    archive("bursts_refused", figures.bursts_refused);
    archive("bursts_unanswered", figures.bursts_unanswered);
    archive("nacks_sent", figures.nacks_sent);
    archive("packets_missed", figures.packets_missed);
    archive("packets_repaired", figures.packets_repaired);
}

}  // namespace orv::nic

namespace orv::il {

constexpr auto GetLast(Distribution::Kind) {
    return static_cast<std::uint8_t>(Distribution::Kind::Exponential);
}
constexpr auto GetLast(Fault::Kind) {
    return static_cast<std::uint8_t>(Fault::Kind::RepeatNotification);
}

template <class Archive>
void VisitMembers(Archive& archive, Distribution& distribution) {
    archive("kind", distribution.kind);
    archive("a", distribution.a);
    archive("b", distribution.b);
    if constexpr (Archive::kReads) {
        for (const double ms : {distribution.a, distribution.b})
            if (!(ms >= 0 && ms <= app::kLongestDelayMs)) throw app::ProtocolError("a delay out of range");
    }
}

template <class Archive>
void VisitMembers(Archive& archive, NetworkBehaviour& behaviour) {
    for (const app::DelayMember& delay : app::GetDelayMembers()) archive(delay.name, behaviour.*delay.member);
    for (const app::NumberMember& number : app::GetNumberMembers()) {
        double& value = behaviour.*number.member;
        // JSON knows no infinity, which is the capacity of a network without limit.
        std::optional<double> finite = value;
        if (value == std::numeric_limits<double>::infinity()) finite.reset();
        archive(number.name, finite);
        if constexpr (Archive::kReads) {
            value = finite.value_or(std::numeric_limits<double>::infinity());
            const bool is_fraction = number.kind == app::NumberMember::Kind::Fraction;
            const bool fits =
                is_fraction ? value >= 0 && value <= 1 : value > 0 && (value <= number.most || !finite);
            if (!fits || (!finite && number.member != &NetworkBehaviour::join_capacity))
                throw app::ProtocolError(std::string(number.name) + " is out of range");
        }
    }
}

template <class Archive>
void VisitMembers(Archive& archive, Network::GroupRange& range) {
    std::map<std::string, NetworkBehaviour> ports;
    if (range.ports) ports = *range.ports;
    archive("first", range.first);
    archive("last", range.last);
    archive("behaviour", range.behaviour);
    archive("ports", ports);
    if constexpr (Archive::kReads)
        range.ports = std::make_shared<const std::map<std::string, NetworkBehaviour>>(std::move(ports));
}

template <class Archive>
void VisitMembers(Archive& archive, Network& network) {
    archive("behaviour", network.behaviour);
    archive("ports", network.ports);
    archive("groups", network.groups);
    archive("seed", network.seed);
}

template <class Archive>
void VisitMembers(Archive& archive, Fault& fault) {
    archive("kind", fault.kind);
    archive("request", fault.request);
    archive("occurrence", fault.occurrence);
    archive("delay_ms", fault.delay_ms);
    if constexpr (Archive::kReads) {
        if (fault.delay_ms > app::kLongestDelayMs) throw app::ProtocolError("delay_ms is out of range");
    }
}

template <class Archive>
void VisitMembers(Archive& archive, StreamsOnAir::Path& path) {
    archive("hosts", path.hosts);
    archive("groups", path.groups);
}

}  // namespace orv::il

namespace orv::app {

template <class Archive>
void VisitMembers(Archive& archive, RemotePortSetup& port) {
    archive("name", port.name);
    archive("place", port.place);
    archive("faults", port.faults);
}

template <class Archive>
void VisitMembers(Archive& archive, SessionSetup& setup) {
    archive("ports", setup.ports);
    archive("seed", setup.seed);
    archive("membership", setup.live.membership);
    archive("unicast", setup.live.unicast);
    archive("network", setup.network);
    archive("is_stepped", setup.is_stepped);
    std::int64_t now = setup.now.count();
    archive("now", now);
    setup.now = std::chrono::nanoseconds(now);
    if constexpr (Archive::kReads) {
        if (now < 0 || setup.now > setup.now.max() / 2) throw ProtocolError("now: a time out of range");
    }
}

template <class Archive>
void VisitMembers(Archive& archive, SessionAnswer& answer) {
    archive("error", answer.error);
    archive("line_rates", answer.line_rates);
}

namespace {

template <class Object>
std::string DumpSettings(const Object& object) {
    return DumpJson(JsonWriter::Write(object));
}

template <class Object>
Object ReadSettings(std::string_view text, const char* what) {
    try {
        Object object;
        JsonReader::Read(ParseJson(text), object);
        return object;
    } catch (const ProtocolError& error) {
        throw ProtocolError(std::string(what) + ": " + error.what());
    }
}

}  // namespace

std::string ToJson(const SessionSetup& setup) {
    return DumpSettings(setup);
}
SessionSetup ReadSessionSetup(std::string_view json) {
    return ReadSettings<SessionSetup>(json, "the set-up of a session");
}

std::string ToJson(const SessionAnswer& answer) {
    return DumpSettings(answer);
}
SessionAnswer ReadSessionAnswer(std::string_view json) {
    return ReadSettings<SessionAnswer>(json, "the answer to a set-up");
}

std::string ToJson(const std::vector<nic::Stream>& streams) {
    return DumpSettings(streams);
}
std::vector<nic::Stream> ReadStreams(std::string_view json) {
    return ReadSettings<std::vector<nic::Stream>>(json, "streams");
}

std::string ToJson(const il::StreamsOnAir::Paths& paths) {
    return DumpSettings(paths);
}
il::StreamsOnAir::Paths ReadStreamsOnAir(std::string_view json) {
    return ReadSettings<il::StreamsOnAir::Paths>(json, "streams on air");
}

std::string ToJson(const std::vector<nic::LiveFigures>& figures) {
    return DumpSettings(figures);
}
std::vector<nic::LiveFigures> ReadFigures(std::string_view json) {
    return ReadSettings<std::vector<nic::LiveFigures>>(json, "figures");
}

}  // namespace orv::app
