// DHCPv6: bytes as the standard has them, answers that are none, and a client on a network that a script
// plays.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <sstream>

#include "il/fake_timeline.h"
#include "live/sample_frames.h"
#include "orv/live/dhcp6_client.h"

namespace orv::live {
namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace std::chrono_literals;

const MacAddress kMac{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};
const std::string kDuid = "0003 0001 0200 0000 0a01", kServer = "0003 0001 0016 3e00 0001";

std::string option(unsigned code, const std::string& hex) {
    return fmt::format("{:04x}{:04x}{}", code, bytes_of(hex).size(), hex);
}
std::string address_hex(unsigned last) {
    return fmt::format("20010db8 00000000 00000000 0000{:04x}", last);
}
std::string lease(unsigned last, unsigned preferred, unsigned valid, const std::string& more = {}) {
    return option(5, address_hex(last) + fmt::format("{:08x}{:08x}", preferred, valid) + more);
}
std::string association(unsigned t1, unsigned t2, const std::string& leases, unsigned iaid = 1) {
    return option(3, fmt::format("{:08x}{:08x}{:08x}", iaid, t1, t2) + leases);
}
std::string answer_hex(unsigned type, const std::string& options, unsigned transaction = 0x123456) {
    return fmt::format("{:02x}{:06x}", type, transaction) + option(1, kDuid) + option(2, kServer) + options;
}

TEST(Dhcp6Message, IsWrittenAsTheStandardSays) {
    const std::vector<Dhcp6Option> shared{{16, {0, 0, 0, 9}}}, own{{15, {7}}};
    const std::vector<std::uint16_t> wanted{23, 24};
    const std::vector<std::uint8_t> duid = MakeDuid(kMac), server{1, 2};
    Dhcp6Request request{.type = Dhcp6Type::Request,
                         .transaction = 0xff123456,
                         .duid = duid,
                         .server = server,
                         .elapsed = 300,
                         .iaid = 5,
                         .lease = Dhcp6Lease{ip("2001:db8::7")},
                         .rapid_commit = true,
                         .requested_options = wanted,
                         .shared_options = shared,
                         .own_options = own};
    const auto write = [&request] {
        std::array<std::byte, 1472> out;
        return hex_text(std::span(out).first(WriteDhcp6Request(out, request)));
    };
    const std::string before = "03123456" + option(1, kDuid) + option(2, "0102") + option(8, "012c"),
                      na = option(
                          3, "00000005 00000000 00000000" + option(5, address_hex(7) + "00000000 00000000"));
    EXPECT_EQ(write(), hex_text(bytes_of(before + na + option(14, "") + option(6, "0052 0017 0018") +
                                         option(16, "00000009") + option(15, "07"))));
    // A release says what it is about, and asks for nothing.
    request.type = Dhcp6Type::Release;
    request.rapid_commit = false;
    EXPECT_EQ(write(), hex_text(bytes_of("08" + before.substr(2) + na)));
    request.is_prefix = true;
    request.lease = Dhcp6Lease{ip("2001:db8:7::"), 48};
    EXPECT_EQ(write(),
              hex_text(bytes_of(
                  "08" + before.substr(2) +
                  option(25, "00000005 00000000 00000000" +
                                 option(26, "00000000 00000000 30 20010db8 00070000 00000000 00000000")))));
    EXPECT_THROW(WriteDhcp6Request({}, request), std::length_error);
    request.duid = {};
    EXPECT_THROW(write(), std::invalid_argument);
}

/// "reply 123456 ok 1000/2000: 2001:db8::7 3000/4000"
std::string text_of_answer(const std::string& hex, bool is_prefix = false) {
    const auto bytes = bytes_of(hex);
    const auto answer = ReadDhcp6Answer(bytes, 1, is_prefix);
    if (!answer) return "";
    std::string text = fmt::format("{} {:x} {}", answer->type == Dhcp6Type::Reply ? "reply" : "advertise",
                                   answer->transaction, static_cast<int>(answer->status));
    if (!answer->text.empty()) text += " (" + answer->text + ")";
    if (answer->preference > 0) text += fmt::format(" preference {}", answer->preference);
    if (answer->rapid_commit) text += " rapid";
    if (answer->has_association) text += fmt::format(" {}/{}", answer->t1, answer->t2);
    for (const Dhcp6Lease& one : answer->leases)
        text += fmt::format(": {}/{} {}/{}", one.address.ToString(), one.length, one.preferred, one.valid);
    return text;
}

TEST(Dhcp6Message, IsReadOrRefused) {
    const std::string good = association(1000, 2000, lease(7, 3000, 4000)), refused = option(13, "0002 6e6f");
    const std::pair<std::string, const char*> cases[] = {
        {answer_hex(7, good), "reply 123456 0 1000/2000: 2001:db8::7/128 3000/4000"},
        {answer_hex(2, option(7, "ff") + good),
         "advertise 123456 0 preference 255 1000/2000: 2001:db8::7/128 3000/4000"},
        {answer_hex(7, option(14, "") + good), "reply 123456 0 rapid 1000/2000: 2001:db8::7/128 3000/4000"},
        {answer_hex(7, refused), "reply 123456 2 (no)"},
        {answer_hex(7, option(13, "0002 6e00 1bff 6f")), "reply 123456 2 (no)"},  // what nobody can print
        {answer_hex(7, association(2000, 1000, lease(7, 3000, 4000))), "reply 123456 0 2000/1000"},
        {answer_hex(7, association(0, 0, refused)), "reply 123456 2 (no) 0/0"},
        {answer_hex(7, association(0, 0, lease(7, 1, 2, refused))), "reply 123456 2 (no) 0/0"},
        {answer_hex(7, association(0, 0, option(13, "0000") + lease(7, 1, 2))),
         "reply 123456 0 0/0: 2001:db8::7/128 1/2"},
        // Leases that no host can have, and those of others.
        {answer_hex(7, association(0, 0, lease(7, 5, 4) + lease(8, 0, 0))), "reply 123456 0 0/0"},
        {answer_hex(7, association(1, 2, lease(7, 1, 2), 9)), "reply 123456 0"},
        {answer_hex(7, association(0, 0, option(5, "ff020000 00000000 00000000 00000001 00000001 00000002"))),
         "reply 123456 0 0/0"},
        // No answers.
        {answer_hex(1, good), ""},
        {answer_hex(12, good), ""},
        {"07123456" + option(1, kDuid) + good, ""},
        {"07123456" + option(2, kServer) + good, ""},
        {"07123456" + option(1, "") + option(2, kServer) + good, ""},
        {answer_hex(7, option(3, "00000001 0000")), ""},
        {answer_hex(7, association(0, 0, "0005 0020 00")), ""},
        {answer_hex(7, association(0, 0, option(5, "2001"))), ""},
        {answer_hex(7, "0003 00ff 00"), ""},
        {"07", ""}};
    for (const auto& [hex, text] : cases) EXPECT_EQ(text_of_answer(hex), text) << hex;
    const std::string prefix =
        answer_hex(7, option(25, "00000001 0000000a 00000014" +
                                     option(26, "0000001e 00000028 38 20010db8 00070000 00000000 00000000")));
    EXPECT_EQ(text_of_answer(prefix, true), "reply 123456 0 10/20: 2001:db8:7::/56 30/40");
    EXPECT_EQ(text_of_answer(prefix), "reply 123456 0");
    // Whatever is cut off or changed: nothing bad happens, and sometimes it is still read.
    int read = 0;
    for (const std::string& hex : {prefix, answer_hex(7, option(7, "01") + good + refused)}) {
        const auto bytes = bytes_of(hex);
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            read += ReadDhcp6Answer(std::span(bytes).first(at), 1, true).has_value();
            for (const int value : {0, 1, 0x7f, 0xff}) {
                auto changed = bytes;
                changed[at] = static_cast<std::byte>(value);
                read += ReadDhcp6Answer(changed, 1, false).has_value();
            }
        }
    }
    EXPECT_GT(read, 100);
}

