// DHCPv4: messages against bytes from the standards, and what a client does in its time.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <set>
#include <stdexcept>

#include "live/dhcp4_network.h"

namespace orv::live {
namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace std::chrono_literals;

const MacAddress kStb{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};
const std::vector<Dhcp4Option> kShared = {{kDhcp4VendorClass, {'s', 't', 'b'}}};
const std::vector<Dhcp4Option> kOwn = {
    {kDhcp4ClientId, {1, 2, 0, 0, 0, 10, 1}},
    MakeEnterpriseOption(kDhcp4EnterpriseOptions, 0x00000de9, std::vector<std::uint8_t>{0xab, 0xcd})};

TEST(Dhcp4Test, MessagesAreThoseOfTheStandards) {
    std::vector<std::uint8_t> long_value(300);
    std::iota(long_value.begin(), long_value.end(), std::uint8_t{0});
    const std::vector<Dhcp4Option> long_option = {{43, long_value}};
    const std::string long_hex = hex_text(std::as_bytes(std::span(long_value)));
    const std::vector<std::uint8_t> parameters = {1, 3};
    const IpAddress own = ip("192.0.2.10"), server = ip("192.0.2.1");
    const struct {
        Dhcp4Request request;
        std::string fixed, options;  ///< transaction, seconds, flags, own address; what follows the type
    } cases[] = {                    // clang-format off
        // Lease time, rapid commit, parameters; vendor class; client identifier, enterprise.
        {{.transaction = 0x11223344, .seconds = 5, .wants_broadcast = true, .lease_seconds = 600, .rapid_commit = true,
          .parameters = parameters, .shared_options = kShared, .own_options = kOwn},
         "11223344 0005 8000 00000000", "01 330400000258 5000 37020103 3c03737462 3d0701020000000a01 7d0700000de902abcd"},
        {{.type = Dhcp4Type::Request, .requested = own, .server = server},
         "00000000 0000 0000 00000000", "03 3204c000020a 3604c0000201"},
        // No more than servers need to find the lease.
        {{.type = Dhcp4Type::Release, .transaction = 1, .own = own, .server = server, .shared_options = kShared, .own_options = kOwn},
         "00000001 0000 0000 c000020a", "07 3604c0000201 3d0701020000000a01"},
        {{.type = Dhcp4Type::Decline, .requested = own, .server = server, .message = "used", .shared_options = kShared},
         "00000000 0000 0000 00000000", "04 3204c000020a 3604c0000201 380475736564"},
        {{.own_options = long_option}, "00000000 0000 0000 00000000",
         "01 2bff" + long_hex.substr(0, 510) + "2b2d" + long_hex.substr(510)}};
    // clang-format on
    for (auto [request, fixed, options] : cases) {
        request.mac = kStb;
        std::string expected = hex_text(bytes_of("01010600" + fixed + std::string(24, '0') + "020000000a01" +
                                                 std::string(404, '0') + "63825363 3501" + options + "ff"));
        expected.resize(std::max<std::size_t>(expected.size(), 600), '0');
        std::vector<std::byte> out(kMaxDhcp4Message, std::byte{0xee});
        const std::size_t length = WriteDhcp4Request(out, request);
        EXPECT_EQ(hex_text(std::span(out).first(length)), expected);
        EXPECT_THROW(WriteDhcp4Request(std::span(out).first(length - 1), request), std::length_error);
        EXPECT_EQ(out[length], std::byte{0xee}) << "written beyond its end";
    }
}

TEST(Dhcp4Test, AnswersSayWhatTheyHoldAndTheirEndsAreNoticed) {
    int readable = 0;
    for (const SampleFrame& sample : sample_dhcp4()) {
        const std::vector<std::byte> whole = bytes_of(sample.hex);
        EXPECT_EQ(text_of_dhcp4(whole), sample.text) << sample.name;
        // Options that come last may be missing, but none may be cut off.
        for (std::vector<std::byte> cut(whole.begin(), whole.end() - 2); !cut.empty(); cut.pop_back())
            readable += !text_of_dhcp4(cut).empty();
    }
    EXPECT_EQ(readable, 10);
}

TEST(Dhcp4Test, WhatAHostHasToIgnoreAndToAccept) {
    constexpr const char *kRest = "350105 3604c0000201", *kLease = "330400000e10";
    const struct {
        const char *why, *address, *options;
        const char* text = "";
        std::vector<std::pair<std::size_t, const char*>> changes = {};  ///< position, bytes
    } cases[] = {
        // clang-format off
        {"as it should be", "c000020a", "", "ack 192.0.2.10/24 via 0.0.0.0 from 192.0.2.1 for 3600"},
        {"request", "c000020a", "", "", {{0, "01"}}},
        {"of another network", "c000020a", "", "", {{1, "06"}}},
        {"longer hardware address", "c000020a", "", "", {{2, "08"}}},
        {"BOOTP", "c000020a", "", "", {{236, "63825364"}}},
        {"no address", "00000000", ""}, {"multicast", "e1000001", ""}, {"broadcast", "ffffffff", ""},
        {"loopback", "7f000001", ""}, {"class E", "f0000001", ""}, {"this network", "0000000a", ""},
        {"the network's number", "c0000200", ""}, {"the network's broadcast", "c000021f", "0104fffffff0"},
        {"an even link", "c0000200", "0104fffffffe", "192.0.2.0/31"},
        {"a host's mask", "c0000200", "0104ffffffff", "192.0.2.0/32"},
        {"mask with a gap", "c000020a", "0104ff00ff00"}, {"mask of nothing", "c000020a", "010400000000"},
        {"mask of three bytes", "c000020a", "0103ffffff"}, {"mask twice", "c000020a", "0104ffffff00 0104ffffff00"},
        {"router of three bytes", "c000020a", "0303c00002"}, {"no router", "c000020a", "0300"},
        {"routers that are none", "c000020a", "0310 c000020a c00002ff c0000200 c00002fe", "via 192.0.2.254"},
        {"no lease", "c000020a", "330400000000"}, {"T1 of two bytes", "c000020a", "3a020001"},
        {"rapid commit of a byte", "c000020a", "500101"}, {"message beyond the end", "c000020a", "38ff01"},
        {"unknown options", "c000020a", "e003010203 e100", "192.0.2.10/24"},
        {"split option", "c000020a", "0102ffff 0000 0102ff00", "192.0.2.10/24"},
        {"nothing behind the end", "c000020a", "ff 0104ff000000 03ff", "192.0.2.10/24 via 0.0.0.0"},
        {"in both fields for names", "c000020a", "340103", "192.0.2.10/16 via 192.0.9.9",
         {{108, "0102ffffff"}, {44, "01020000 0304c0000909"}}},
        {"in the file", "c000020a", "340101", "192.0.2.10/24 via 0.0.0.0",
         {{108, "0104ffffff00ff"}, {44, "0304c0000209ff"}}},
        {"cut off in the file", "c000020a", "340101", "", {{234, "0103"}}},
        {"in no field", "c000020a", "340104"}, {"in the fields twice", "c000020a", "340201"}};
    // clang-format on
    for (const auto& [why, address, options, text, changes] : cases) {
        const std::string lease = std::string_view(options).starts_with("3304") ? "" : kLease;
        std::vector<std::byte> bytes = dhcp4_answer(address, std::string(kRest) + lease + options);
        for (const auto& [at, hex] : changes)
            std::ranges::copy(bytes_of(hex), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        const std::string read = text_of_dhcp4(bytes);
        EXPECT_EQ(read.empty(), *text == 0) << why << ": " << read;
        EXPECT_NE(read.find(text), read.npos) << why << ": " << read;
    }
    for (const char* options :
         {"350105 330400000e10", "350105 3604e0000001 330400000e10", "3604c0000201 330400000e10",
          "350105 3604c0000201", "350104 3604c0000201", "350205053604c0000201", "350106"})
        EXPECT_EQ(text_of_dhcp4(dhcp4_answer("c000020a", options)), "") << options;
}

// What happens one after the other (see play()), and what the host sends until each of the times.
TEST(Dhcp4Test, HostsGetKeepAndLoseAddresses) {
    using Settings = Dhcp4Network::Settings;
    const Settings usual, quick{.probe = 0s}, rapid{.rapid_commit = true, .probe = 0s};
    // What is done, and what the host sends for it.
    const std::string ask = "bind, offer 10 1 3600, ", get = ask + "ack 10 1 3600, ",
                      renew = ask + "ack 10 1 3600 t1=10 t2=20, 10s, ", asks = "discover; request 10 of 1",
                      gets = asks + "; announce 10 ", probes = asks + "; probe 10", until = "[bound 10 3600]",
                      more = "renew 10 at 1 " + until + " | ", more_20 = "renew 10 at 1 [bound 10 20] | ",
                      rebinds = "rebind 10 " + until + " | ", none = until + " | ", wait = "[binding] | ",
                      renews = asks + "; announce 10; " + more;
    const struct {
        const char* why;
        Settings settings;
        std::string script, told;
        const char* counts = "";
    } cases[] = {
        // clang-format off
        {"probe and announce", usual, "bind, 0s, offer 10 1 3600, 0s, ack 10 1 3600, 0.499s, 0.001s",
         "discover " + wait + "request 10 of 1 " + wait + "probe 10 " + wait + "announce 10 " + until, "received 2"},
        {"for ever", quick, ask + "ack 10 1 4294967295 t1=5 t2=6, 99999999s", gets + "[bound 10 9223372036]", "received 2"},
        // Silence.
        {"no offer", usual, "bind, 200s, bind, bind, 0s",
         "discover; discover; discover; discover [failed] | discover [binding]", "repeated 3"},
        {"no acknowledgement", Settings{.attempts = 2}, ask + "64s, offer 10 1 3600, 64s",
         asks + "; request 10 of 1; request 10 of 1; request 10 of 1; discover " + wait +
         "request 10 of 1; request 10 of 1; request 10 of 1; request 10 of 1 [failed]", "received 2, repeated 6"},
        {"a lease counts from the first request", quick, "bind, 2s, offer 10 1 3600, 5.1s, ack 10 1 3600, 0s",
         "discover " + wait + "request 10 of 1; request 10 of 1 " + wait + "announce 10 [bound 10 3602]", "received 2, repeated 1"},
        {"over before it came", quick, ask + "3s, ack 10 1 3, 0s", asks + " [binding] | [binding]", "received 1, ignored 1"},
        // Answers that are none.
        {"two servers", quick, ask + "offer 11 2 9, ack 11 2 9, nak 0 2 0, ack 10 1 3600, ack 10 1 3600, 0s",
         gets + until, "received 2, ignored 4"},
        {"not to the discover", rapid, "bind, offer 10 1 9 old, offer 10 1 9 other, offer 10 1 9 none, nak 0 1 0, ack 10 1 9, 0s",
         "discover [binding]", "ignored 4"},
        {"not to the request", quick, ask + "ack 10 1 9 old, ack 10 1 9 other, ack 10 1 9 none, 0s",
         asks + " [binding]", "received 1, ignored 2"},
        {"not to the renewal", quick, renew + "ack 10 1 9 old, offer 10 1 9, nak 0 2 0, 0s", renews + until, "received 2, ignored 3"},
        {"at once", rapid, "bind, ack 10 1 3600 rapid, 0s", "discover; announce 10 " + until, "received 1"},
        {"at once, not asked for", quick, "bind, ack 10 1 3600 rapid, 0s", "discover [binding]", "ignored 1"},
        {"not at once", rapid, get + "0s", gets + until, "received 2"},
        // Renewal.
        {"renewed", quick, get + "1799s, 1s, 5s, ack 10 1 3600, 0s, 1794s, 1s",
         gets + none + more + none + "[bound 10 5400] | [bound 10 5400] | renew 10 at 1 [bound 10 5400]", "received 3, renewed 1"},
        {"after half of the time that is left, and at the end", quick,
         get + "1799s, 1s, 674.9s, 0.1s, 337.5s, 168.75s, 84.375s, 60s, 24.375s, 224.9s, 0.1s, 112.5s, 60s, 52.4s, 0.1s",
         gets + none + more + none + more + more + more + more + more + rebinds + none + rebinds + rebinds + rebinds + none +
         "discover [binding]", "received 2, repeated 8, lost 1"},
        {"a short lease", quick, ask + "ack 10 1 20, 9s, 1s, 3.75s, 1.875s, 1.25s, 0.625s, 1.25s, 1.25s",
         gets + "[bound 10 20] | " + more_20 + more_20 + more_20 + more_20 + "rebind 10 [bound 10 20] | rebind 10 [bound 10 20] | "
         "discover [binding]", "received 2, repeated 4, lost 1"},
        {"the server's times", quick, ask + "ack 10 1 3600 t1=100 t2=200, 99s, 1s, 60s, 39s, 1s",
         gets + none + more + more + none + "rebind 10 " + until, "received 2, repeated 1"},
        {"senseless times", quick, ask + "ack 10 1 3600 t1=300 t2=200, 1799s, 1s", gets + none + "renew 10 at 1 " + until, "received 2"},
        {"T1 at once", quick, ask + "ack 10 1 3600 t1=0 t2=20, 1799s", gets + until, "received 2"},
        {"no MAC address to renew at", quick, ask + "ack 10 1 3600 t1=10 t2=20 group, 10s",
         asks + "; announce 10; rebind 10 inconsistent " + until, "received 2"},
        {"T2 after the end", quick, ask + "ack 10 1 3600 t1=10 t2=3600, 1799s", gets + until, "received 2"},
        {"rebound", quick, renew + "10s, ack 10 2 3600, 1799s, 1s",
         renews + rebinds + "[bound 10 3620] | renew 10 at 2 [bound 10 3620]", "received 3, rebound 1"},
        {"renewed by another", quick, renew + "ack 10 2 3600, 1800s", renews + "renew 10 at 2 [bound 10 3610]", "received 3, rebound 1"},
        {"another address", usual, renew + "1s, ack 11 1 3600, 0s, 0.5s",
         probes + "; announce 10; " + more + none + "probe 11 " + wait + "announce 11 [bound 11 3610]", "received 3, changed 1"},
        // Refusals.
        {"always refused", Settings{.attempts = 3}, ask + "nak 0 1 0, 2.9s, 2.1s, " + ask + "nak 0 1 0, 6.9s, 2.1s, " + ask + "nak 0 1 0, 999s, " + ask + "nak 0 1 0, 0s",
         asks + " " + wait + "discover " + wait + "request 10 of 1 " + wait + "discover " + wait + "request 10 of 1 [failed] | " + asks + " [binding]",
         "received 8, refused 4"},
        {"an address ends the count", Settings{.attempts = 2, .probe = 0s},
         ask + "nak 0 1 0, 5s, offer 10 1 3600, ack 10 1 3600 t1=10 t2=20, 10s, nak 0 1 0, 5s",
         asks + "; discover " + wait + "request 10 of 1; announce 10; renew 10 at 1 [bound 10 3605] | discover [binding]",
         "received 5, refused 2, lost 1"},
        {"renewal refused", quick, renew + "nak 0 1 0, 2.9s, 2.1s", renews + wait + "discover [binding]", "received 3, refused 1, lost 1"},
        {"rebinding refused", quick, renew + "10s, nak 0 2 0, 2.9s", renews + rebinds + "[binding]", "received 3, refused 1, lost 1"},
        // Addresses that others have.
        {"in use", usual, get + "used 11, mine 10, used 10, used 10, 9.9s, 0.1s",
         probes + "; decline 10 of 1 " + wait + "discover [binding]", "received 2, conflicts 1"},
        {"always in use", Settings{.attempts = 1}, get + "used 10, 99s", probes + "; decline 10 of 1 [failed]", "received 2, conflicts 1"},
        {"the other address in use", usual, renew + "ack 11 1 3600, used 10, used 11, 0s",
         probes + "; announce 10; " + more + "probe 11; decline 11 of 1 [binding]", "received 3, conflicts 1, lost 1"},
        {"in use later", quick, get + "used 10, mine 10, used 11, 0s", gets + until, "received 2, conflicts 1"},
        // The end.
        {"released", quick, get + "release, ack 10 1 3600, 9999s, release, bind, 0s",
         asks + "; announce 10; release 10 of 1 at 1 [idle] | discover [binding]", "received 2, ignored 1"},
        {"released too early", usual, ask + "release, 99s, " + get + "release, 99s",
         asks + " [idle] | " + probes + "; release 10 of 1 at 1 [idle]", "received 3"}};
    // clang-format on
    for (const auto& [why, settings, script, told, counts] : cases) {
        Dhcp4Network network(settings);
        EXPECT_EQ(network.play(script), told) << why;
        EXPECT_EQ(network.counts(), counts) << why;
        const bool waits =
            !told.ends_with("[idle]") && !told.ends_with("[failed]") && why != std::string_view("for ever");
        EXPECT_EQ(network.timeline.GetPending(), waits ? 1U : 0U) << why;
        EXPECT_EQ(network.timeline.GetVainCancels(), 0) << why;
    }
}

TEST(Dhcp4Test, DelaysDoubleAndVary) {
    const std::pair<Nanoseconds, Nanoseconds> cases[] = {{4s, 1s}, {400ms, 100ms}};
    for (const auto& [first, random_part] : cases) {
        std::set<Nanoseconds> off;
        for (std::uint64_t seed = 0; seed < 100; ++seed) {
            Dhcp4Network network({.attempts = 0, .first_delay = first, .longest_delay = 10 * first}, seed);
            network.play("bind, 1000s");
            Nanoseconds expected = first;
            for (std::size_t i = 1; i < 8; ++i, expected = std::min<Nanoseconds>(2 * expected, 10 * first))
                off.insert(network.sent.at(i).first - network.sent.at(i - 1).first - expected);
        }
        EXPECT_TRUE(*off.begin() >= -random_part && *off.begin() < -random_part * 9 / 10);
        EXPECT_TRUE(*off.rbegin() <= random_part && *off.rbegin() > random_part * 9 / 10);
    }
}

TEST(Dhcp4Test, TheFrameThatAsksAndWhoIsToldOfChanges) {
    const Dhcp4Network::Settings settings{.wants_broadcast = true, .probe = 0s};
    Dhcp4Network network(settings), same(settings), other(settings, 2);
    const std::string script = "bind, 5s, offer 10 1 3600, ack 10 1 3600, 1800s";
    for (Dhcp4Network* each : {&network, &same, &other}) each->play(script);
    EXPECT_EQ(network.sent, same.sent);
    EXPECT_NE(network.sent[0].second, other.sent[0].second);
    EXPECT_EQ(network.changes, 2) << "binding, bound";
    network.play("ack 10 1 3600, release");
    EXPECT_EQ(network.changes, 4) << "longer, idle";
    EXPECT_EQ(network.client.GetCounts().sent, network.sent.size() - 1) << "all but the announcement";

    const auto part = [&](std::size_t frame, std::size_t at, std::size_t length) {
        return hex_text(std::span(network.sent.at(frame).second).subspan(at, length));
    };
    // IP without a check of the identification; UDP of 308 bytes from 68 to 67.
    EXPECT_EQ(part(0, 0, 18), hex_text(bytes_of("ffffffffffff 020000000a01 0800 45000148")));
    EXPECT_EQ(part(0, 26, 14), hex_text(bytes_of("00000000 ffffffff 0044 0043 0134")));
    const std::string discover = part(0, 46, 4);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(part(i, 46, 4), discover) << "the transaction";
    // Seconds and flags: a request repeats what the last discover said; a renewal counts anew and is answered
    // at the host's address.
    EXPECT_EQ(part(0, 50, 4), "00008000");
    EXPECT_EQ(part(2, 50, 4), part(1, 50, 4));
    EXPECT_NE(part(1, 50, 4), "00008000");
    EXPECT_EQ(part(4, 50, 4), "00000000");
    EXPECT_NE(part(4, 46, 4), discover);
    EXPECT_EQ(part(4, 26, 8), "c000020ac0000201");
}

TEST(Dhcp4Test, WhyAHostHasNoAddressIsTold) {
    const std::pair<const char*, const char*> cases[] = {
        // clang-format off
        {"bind, 99s", "no DHCP server has answered"},
        {"bind, offer 10 1 9, nak 0 1 0", "the DHCP server 192.0.2.1 refuses"},
        {"bind, offer 10 1 9, ack 10 1 9, used 10", "somebody else uses 192.0.2.10, which the DHCP server 192.0.2.1 gives"},
        {"bind, offer 10 1 9, 99s", "the DHCP server 192.0.2.1 does not keep to its offer of 192.0.2.10"},
        {"bind, offer 10 1 3600, ack 10 1 3600, 1900s", ""},
        {"bind, offer 10 1 3600, ack 10 1 3600, 2500s", "the DHCP server 192.0.2.1 does not renew 192.0.2.10"},
        {"bind, offer 10 1 3600, ack 10 1 3600, 2500s, ack 10 1 3600", ""}};
    // clang-format on
    for (const auto& [script, failure] : cases) {
        Dhcp4Network network({.attempts = 1});
        network.play(script);
        EXPECT_EQ(network.client.GetFailure(), failure) << script;
    }
    Dhcp4Network network({.probe = 0s});
    network.play("bind, offer 10 1 9, ack 10 1 9");
    EXPECT_EQ(network.client.GetGiven(), (GivenAddress{ip("192.0.2.10"), 24, ip("192.0.2.1"),
                                                       MacAddress{{2, 0, 0, 0, 0, 1}}, ip("192.0.2.1"), 9s}));
}

TEST(Dhcp4Test, WhatDoesNotGoTogetherIsRefused) {
    const std::vector<std::uint8_t> long_value(1300);
    const std::pair<Dhcp4Client::Settings, std::vector<Dhcp4Option>> cases[] = {
        // clang-format off
        {{.request_attempts = 0}, {}}, {{.first_delay = 0s}, {}}, {{.first_delay = 9s, .longest_delay = 8s}, {}},
        {{.probe = -1s}, {}}, {{}, {{12, {}}}}, {{}, {{53, {1}}}}, {{.options = {{60, {1}}}}, {{60, {1}}}},
        {{}, {{12, long_value}}}};
    // clang-format on
    FakeTimeline timeline;
    const auto make = [&](const Dhcp4Client::Settings& settings, const std::vector<Dhcp4Option>& options) {
        Dhcp4Client({.host = {kStb, {}, {}}, .options = options},
                    std::make_shared<const Dhcp4Client::Settings>(settings),
                    {.timeline = timeline, .send = [](auto) {}, .changed = {}})
            .Bind();
    };
    for (const auto& [settings, options] : cases)
        EXPECT_THROW(make(settings, options), std::invalid_argument);
    EXPECT_NO_THROW(make({.options = kShared}, kOwn));
    EXPECT_EQ(timeline.GetPending(), 0U) << "a timer of a client that is gone";
    EXPECT_THROW(MakeEnterpriseOption(60, 1, {}), std::invalid_argument);
    EXPECT_THROW(MakeEnterpriseOption(124, 1, std::vector<std::uint8_t>(256)), std::invalid_argument);
}

}  // namespace
}  // namespace orv::live
