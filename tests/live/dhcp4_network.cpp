#include "live/dhcp4_network.h"

#include <fmt/format.h>

#include <sstream>

namespace testing_aids {

using namespace orv::live;

namespace {

using Frame = std::span<const std::byte>;

const MacAddress kMac{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};
constexpr std::size_t kUdp = 14 + 20 + 8;

unsigned byte_at(Frame bytes, std::size_t at) {
    return std::to_integer<unsigned>(bytes[at]);
}

std::uint32_t long_at(Frame bytes, std::size_t at) {
    return std::uint32_t{number_at(bytes, at)} << 16 | number_at(bytes, at + 2);
}

/// The last number of an address in an option; "-" without it.
std::string option_address(Frame options, unsigned code) {
    for (std::size_t at = 0; byte_at(options, at) != 255; at += 2 + byte_at(options, at + 1))
        if (byte_at(options, at) == code) return std::to_string(byte_at(options, at + 5));
    return "-";
}

std::string text_of_sent(Frame frame) {
    const auto number = [&](std::size_t at) { return std::to_string(byte_at(frame, at)); };
    if (number_at(frame, 12) == 0x0806)
        return (long_at(frame, 28) == 0 ? "probe " : "announce ") + number(41);
    const Frame message = frame.subspan(kUdp), options = message.subspan(240);
    static constexpr const char* kTypes[] = {"?", "discover", "?", "request", "decline", "?", "?", "release"};
    std::string text = kTypes[byte_at(options, 2)];
    const bool has_own = long_at(message, 12) != 0, is_to_all = byte_at(frame, 0) == 0xff;
    if (has_own && text == "request") text = is_to_all ? "rebind" : "renew";
    if (has_own) text += " " + std::to_string(byte_at(message, 15));
    if (option_address(options, 50) != "-") text += " " + option_address(options, 50);
    if (option_address(options, 54) != "-") text += " of " + option_address(options, 54);
    // The frame of server n comes from a MAC address that ends in n.
    if (!is_to_all)
        text += " at " + number(33) + (byte_at(frame, 5) == byte_at(frame, 33) ? "" : " elsewhere");
    const bool is_ip_to_all = long_at(frame, 30) == 0xffffffff;
    return text +
           (is_to_all == is_ip_to_all && long_at(frame, 26) == long_at(message, 12) ? "" : " inconsistent");
}

std::string hex_option(unsigned code, std::uint32_t value) {
    return fmt::format("{:02x}04{:08x}", code, value);
}

}  // namespace

std::vector<std::byte> dhcp4_answer(std::string_view address_hex, std::string_view options_hex) {
    static const std::vector<std::byte> kFixed = bytes_of(
        "02010600 11223344 00000000 00000000"        // op, htype, hlen, hops; xid; secs, flags; ciaddr
        "00000000 00000000 00000000 020000000a01" +  // yiaddr, siaddr, giaddr; chaddr
        std::string(20 + 2 * (64 + 128), '0') +
        "63825363");  // its rest, sname, file
    std::vector<std::byte> bytes = kFixed;
    std::ranges::copy(bytes_of(address_hex), bytes.begin() + 16);
    const std::vector<std::byte> options = bytes_of(options_hex);
    bytes.insert(bytes.end(), options.begin(), options.end());
    bytes.push_back(std::byte{0xff});
    return bytes;
}

std::span<const SampleFrame> sample_dhcp4() {
    static const auto kSamples = [] {
        const auto of = [](const char* address, const char* options) {
            return hex_text(dhcp4_answer(address, options));
        };
        return std::vector<SampleFrame>{
            {"offer", "offer 192.0.2.10/24 via 192.0.2.1 from 192.0.2.2 for 3600, t1 1800, t2 3150",
             // type; server; lease; T1; T2; mask; routers, the first in another network
             of("c000020a",
                "350102 3604c0000202 330400000e10 3a0400000708 3b0400000c4e 0104ffffff00"
                "0308c6336401c0000201")},
            {"ack_of_class_b", "ack 172.16.5.9/16 via 0.0.0.0 from 198.51.100.1 for 4294967295",
             of("ac100509", "350105 3604c6336401 3304ffffffff")},
            {"ack_rapid", "ack 10.0.0.5/30 via 10.0.0.6 from 10.0.0.6 for 20 at once",
             of("0a000005", "00 350105 36040a000006 330400000014 0104fffffffc 03040a000006 5000 00")},
            {"nak", "nak from 192.0.2.2: wrong network",
             of("00000000",
                "350106 3604c0000202 3801 77"
                "380d 726f6e67206e6574776f726b 0a")}};
    }();
    return kSamples;
}

std::string text_of_dhcp4(std::span<const std::byte> payload) {
    const auto answer = ReadDhcp4Answer(payload);
    if (!answer) return "";
    static constexpr const char* kTypes[] = {"?", "?", "offer", "?", "?", "ack", "nak"};
    std::string text = kTypes[static_cast<int>(answer->type)];
    const bool has_address = answer->type != Dhcp4Type::Nak;
    if (has_address)
        text += fmt::format(" {}/{} via {}", answer->address.ToString(), answer->prefix_length,
                            answer->gateway.ToString());
    text += " from " + answer->server.ToString();
    if (has_address) text += fmt::format(" for {}", answer->lease_seconds);
    if (answer->renewal_seconds) text += fmt::format(", t1 {}", *answer->renewal_seconds);
    if (answer->rebinding_seconds) text += fmt::format(", t2 {}", *answer->rebinding_seconds);
    if (answer->rapid_commit) text += " at once";
    if (!answer->message.empty()) text += ": " + answer->message;
    return text;
}

Dhcp4Network::Dhcp4Network(const Settings& settings, std::uint64_t seed)
    : client({.host = {kMac, {}, {}}}, std::make_shared<const Settings>(settings),
             {.timeline = timeline,
              .seed = seed,
              .send =
                  [this](Frame frame) {
                      sent.emplace_back(timeline.GetNow(), std::vector(frame.begin(), frame.end()));
                      said_ += (said_.empty() ? "" : "; ") + text_of_sent(frame);
                      if (number_at(frame, 12) == 0x0800) transaction_ = long_at(frame, kUdp + 4);
                  },
              .changed = [this] { ++changes; }}) {}

void Dhcp4Network::address_to_host(std::span<std::byte> answer) const {
    std::ranges::copy(bytes_of(fmt::format("{:08x}", transaction_)), answer.begin() + 4);
    std::ranges::copy(std::as_bytes(std::span(kMac.bytes)), answer.begin() + 28);
}

void Dhcp4Network::answer(const std::string& step) {
    std::istringstream words(step);
    std::string kind, word, options;
    unsigned address = 0, server = 0, lease = 0;
    words >> kind >> address >> server >> lease;
    options = kind == "offer" ? "350102" : kind == "ack" ? "350105" : "350106";
    if (step.find("none") == step.npos) options += hex_option(54, 0xc0000200 + server);
    if (kind != "nak")
        options += hex_option(51, lease) + hex_option(1, 0xffffff00) + hex_option(3, 0xc0000201);
    while (words >> word) {
        if (word[0] == 't')
            options +=
                hex_option(word[1] == '1' ? 58 : 59, static_cast<std::uint32_t>(std::stoul(word.substr(3))));
        if (word == "rapid") options += "5000";
    }
    auto bytes = dhcp4_answer(fmt::format("{:08x}", address == 0 ? 0 : 0xc0000200 + address), options);
    address_to_host(bytes);
    if (word == "old") bytes[4] ^= std::byte{1};
    if (word == "other") bytes[33] ^= std::byte{1};
    const std::uint8_t first = word == "group" ? 3 : 2, end = static_cast<std::uint8_t>(server);
    client.OnDatagram(IpAddress::V4(0xc0000200 + server), MacAddress{{first, 0, 0, 0, 0, end}}, bytes);
}

std::string Dhcp4Network::state() const {
    static constexpr const char* kStates[] = {"idle", "binding", "bound", "releasing", "failed"};
    const std::string text = kStates[static_cast<int>(client.GetState())];
    const auto& given = client.GetGiven();
    if (!given) return text;
    const std::int64_t until = std::chrono::floor<std::chrono::seconds>(given->valid_until).count();
    return text + fmt::format(" {} {}", given->address.GetBytes()[3], until);
}

std::string Dhcp4Network::play(std::string_view script) {
    std::string told;
    std::istringstream steps{std::string(script)};
    for (std::string step; std::getline(steps >> std::ws, step, ',');) {
        if (step == "bind") {
            client.Bind();
        } else if (step == "release") {
            client.Release();
        } else if (step.starts_with("used ") || step.starts_with("mine ")) {
            client.OnAddressUsed(ip("192.0.2." + step.substr(5)), step[0] == 'm' ? kMac : MacAddress{{2}});
        } else if (std::isdigit(static_cast<unsigned char>(step[0])) != 0) {
            const std::chrono::duration<double> time(std::stod(step));
            timeline.RunTo(timeline.GetNow() + std::chrono::round<Nanoseconds>(time));
            told += (told.empty() ? "" : " | ") + said_ + (said_.empty() ? "" : " ") + "[" + state() + "]";
            said_.clear();
        } else {
            answer(step);
        }
    }
    return told;
}

std::string Dhcp4Network::counts() const {
    return text_of(client.GetCounts());
}

}  // namespace testing_aids