/// A client, and servers that say what a script tells them to.
struct Network6 {
    explicit Network6(const Dhcp6Client::Settings& settings)
        : client({{kMac, {}, {}}}, std::make_shared<Dhcp6Client::Settings>(settings),
                 {timeline, 1, [this](std::span<const std::byte> frame) { on_sent(frame); }, [] {}}) {}

    void on_sent(std::span<const std::byte> frame) {
        const auto byte = [&](std::size_t at) { return std::to_integer<unsigned>(frame[at]); };
        if (byte(20) == 58) {
            said += byte(54) == 135 ? fmt::format("probe {}; ", byte(77)) : std::string("routers?; ");
            return;
        }
        static constexpr const char* kTypes[] = {"?",     "solicit", "?", "request", "?",
                                                 "renew", "rebind",  "?", "release", "decline"};
        transaction = byte(63) << 16 | byte(64) << 8 | byte(65);
        said += std::string(kTypes[byte(62)]) + "; ";
    }

    /// "bind", "release", "3s", "used 7", "router", "advertise 7", "reply 7 20/40" (lifetimes), "refuse 2"
    /// and "refused advertise 2"; "old", "255" and "rapid" behind it. What is sent, and the state after each
    /// time.
    std::string play(const std::string& script) {
        std::istringstream steps(script);
        for (std::string step; std::getline(steps >> std::ws, step, ',');) take(step);
        return said;
    }
    void take(const std::string& step) {
        std::istringstream words(step);
        std::string what;
        unsigned number = 0, preferred = 3600, valid = 7200;
        char slash = 0;
        words >> what;
        if (what.back() == 's' && std::isdigit(what[0])) {
            timeline.RunTo(timeline.GetNow() +
                           std::chrono::milliseconds(static_cast<int>(1000 * std::stod(what))));
            said += state() + "; ";
            return;
        }
        if (what == "bind") return client.Bind();
        if (what == "release") return client.Release();
        if (what == "router") {
            RouterAdvertisement told{.router = ip("fe80::1"), .lifetime = 9000};
            told.prefix_table[told.prefix_count++] = {ip("2001:db8::"), 64, true, false, 7200, 3600};
            return client.OnRouterAdvertisement(told);
        }
        words >> number;
        if (what == "used")
            return client.OnAddressUsed(ip(fmt::format("2001:db8::{:x}", number)), MacAddress{{2, 9}});
        if (!(words >> preferred >> slash >> valid)) preferred = 3600, valid = 7200;
        const auto has = [&](const char* word) { return step.find(word) != step.npos; };
        const std::string content = what == "refuse" ? option(13, fmt::format("{:04x}", number))
                                                     : association(0, 0, lease(number, preferred, valid));
        const unsigned type = what == "advertise" || has("offer") ? 2 : 7;
        const std::string hex = answer_hex(
            type, (has(" 255") ? option(7, "ff") : "") + (has("rapid") ? option(14, "") : "") + content,
            has("old") ? 1 : transaction);
        client.OnDatagram(ip("fe80::99"), MacAddress{{2, 9}}, bytes_of(hex));
    }
    std::string state() const {
        static constexpr const char* kStates[] = {"idle", "binding", "bound", "releasing", "failed"};
        std::string text = kStates[static_cast<int>(client.GetState())];
        if (const auto& given = client.GetGiven())
            text += fmt::format(" {}/{} {}", given->address.GetBytes()[15], given->prefix_length,
                                given->gateway.IsUnspecified() ? "-" : "gateway");
        return "[" + text + "]";
    }

