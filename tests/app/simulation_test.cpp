// The section "simulation".
#include <fmt/format.h>

#include "good_file.h"

namespace test_file_test {
namespace {

using Kind = orv::il::Distribution::Kind;

std::string Describe(const orv::il::Distribution& distribution) {
    const char* names[] = {"constant", "uniform", "normal", "exponential"};
    return fmt::format("{} {} {}", names[static_cast<int>(distribution.kind)], distribution.a,
                       distribution.b);
}

const std::string kObjects = "project:\n  - Port: Viewers\n  - IptvChannelBlock: News\nsimulation:\n";

TEST_F(TestFileTest, SimulationIsRead) {
    const auto file =
        Parse(kObjects +
              "  ports:\n"
              "    Viewers: {leave_delay: {normal: [112, 5.5]}, loss: 0}\n"
              "  channel_blocks:\n"
              "    News: {loss: 0.5, unicast_join_delay: {uniform: [1, 2]}, jitter: {exponential: [3, 4]}}\n"
              "  seed: 18446744073709551615\n"
              "  defaults: {join_delay: 37, loss: 1 %, payload_error: 0.25, burst_rate: 2}\n"
              "  faults:\n"
              "    Viewers:\n"
              "      - {kind: refuse, request: Start, occurrence: 2}\n"
              "      - {kind: late_end_of_test, delay_ms: 0x1f4}\n");
    ASSERT_EQ(Join(file.GetMistakes()), "");
    const auto& simulation = file.GetSimulation();
    EXPECT_EQ(simulation.seed, 18446744073709551615u);
    EXPECT_EQ(Describe(simulation.defaults.join_delay), "constant 37 0");
    EXPECT_EQ(Describe(simulation.defaults.leave_delay), "constant 60 0") << "as without the section";
    EXPECT_DOUBLE_EQ(simulation.defaults.loss, 0.01);
    const auto& viewers = simulation.ports.at("Viewers");
    EXPECT_EQ(Describe(viewers.join_delay), "constant 37 0") << "as the defaults, though they stand below";
    EXPECT_EQ(Describe(viewers.leave_delay), "normal 112 5.5");
    EXPECT_EQ(viewers.loss, 0);
    EXPECT_EQ(viewers.payload_error, 0.25);
    const auto news = simulation.channel_blocks.at("News").ApplyTo(viewers);
    EXPECT_EQ(Describe(news.leave_delay), "normal 112 5.5")
        << "what the block does not say is as the port has it";
    EXPECT_EQ(Describe(news.unicast_join_delay), "uniform 1 2");
    EXPECT_EQ(Describe(news.jitter), "exponential 3 4");
    EXPECT_EQ(news.burst_rate, 2);
    EXPECT_EQ(news.loss, 0.5) << "though the port says 0";
    const auto& faults = simulation.faults.at("Viewers");
    ASSERT_EQ(faults.size(), 2u);
    EXPECT_EQ(faults[0].kind, orv::il::Fault::Kind::Refuse);
    EXPECT_EQ(faults[0].request, "Start");
    EXPECT_EQ(faults[0].occurrence, 2u);
    EXPECT_EQ(faults[1].kind, orv::il::Fault::Kind::LateEndOfTest);
    EXPECT_EQ(faults[1].delay_ms, 500u) << "numbers are written as those of properties are";
}

TEST_F(TestFileTest, MistakesOfTheSimulation) {
    const std::pair<const char*, const char*> cases[] = {
        {"  seed: -1\n  sede: 1\n",
         "zap.yaml:5:9: simulation, seed: \"-1\" is wrong; expected a whole number from 0 to "
         "18446744073709551615\n"
         "zap.yaml:6:3: simulation, sede: this is not known here; expected seed, defaults, ports, "
         "channel_blocks, faults; did you mean seed?\n"},
        {"  seed: +5\n",
         "zap.yaml:5:9: simulation, seed: \"+5\" is wrong; expected a whole number from 0 to "
         "18446744073709551615\n"},
        {"  seed: 007\n",
         "zap.yaml:5:9: simulation, seed: \"007\" is wrong; expected a whole number from 0 to "
         "18446744073709551615\n"},
        {"  defaults: {packet_rate: 10000001, burst_rate: 1e300, jitter: 1000000001, loss: +1 %}\n",
         "zap.yaml:5:27: simulation, defaults, packet_rate: \"10000001\" is wrong; expected a number above "
         "0, at "
         "most 10000000\n"
         "zap.yaml:5:49: simulation, defaults, burst_rate: \"1e300\" is wrong; expected a number above 0, at "
         "most "
         "1000\n"
         "zap.yaml:5:64: simulation, defaults, jitter: \"1000000001\" is wrong; expected milliseconds from 0 "
         "to "
         "1000000000, {uniform: [least, most]}, {normal: [mean, deviation]} or {exponential: [shift, mean]}\n"
         "zap.yaml:5:82: simulation, defaults, loss: \"+1 %\" is wrong; expected a fraction from 0 to 1, or "
         "from 0 "
         "% to 100 %\n"},
        {"  defaults: {jitter: {exponential: [0, 1e10]}}\n",
         "zap.yaml:5:36: simulation, defaults, jitter, exponential: the parameters are wrong; expected "
         "[shift, "
         "mean] in milliseconds, each from 0 to 1000000000\n"},
        {"  defaults: 5\n",
         "zap.yaml:5:13: simulation, defaults: \"5\" is wrong; expected keys and values\n"},
        {"  defaults: {loss: 101 %, late: -0.1, join_failure: nan, packet_rate: 0, jiter: 1}\n",
         "zap.yaml:5:20: simulation, defaults, loss: \"101 %\" is wrong; expected a fraction from 0 to 1, or "
         "from 0 % to 100 %\n"
         "zap.yaml:5:33: simulation, defaults, late: \"-0.1\" is wrong; expected a fraction from 0 to 1, or "
         "from 0 % to 100 %\n"
         "zap.yaml:5:53: simulation, defaults, join_failure: \"nan\" is wrong; expected a fraction from 0 to "
         "1, or from 0 % to 100 %\n"
         "zap.yaml:5:71: simulation, defaults, packet_rate: \"0\" is wrong; expected a number above 0, at "
         "most 10000000\n"
         "zap.yaml:5:74: simulation, defaults, jiter: this is not known here; expected join_delay, "
         "leave_delay, unicast_join_delay, unicast_leave_delay, retransmission_delay, jitter, packet_rate, "
         "burst_rate, join_failure, loss, reordering, duplication, late, payload_error, retransmission_loss; "
         "did you mean jitter?\n"},
        {"  defaults: {join_delay: -1, leave_delay: [1], jitter: {normal: [1, 2], uniform: [1, 2]}}\n",
         "zap.yaml:5:26: simulation, defaults, join_delay: \"-1\" is wrong; expected milliseconds from 0 to "
         "1000000000, {uniform: "
         "[least, most]}, {normal: [mean, deviation]} or {exponential: [shift, mean]}\n"
         "zap.yaml:5:43: simulation, defaults, leave_delay: there is a list; expected milliseconds from 0 to "
         "1000000000, "
         "{uniform: [least, most]}, {normal: [mean, deviation]} or {exponential: [shift, mean]}\n"
         "zap.yaml:5:56: simulation, defaults, jitter: there are keys and values; expected milliseconds from "
         "0 to 1000000000, "
         "{uniform: [least, most]}, {normal: [mean, deviation]} or {exponential: [shift, mean]}\n"},
        {"  defaults: {join_delay: {uniform: [2, 1]}, jitter: {gauss: 1}, leave_delay: {normal: [1]}}\n",
         "zap.yaml:5:36: simulation, defaults, join_delay, uniform: the parameters are wrong; expected "
         "[least, most] in milliseconds, each from 0 to 1000000000\n"
         "zap.yaml:5:54: simulation, defaults, jitter, gauss: this is no distribution; expected uniform, "
         "normal, exponential\n"
         "zap.yaml:5:87: simulation, defaults, leave_delay, normal: the parameters are wrong; expected "
         "[mean, standard deviation] in milliseconds, each from 0 to 1000000000\n"},
        {"  ports: {News: {}}\n  channel_blocks: {Newz: {}}\n",
         "zap.yaml:5:11: simulation, ports, News: this is not known here; expected Viewers\n"
         "zap.yaml:6:20: simulation, channel_blocks, Newz: this is not known here; expected News; did you "
         "mean News?\n"},
        {"  faults: {Viewers: {}}\n",
         "zap.yaml:5:21: simulation, faults, Viewers: there are keys and values; expected a list of "
         "faults\n"},
        // Faults that could never come.
        {"  faults: {Viewers: [{kind: refuse, request: Strat}, {kind: refuse, request: iptvcd_1.Start}]}\n",
         "zap.yaml:5:46: simulation, faults, Viewers, request: \"Strat\" is wrong; expected the name of a "
         "request; "
         "did you mean Start?\n"
         "zap.yaml:5:78: simulation, faults, Viewers, request: \"iptvcd_1.Start\" is wrong; expected the "
         "name of a "
         "request; did you mean Start?\n"},
        {"  faults: {Viewers: [{kind: late_end_of_test}, {kind: late_end_of_test, delay_ms: 0}]}\n",
         "zap.yaml:5:22: simulation, faults, Viewers, delay_ms: this is missing; expected a whole number "
         "from 1 to "
         "1000000000\n"
         "zap.yaml:5:83: simulation, faults, Viewers, delay_ms: \"0\" is wrong; expected a whole number from "
         "1 to "
         "1000000000\n"},
        {"  faults: {Viewers: [{kind: miss_end_of_test, request: Start, delay_ms: 5}, {kind: "
         "spoil_notification, "
         "request: Start}, {kind: go_offline, delay_ms: 5}]}\n",
         "zap.yaml:5:47: simulation, faults, Viewers, request: a fault of kind miss_end_of_test takes none\n"
         "zap.yaml:5:63: simulation, faults, Viewers, delay_ms: a fault of kind miss_end_of_test takes none\n"
         "zap.yaml:5:104: simulation, faults, Viewers, request: a fault of kind spoil_notification takes "
         "none\n"
         "zap.yaml:5:140: simulation, faults, Viewers, delay_ms: a fault of kind go_offline takes none\n"},
        {"  faults: {Viewers: [{kind: go_ofline}, {request: Start}, {kind: refuse, occurrence: 0, delay: 1}, "
         "x, ~]}\n",
         "zap.yaml:5:29: simulation, faults, Viewers, kind: \"go_ofline\" is wrong; expected lose_response, "
         "refuse, go_offline, late_end_of_test, repeat_end_of_test, miss_end_of_test, spoil_notification; "
         "did you mean go_offline?\n"
         "zap.yaml:5:41: simulation, faults, Viewers, kind: this is missing; expected lose_response, refuse, "
         "go_offline, late_end_of_test, repeat_end_of_test, miss_end_of_test, spoil_notification\n"
         "zap.yaml:5:86: simulation, faults, Viewers, occurrence: \"0\" is wrong; expected a whole number "
         "from 1 to 4294967295\n"
         "zap.yaml:5:89: simulation, faults, Viewers, delay: this is not known here; expected kind, request, "
         "occurrence, delay_ms\n"
         "zap.yaml:5:100: simulation, faults, Viewers: \"x\" is wrong; expected keys and values\n"
         "zap.yaml:5:103: simulation, faults, Viewers, kind: this is missing; expected lose_response, "
         "refuse, "
         "go_offline, late_end_of_test, repeat_end_of_test, miss_end_of_test, spoil_notification\n"},
    };
    for (const auto& [text, mistakes] : cases) EXPECT_EQ(ListMistakes(kObjects + text), mistakes) << text;
}

}  // namespace
}  // namespace test_file_test
