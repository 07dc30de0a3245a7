// Hosts that make their address from a router's prefix: what they do in their time.
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <tuple>

#include "live/sample_frames.h"
#include "live/slaac_network.h"

namespace orv::live {
namespace {

using namespace testing_aids;  // NOLINT: a test
using namespace std::chrono_literals;
using Settings = SlaacClient::Settings;

// What happens one after the other (see play()), and what the host sends until each of the times.
TEST(SlaacTest, HostsMakeKeepAndLoseAddresses) {
    const Settings usual{.spread = 0s}, quick{.probe = 0s, .spread = 0s};
    const std::string day = "ra 1 1800 a=LA=86400=14400, ", get = "bind, " + day,
                      on = "[bound a/64 fe80::1 86400]", wait = "[binding] | ";
    const struct {
        const char* why;
        Settings settings;
        std::string script, told;
        const char* counts = "";
    } cases[] = {
        // clang-format off
        {"asks, probes and is bound", usual, "bind, 3.9s, bind, 0.1s, " + day + "0.9s, 0.1s",
         "ask " + wait + "ask " + wait + "probe a " + wait + "[bound a/64 fe80::1 86404]", "received 1, repeated 1"},
        {"nobody answers", usual, "bind, 8s, 3.9s, 0.1s, 99s, " + day + "0s, bind, 0s",
         "ask; ask; ask " + wait + wait + "[failed] | [failed] | [failed] | ask [binding]", "repeated 2"},
        {"never gives up", Settings{.attempts = 0, .longest_delay = 10s, .probe = 0s}, "bind, 31s, " + get + "0s",
         "ask; ask; ask; ask [binding] | [bound a/64 fe80::1 86431]", "received 1, repeated 3"},
        {"not asked for", quick, day + "0s", "[idle]"},
        // Prefixes.
        {"no prefix to use", quick, "bind, ra 2 0, ra 1 0 a=L=90=60 a=LA=60=90 a=LA=0=0 a/63=LA=90=60 fe80::=LA=90=60 ff05::=LA=90=60 ::=LA=90=60, 0s",
         "ask [binding]", "ignored 2"},
        {"the first that is preferred", quick, "bind, ra 1 9 a=LA=90=0 b=LA=80=60 a=LA=70=60, 0s", "ask [bound b/64 fe80::1 80]", "received 1"},
        {"deprecated, for want of another", quick, "bind, ra 1 9 a=LA=90=0 b=LA=80=0, 0s", "ask [bound a/64 fe80::1 90]", "received 1"},
        {"for ever", quick, "bind, ra 1 0 a=LA=4294967295=4294967295, 99999999s", "ask [bound a/64 :: 9223372036]", "received 1"},
        {"longest on-link prefix around it", quick,
         "bind, ra 1 0 a=A=90=60 b=L=99=0 8/46=L=90=0 c/46=L=0=0, 0s, ra 2 0 a/63=L=50=0 a/48=L=90=0, 0s, ra 2 0 a/48=L=0=0, 0s, ra 2 0 a/63=L=0=0, 0s",
         "ask [bound a/46 :: 90] | [bound a/63 :: 90] | [bound a/63 :: 90] | [bound a/128 :: 90]", "received 3, ignored 1"},
        {"no longer on-link", quick, "bind, ra 1 0 a=A=90=60 a=L=5=5, 4.9s, 0.1s", "ask [bound a/64 :: 90] | [bound a/128 :: 90]", "received 1"},
        // Lifetimes, by the two-hour rule.
        {"prolonged", quick, get + "100s, " + day + "86399s, 1s", "ask " + on + " | [bound a/64 :: 86500] | ask [binding]", "received 2, renewed 1, lost 1"},
        {"shortened, not below two hours", quick, get + "ra 1 1800 a=LA=7201=60, 0s, ra 1 1800 a=LA=7200=60, 0s, 100s, ra 1 1800 a=LA=0=0, 0s",
         "ask [bound a/64 fe80::1 7201] | [bound a/64 fe80::1 7200] | [bound a/64 fe80::1 7200] | [bound a/128 fe80::1 7200]", "received 4"},
        {"shortened from for ever", quick, "bind, ra 1 0 a=LA=4294967295=9, ra 1 0 a=LA=0=0, 0s", "ask [bound a/128 :: 7200]", "received 2"},
        {"little is left and more is said", quick, "bind, ra 1 0 a=LA=90=9, 50s, ra 1 0 a=LA=41=9, 0s, ra 1 0 a=LA=40=9, 0s",
         "ask [bound a/64 :: 90] | [bound a/64 :: 91] | [bound a/64 :: 91]", "received 3, renewed 1"},
        {"prolonged by another", quick, "bind, ra 1 0 a=LA=90=9, 50s, ra 2 0 a=LA=90=9, 1s, ra 2 0 a=LA=90=9, 0s",
         "ask [bound a/64 :: 90] | [bound a/64 :: 140] | [bound a/64 :: 141]", "received 3, renewed 1, rebound 1"},
        {"prolonged while it probes", usual, "bind, ra 1 0 a=LA=2=2, 0.5s, ra 1 0 a=LA=90=9, 0.5s", "ask; probe a " + wait + "[bound a/64 :: 90]", "received 2, renewed 1"},
        {"over before it is probed", usual, "bind, ra 1 0 a=LA=1=1, 1s", "ask; probe a; ask [binding]", "received 1"},
        {"lost", usual, "bind, ra 1 1800 a=LA=9=9, 8s, 1s, 12s", "ask; probe a [bound a/64 fe80::1 9] | ask " + wait + "ask; ask [failed]", "received 1, repeated 2, lost 1"},
        // Another prefix.
        {"stays with a preferred one", quick, get + "ra 1 1800 b=LA=90000=90000, 14399s", "ask [bound a/64 :: 86400]", "received 2"},
        {"leaves a deprecated one", usual, get + "1s, ra 1 1800 a=LA=86400=0 b=LA=9000=900, 0s, 1s",
         "ask; probe a " + on + " | probe b " + wait + "[bound b/64 fe80::1 9001]", "received 2, renewed 1, changed 1"},
        {"not for another deprecated one", quick, get + "ra 1 1800 a=LA=86400=0 b=LA=9000=0, 0s", "ask " + on, "received 2"},
        {"deprecated by time", quick, get + "14400s, ra 2 0 b=LA=9000=900, 0s", "ask [bound a/64 :: 86400] | [bound b/64 :: 23400]", "received 2, changed 1"},
        // Gateways.
        {"the first is the gateway", quick, get + "ra 2 900, 0s, ra 1 0, 0s, ra 2 900, 899.9s, 0.1s",
         "ask " + on + " | [bound a/64 :: 86400] | [bound a/64 fe80::2 86400] | [bound a/64 :: 86400]", "received 3, ignored 1"},
        {"known before the prefix", quick, "bind, ra 2 900, 1s, ra 1 0 a=LA=90=9, 0s, ra 1 0, 0s",
         "ask " + wait + "[bound a/64 fe80::2 91] | [bound a/64 fe80::2 91]", "received 2, ignored 1"},
        {"prolonged", quick, "bind, ra 1 10 a=A=90=9, 9s, ra 1 10, 9s, 1s", "ask [bound a/128 fe80::1 90] | [bound a/128 fe80::1 90] | [bound a/128 :: 90]", "received 2"},
        // Addresses that others have.
        {"in use", usual, get + "used b, mine a, 0.9s, used a, used a, " + day + "99s", "ask; probe a " + wait + "[failed]", "received 1, conflicts 1"},
        {"in use later", usual, get + "1s, used a, mine a, used b, 0s", "ask; probe a " + on + " | " + on, "received 1, conflicts 1"},
        {"the next in use", usual, get + "1s, ra 1 0 a=LA=9=0 b=LA=9=9, used b, 99s", "ask; probe a " + on + " | probe b [failed]", "received 2, conflicts 1, lost 1"},
        // The end.
        {"released", quick, get + "0s, release, " + day + "used a, 9s, bind, 0s", "ask " + on + " | [idle] | ask [binding]", "received 1"}};
    // clang-format on
    for (const auto& [why, settings, script, told, counts] : cases) {
        SlaacNetwork network(settings);
        EXPECT_EQ(network.play(script), told) << why;
        EXPECT_EQ(text_of(network.client.GetCounts()), counts) << why;
        const bool waits =
            !told.ends_with("[idle]") && !told.ends_with("[failed]") && why != std::string_view("for ever");
        EXPECT_EQ(network.timeline.GetPending(), waits ? 1U : 0U) << why;
        EXPECT_EQ(network.timeline.GetVainCancels(), 0) << why;
    }
}

TEST(SlaacTest, DelaysVaryWhereHostsWouldSpeakAtOnce) {
    std::vector<std::int64_t> off, probes, questions;  // in thousandths
    for (std::uint64_t seed = 0; seed < 100; ++seed) {
        SlaacNetwork endless({.attempts = 0, .longest_delay = 20s}, seed);
        endless.play("bind, 600s");
        Nanoseconds before{};
        for (std::size_t i = 1; i < 9; ++i) {
            const Nanoseconds delay = endless.sent.at(i).first - endless.sent.at(i - 1).first;
            // At the longest the random part is of it, otherwise of the delay before.
            const Nanoseconds unvaried = i == 1 ? 4s : i < 4 ? 2 * before : 20s;
            off.push_back((delay - unvaried) * 1000 / (i > 1 && i < 4 ? before : unvaried));
            before = delay;
        }
        SlaacNetwork network({}, seed), same({}, seed);
        for (SlaacNetwork* each : {&network, &same}) each->play("bind, ra 1 0 a=LA=9=9, 12s");
        ASSERT_EQ(network.sent, same.sent);
        ASSERT_EQ(network.changes, 3) << "binding, bound, lost";
        probes.push_back(network.sent.at(1).first / 1ms);
        questions.push_back((network.sent.at(2).first - 9s) / 1ms);
    }
    for (const auto& [times, from, to] :
         {std::tuple(off, -100, 100), std::tuple(probes, 0, 1000), std::tuple(questions, 0, 1000)}) {
        const auto [least, most] = std::ranges::minmax(times);
        EXPECT_TRUE(least >= from && least < from + 100 && most <= to && most > to - 100) << least << most;
    }
}

TEST(SlaacTest, WhyAHostHasNoAddressAndWhatItHas) {
    const std::string takes = "bind, ra 1 9 a=LA=99=99 ";
    const MacAddress router{{2, 0, 0, 0, 0, 1}};
    const struct {
        std::string script, failure;
        std::optional<MacAddress> mac = {};
    } cases[] = {
        // clang-format off
        {"bind, 12s", "no router answers"},
        {"bind, ra 1 0, 12s", "the router fe80::1 has no prefix to make an address with"},
        {"bind, ra 1 0, ra 2 0 M, ra 3 0, 12s", "the router fe80::2 says that addresses come by DHCPv6, and has no prefix to make one with"},
        {"bind, ra 1 0 M, 12s, bind, 12s", "no router answers"},
        {"bind, ra 1 0 a=LA=9=9, used a", "its address is in use: somebody else has 2001:db8:a::ff:fe00:a01"},
        {"bind, 12s, release", ""},
        {takes + "M mac2, 9s", "", {}}, {takes + "mac2, 2s", "", router}, {takes + "mac2, ra 1 9, 2s", "", router},
        {takes + "mac3, 2s", "", {}}, {takes + "mac2, ra 1 0, ra 2 9, ra 2 0, ra 1 9, 2s", "", {}}};
    // clang-format on
    for (const auto& [script, failure, mac] : cases) {
        SlaacNetwork network({});
        network.play(script);
        EXPECT_EQ(network.client.GetFailure(), failure) << script;
        const IpAddress gateway = ip(script.ends_with(" 9s") ? "::" : "fe80::1");
        const GivenAddress given{ip("2001:db8:a::ff:fe00:a01"), 64, gateway, mac, ip("fe80::1"), 99s};
        EXPECT_EQ(network.client.GetGiven(), script.starts_with(takes) ? std::optional(given) : std::nullopt)
            << script;
    }
    for (const auto& settings : {Settings{.first_delay = 0s}, Settings{.first_delay = 2h},
                                 Settings{.probe = -1s}, Settings{.spread = -1s}})
        EXPECT_THROW(SlaacNetwork network(settings), std::invalid_argument);
}

}  // namespace
}  // namespace orv::live
