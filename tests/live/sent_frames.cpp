#include "live/sent_frames.h"

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>

#include "live/sample_frames.h"
#include "orv/live/address.h"

namespace testing_aids {

using namespace orv::live;

namespace {

using Bytes = std::span<const std::byte>;
const auto u8_at = [](Bytes bytes, std::size_t at) { return std::to_integer<unsigned>(bytes[at]); };

std::string address_at(Bytes bytes, std::size_t at, std::size_t length) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(bytes.subspan(at, length).data());
    return IpAddress::FromBytes({first, length}).ToString();
}

std::string records_of(Bytes message, std::size_t address_length) {
    static constexpr const char* kTypes[] = {"?", "IS_IN", "IS_EX", "TO_IN", "TO_EX", "ALLOW", "BLOCK"};
    std::string text;
    std::size_t at = 8;
    for (unsigned count = number_at(message, 6); count > 0; --count) {
        text += std::string(text.empty() ? "" : " ") + kTypes[u8_at(message, at)] + " " +
                address_at(message, at + 4, address_length) + " {";
        const unsigned sources = number_at(message, at + 2);
        at += 4 + address_length;
        for (unsigned i = 0; i < sources; ++i, at += address_length)
            text += (i == 0 ? "" : " ") + address_at(message, at, address_length);
        text += "}";
    }
    return text;
}

HostAddress address_of(MembershipVersion version) {
    return {MacAddress{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}},
            ip(IsMld(version) ? "2001:db8::a" : "192.0.2.10"),
            {}};
}

}  // namespace

std::string sent_text(std::span<const std::byte> frame) {
    const bool is_v6 = number_at(frame, 12) == 0x86dd;
    const std::size_t header = is_v6 ? 48 : std::size_t{4} * (u8_at(frame, 14) & 15);
    const auto message = frame.subspan(14 + header);
    const unsigned type = u8_at(message, 0);
    const auto group = [&] { return is_v6 ? address_at(message, 8, 16) : address_at(message, 4, 4); };
    if (type == 0x12 || type == 0x16 || type == 131) return "report " + group();
    if (type == 0x17 || type == 132) return "leave " + group();
    return type == 0x22 || type == 143 ? records_of(message, is_v6 ? 16 : 4) : "";
}

ListeningNetwork::ListeningNetwork(const Settings& settings, std::uint64_t seed)
    : version(settings.version),
      host(address_of(version), settings, timeline, seed, [this](std::span<const std::byte> frame) {
          sent.push_back({timeline.GetNow(), sent_text(frame), frame.size()});
      }) {}

std::string ListeningNetwork::run(Nanoseconds duration) {
    timeline.RunTo(timeline.GetNow() + duration);
    return take();
}

std::string ListeningNetwork::take() {
    std::string text;
    for (const SentFrame& frame : std::exchange(sent, {})) text += (text.empty() ? "" : "; ") + frame.text;
    return text;
}

IpAddress lettered_address(char letter, MembershipVersion version) {
    if (letter == 'G') return ip(IsMld(version) ? "ff3e::8000:1" : "232.1.1.1");
    if (letter == 'H') return ip(IsMld(version) ? "ff3e::8000:2" : "239.9.9.9");
    return ip((IsMld(version) ? "2001:db8:1::" : "198.51.100.") + std::to_string(letter - 'a' + 1));
}

std::string lettered(std::string text) {
    for (const MembershipVersion version : {MembershipVersion::Igmp3, MembershipVersion::Mld2})
        for (const char letter : {'G', 'H', 'a', 'b', 'c', 'd'}) {
            const std::string address = lettered_address(letter, version).ToString();
            for (auto at = text.find(address); at != text.npos; at = text.find(address))
                text.replace(at, address.size(), 1, letter);
        }
    return text;
}

std::optional<Nanoseconds> become(MembershipHost& host, std::string_view state) {
    const MembershipVersion version =
        host.GetAddress().ip.IsV6() ? MembershipVersion::Mld2 : MembershipVersion::Igmp3;
    const IpAddress group = lettered_address('G', version);
    if (state[0] == '-') return host.Leave(group);
    if (state == "E H") return host.Join(lettered_address('H', version), FilterMode::Exclude);
    std::vector<IpAddress> sources;
    if (state.size() > 2)
        for (const char letter : state.substr(2)) sources.push_back(lettered_address(letter, version));
    return host.Join(group, state[0] == 'E' ? FilterMode::Exclude : FilterMode::Include, sources);
}

TestQuery::TestQuery(MembershipVersion version, Nanoseconds max_response_time, const IpAddress& group,
                     const std::vector<IpAddress>& sources) {
    for (const IpAddress& source : sources) {
        const auto bytes = std::as_bytes(source.GetBytes());
        sources_.insert(sources_.end(), bytes.begin(), bytes.end());
    }
    query.version = version;
    query.group = group;
    query.max_response_time = max_response_time;
    query.max_response_code =
        static_cast<std::uint16_t>(max_response_time / std::chrono::milliseconds(IsMld(version) ? 1 : 100));
    query.sources = AddressList(sources_, IsMld(version));
}

namespace {

Nanoseconds time_of(const std::string& text) {
    const std::chrono::duration<double> seconds(std::stod(text) * (text.back() == 'h' ? 3600 : 1));
    return std::chrono::round<Nanoseconds>(seconds);
}

void ask(MembershipHost& host, MembershipVersion own, const std::string& query) {
    std::istringstream words(query);
    std::string kind, time, group, letters;
    words >> kind >> time >> group >> letters;
    auto version = own;
    if (kind == "?<") version = static_cast<MembershipVersion>(static_cast<int>(own) - 1);
    if (kind == "?x") version = IsMld(own) ? MembershipVersion::Igmp2 : MembershipVersion::Mld2;
    if (std::isdigit(kind[1])) version = static_cast<MembershipVersion>(kind[1] - '1');
    std::vector<IpAddress> sources;
    for (const char letter : letters) sources.push_back(lettered_address(letter, version));
    const IpAddress about = group.empty() ? IpAddress() : lettered_address(group[0], version);
    host.OnQuery(TestQuery(version, time_of(time), about, sources).query);
}

}  // namespace

std::string play(ListeningNetwork& network, std::string_view script) {
    MembershipHost& host = network.host;
    std::string told;
    std::istringstream steps{std::string(script)};
    for (std::string step; std::getline(steps >> std::ws, step, ',');) {
        const bool is_silent = step[0] == '!';
        if (step == "settle") {
            network.run(std::chrono::minutes(1));
        } else if (step == "drop") {
            network.take();
        } else if (step == "leave all") {
            host.LeaveAll();
        } else if (step == "idle") {
            EXPECT_TRUE(host.IsIdle());
            EXPECT_EQ(network.timeline.GetPending(), 0U) << "an idle host needs no timer";
        } else if (step[0] == 'v') {
            const int version = static_cast<int>(host.GetVersion());
            EXPECT_EQ(version - (version > 2 ? 2 : -1), step[1] - '0') << script;
        } else if (step[0] == 'h') {
            host.OnReport(lettered_address(step.back(), network.version));
        } else if (step[0] == '?') {
            ask(host, network.version, step);
        } else if (std::isdigit(step[0])) {
            const std::string sent = lettered(network.run(time_of(step)));
            told += (told.empty() ? "" : " | ") + (sent.empty() ? "." : sent);
        } else {
            const std::optional<Nanoseconds> now = network.timeline.GetNow();
            EXPECT_EQ(become(host, step.substr(is_silent)), is_silent ? std::nullopt : now)
                << step << " in " << script;
        }
    }
    return told;
}

}  // namespace testing_aids