    FakeTimeline timeline;
    std::string said;
    unsigned transaction = 0;
    Dhcp6Client client;
};

TEST(Dhcp6Client, DoesWhatTheStandardSays) {
    using Settings = Dhcp6Client::Settings;
    const Settings quick{.probe = 0s}, usual{.probe = 1s}, rapid{.rapid_commit = true, .probe = 0s};
    const std::string get = "bind, router, advertise 7 255, reply 7, ", got = "solicit; request; ";
    const std::tuple<const char*, Settings, std::string, std::string, std::string> cases[] = {
        // clang-format off
        {"takes the best of the first second", quick, "bind, router, advertise 7, advertise 8, 0.9s, 0.3s, reply 7, 0s",
         "solicit; [binding]; request; [binding]; [bound 7/64 gateway]; ", ""},
        {"a preference decides", quick, "bind, router, advertise 7, advertise 8 255, reply 8, 0s", "solicit; request; [bound 8/64 gateway]; ", ""},
        {"probes", usual, get + "0.9s, 0.2s", got + "probe 7; [binding]; [bound 7/64 gateway]; ", ""},
        {"asks for routers", quick, "bind, advertise 7 255, reply 7, 20s, router, 0s",
         got + "routers?; routers?; routers?; [bound 7/128 -]; [bound 7/64 gateway]; ", ""},
        {"nobody answers", quick, "bind, 100s", "solicit; solicit; solicit; solicit; [failed]; ", "no server answers"},
        {"one more answers late", quick, "bind, 2s, advertise 7, 0s", "solicit; solicit; [binding]; request; [binding]; ", "-"},
        {"in two messages", rapid, "bind, router, reply 7 3600/7200 rapid, 0s", "solicit; [bound 7/64 gateway]; ", ""},
        {"not asked for", quick, "bind, reply 7 3600/7200 rapid, 0s", "solicit; [binding]; ", ""},
        {"old answers", quick, "bind, advertise 7 1/2 old, 0s", "solicit; [binding]; ", ""},
        {"refused at last", Settings{.attempts = 2, .probe = 0s}, "bind, advertise 7 255, refuse 2, advertise 7 255, refuse 4, 99s",
         got + got + "[failed]; ", "the server refuses: the address is not for this link"},
        {"a refusal before", quick, "bind, refuse 2 offer, 99s", "solicit; solicit; solicit; solicit; [failed]; ",
         "the server refuses: no address is available"},
        {"in use", usual, get + "used 7, reply 7, 0s", got + "probe 7; decline; solicit; [binding]; ", "its address is in use"},
        {"in use by itself", usual, get + "used 8, 2s", got + "probe 7; [bound 7/64 gateway]; ", ""},
        {"renewed", quick, get + "1799s, 1s, reply 7, 1799s, 1s", got + "[bound 7/64 gateway]; renew; [bound 7/64 gateway]; [bound 7/64 gateway]; renew; [bound 7/64 gateway]; ", ""},
        {"rebound", quick, "bind, router, advertise 7 255, reply 7 20/40, 10s, 6s, reply 7, 0s",
         got + "renew; [bound 7/64 gateway]; rebind; [bound 7/64 gateway]; [bound 7/64 gateway]; ", ""},
        {"never renewed", quick, "bind, router, advertise 7 255, reply 7 20/40, 39s, 1s",
         got + "renew; rebind; rebind; [bound 7/64 gateway]; solicit; [binding]; ", "its lease was not renewed"},
        {"renewal refused", quick, get + "1800s, refuse 4, 0s", got + "renew; [bound 7/64 gateway]; solicit; [binding]; ",
         "the server refuses: the address is not for this link"},
        {"binding forgotten", quick, get + "1800s, refuse 3, 0s, reply 7, 0s",
         got + "renew; [bound 7/64 gateway]; request; [bound 7/64 gateway]; [bound 7/64 gateway]; ", ""},
        {"binding forgotten for good", quick, "bind, router, advertise 7 255, reply 7 20/40, 10s, refuse 3, 30s",
         got + "renew; [bound 7/64 gateway]; request; request; request; request; request; solicit; [binding]; ", "-"},
        {"lifetimes of a moment", quick, "bind, router, advertise 7 255, reply 7 1/100, 0.9s, 2s",
         got + "[bound 7/64 gateway]; rebind; [bound 7/64 gateway]; ", ""},
        {"another address", usual, get + "1s, 1799s, reply 8, 0s, 1s", got + "probe 7; [bound 7/64 gateway]; renew; [bound 7/64 gateway]; probe 8; [binding]; [bound 8/64 gateway]; ", ""},
        {"released", quick, get + "release, 0s, reply 7, 0s", got + "release; [releasing]; [idle]; ", ""},
        {"released in silence", quick, get + "release, 99s", got + "release; release; release; release; [idle]; ", ""},
        {"released too early", quick, "bind, release, 99s", "solicit; [idle]; ", ""},
        // clang-format on
    };
    for (const auto& [why, settings, script, told, failure] : cases) {
        Network6 network(settings);
        EXPECT_EQ(network.play(script), told) << why;
        EXPECT_TRUE(failure == "-" || network.client.GetFailure() == failure)
            << why << network.client.GetFailure();
        EXPECT_EQ(network.timeline.GetVainCancels(), 0) << why;
        const bool is_over = told.ends_with("[failed]; ") || told.ends_with("[idle]; ");
        EXPECT_TRUE(!is_over || network.timeline.GetPending() == 0) << why;
    }
    // What no frame could carry, with the longest name that a server can have.
    const std::vector<std::uint8_t> too_long(1300);
    EXPECT_THROW(Network6({.options = {{16, too_long}}}), std::invalid_argument);
}

}  // namespace
}  // namespace orv::live
