// Hosts that get their addresses from the network: texts that count, what is refused, and whole runs.
#include <nlohmann/json.hpp>
#include <set>

#include "database_reader.h"
#include "orv/common/exceptions.h"
#include "output/outcome_json.h"
#include "output/summary.h"
#include "run/host_text.h"
#include "session_fixture.h"
#include "thrown.h"

namespace {

using namespace testing_aids;  // NOLINT: a test
using testing::HasSubstr, testing::StartsWith;

TEST(HostText, DiffersFromHostToHost) {
    const orv::common::CMacAddress mac = *orv::common::CMacAddress::FromString("00:10:94:00:00:1f");
    const auto expand = [&](const char* text, std::uint32_t host) {
        const auto bytes = orv::app::ExpandHostText(text, host, mac);
        return std::string(bytes.begin(), bytes.end());
    };
    const std::tuple<const char*, std::uint32_t, std::string> good[] = {
        {"", 3, ""},
        {"box", 3, "box"},
        {"stb-{1}", 0, "stb-1"},
        {"stb-{1}", 9, "stb-10"},
        {"{0+2:4}/{5}", 8, "0016/13"},
        {"{mac}-{{x}", 0, "00109400001f-{x}"},
        {"0x01{mac}", 0, std::string("\x01\x00\x10\x94\x00\x00\x1f", 7)},
        {"0x{f:4}", 1, std::string("\x00\x10", 2)},
        {"0x41{9+1:2}", 1, std::string("A\x0a", 2)}};
    for (const auto& [text, host, bytes] : good) EXPECT_EQ(expand(text, host), bytes) << text;
    const std::pair<const char*, const char*> bad[] = {{"{1", "has a brace that is not closed"},
                                                       {"a{}", "has {} in it"},
                                                       {"{1:17}", "has {1:17} in it"},
                                                       {"{-1}", "has {-1} in it"},
                                                       {"{1+}", "has {1+} in it"},
                                                       {"0x123", "odd number of hexadecimal digits"},
                                                       {"0x{1}", "odd number of hexadecimal digits"},
                                                       {"0x1g", "has \"1g\" among its hexadecimal digits"}};
    for (const auto& [text, why] : bad) {
        const std::string refusal =
            ThrownBy<orv::common::COrvRunTimeError>([&, text = text] { expand(text, 0); });
        EXPECT_THAT(refusal, HasSubstr(why));
        EXPECT_THAT(refusal, StartsWith(fmt::format("\"{}\" ", text)));
    }
}

class AddressingRunTest : public SessionTest {
  protected:
    /// A test of 40 STBs whose device has the block, with the sequence that binds and releases them.
    std::string MakeText(const std::string& block, const std::string& behaviour, bool ipv6 = false) {
        const std::string kind = block.substr(0, block.find("BlockConfig"));
        const std::string commands = kind.starts_with("Dhcpv6") ? "Dhcpv6" : kind;
        TestText test{.environment = "REAL_WORLD", .ipv6 = ipv6};
        test.stbs = 40;
        if (!behaviour.empty()) test.network = {behaviour};
        std::string text = test.ToString();
        const std::string boxes = "      - IptvStbBlockConfig", start = "  - IptvStartTestCommand",
                          end = "  - IptvWaitForTestCompletionCommand:\n";
        text.insert(text.find(end) + end.size(),
                    fmt::format("  - {0}ReleaseCommand:\n  - {0}ReleaseWaitCommand:\n", commands));
        text.insert(text.find(start),
                    fmt::format("  - {0}BindCommand:\n  - {0}BindWaitCommand:\n", commands));
        text.insert(text.find(boxes), "      - " + block + "\n");
        return text;
    }
};

TEST_F(AddressingRunTest, AllKindsBindAndAreReported) {
    for (const auto& [block, name, ipv6] : {std::tuple("Dhcpv4BlockConfig: A", "DHCPv4", false),
                                            {"Dhcpv6BlockConfig: A", "DHCPv6", true},
                                            {"Dhcpv6PdBlockConfig: A", "DHCPv6-PD", true},
                                            {"SlaacBlockConfig: A", "SLAAC", true}}) {
        SCOPED_TRACE(block);
        std::filesystem::remove(folder / "results.db");
        const RunOutcome outcome = Run(MakeText(block, "address_delay: {uniform: [100, 300]}", ipv6));
        ASSERT_EQ(outcome.end, RunEnd::Passed) << Mistakes(outcome) << testing::PrintToString(outcome.errors);
        const auto json = nlohmann::json::parse(orv::app::MakeOutcomeJson(outcome));
        const auto& told = json.at("addressing").at(0);
        EXPECT_EQ(told.at("protocol"), name);
        EXPECT_EQ(told.at("hosts"), told.at("bound"));
        EXPECT_GT(told.at("hosts"), 1);
        const auto& times = told.at("time_to_bind_s");
        EXPECT_GE(times.at("min"), 0.1);
        EXPECT_LE(times.at("max"), 0.3);
        EXPECT_LT(times.at("min"), times.at("p50"));
        EXPECT_GE(told.at("all_bound_in_s"), times.at("max"));
        EXPECT_THAT(orv::app::MakeSummary(outcome, 120), HasSubstr(std::string(", ") + name + ": "));
        EXPECT_EQ(outcome.addressing.at(0).counts.bound, 0U);  // they were released
        // Each host has an address of its own in the database.
        const auto stored =
            nlohmann::json::parse(DatabaseReader(folder / "results.db")
                                      .Get("SELECT Text FROM DataSetDescriptions WHERE Name = "
                                           "'HostAddresses'"));
        std::set<std::string> addresses;
        for (const auto& host : stored.at(0).at("hosts")) addresses.insert(host.at("address"));
        EXPECT_EQ(addresses.size(), told.at("hosts"));
    }
}

TEST_F(AddressingRunTest, SomeFailAndThatDecidesOrNot) {
    const RunOutcome stopped = Run(MakeText("Dhcpv4BlockConfig: A", "address_failure: 0.5"));
    EXPECT_EQ(stopped.end, RunEnd::Failure);
    EXPECT_THAT(stopped.errors, testing::Contains(testing::AllOf(HasSubstr("not bound: A; "),
                                                                 HasSubstr(" have no address; host "),
                                                                 HasSubstr("nobody answers"))));
    EXPECT_TRUE(stopped.tests.empty());
    std::filesystem::remove(folder / "results.db");
    const RunOutcome all = Run(MakeText("Dhcpv4BlockConfig: A", ""));
    std::filesystem::remove(folder / "results.db");
    const RunOutcome some =
        Run(MakeText("Dhcpv4BlockConfig: A\n        FailureMode: CONTINUE", "address_failure: 0.5"));
    EXPECT_EQ(some.end, RunEnd::Passed) << testing::PrintToString(some.errors);
    const auto& report = some.addressing.at(0);
    EXPECT_LT(report.CountBound(), report.hosts.size());
    EXPECT_EQ(report.GetFailures().at(0).hosts, report.hosts.size() - report.CountBound());
    // Those without an address view nothing.
    const auto views = [](const RunOutcome& outcome) { return outcome.tests.at(0).GetChannelChanges(); };
    EXPECT_EQ(views(some) * report.hosts.size(), views(all) * report.CountBound());
    std::filesystem::remove(folder / "results.db");
    const RunOutcome none =
        Run(MakeText("Dhcpv4BlockConfig: A\n        FailureMode: CONTINUE", "address_failure: 1"));
    EXPECT_EQ(none.end, RunEnd::Failure);
    EXPECT_FALSE(none.addressing.at(0).GetTimesToBind());
}

TEST_F(AddressingRunTest, WhenTheTimeToWaitIsOverThoseWithAnAddressMayDo) {
    for (const char* mode : {"STOP", "CONTINUE"}) {
        SCOPED_TRACE(mode);
        std::filesystem::remove(folder / "results.db");
        std::string text = MakeText(
            fmt::format("Dhcpv4BlockConfig: A\n        SessionsPerSecond: 1\n        FailureMode: {}", mode),
            "");
        const std::string wait = "BindWaitCommand:\n";
        text.insert(text.find(wait) + wait.size(), "    WaitTime: 2\n");
        const RunOutcome outcome = Run(text);
        const auto& report = outcome.addressing.at(0);
        EXPECT_EQ(report.CountBound(), 2U);
        EXPECT_EQ(report.GetFailures().at(0).why, "no answer yet");
        EXPECT_EQ(report.GetFailures().at(0).hosts, report.host_count - 2);
        EXPECT_EQ(outcome.tests.size(), mode == std::string("STOP") ? 0U : 1U);
        if (outcome.tests.empty())
            EXPECT_THAT(outcome.errors, testing::Contains(HasSubstr("not bound after 2 seconds: A; 2 of ")));
        else
            EXPECT_EQ(outcome.end, RunEnd::Passed) << testing::PrintToString(outcome.errors);
    }
}

TEST_F(AddressingRunTest, MistakesAreFoundBeforeAnythingRuns) {
    const std::pair<std::string, const char*> cases[] = {
        {"Dhcpv4BlockConfig: A\n        HostName: \"stb-{x}\"",
         "Dhcpv4BlockConfig \"A\": \"stb-{x}\" has {x} in it"},
        {"Dhcpv4BlockConfig: A\n        VendorClass: " + std::string(1500, 'v'),
         "Dhcpv4BlockConfig \"A\": host 1: the DHCP options are too long for a message"},
        {"Dhcpv6BlockConfig: A", "the device has no IPv6 interface whose hosts could ask for an address"},
        {"Dhcpv4BlockConfig: A\n      - Dhcpv4BlockConfig: B", "by Dhcpv4BlockConfig \"A\" already"}};
    for (const auto& [block, mistake] : cases) {
        const RunOutcome outcome = Run(MakeText(block, ""));
        EXPECT_EQ(outcome.end, RunEnd::BadInput);
        EXPECT_THAT(Mistakes(outcome), HasSubstr(mistake));
    }
    const std::string good = MakeText("Dhcpv4BlockConfig: A", "");
    const auto without = [&good](const std::string& line) {
        std::string text = good;
        return text.erase(text.find("  - " + line), line.size() + 5);
    };
    EXPECT_THAT(Mistakes(Run(without("Dhcpv4BindCommand:"))), HasSubstr("not bound when the command waits"));
    std::string unbound = without("Dhcpv4BindWaitCommand:");
    unbound.erase(unbound.find("  - Dhcpv4BindCommand:"), std::string("  - Dhcpv4BindCommand:\n").size());
    EXPECT_THAT(Mistakes(Run(unbound)), HasSubstr("the hosts have no addresses when the test of"));
    EXPECT_THAT(Mistakes(Run(without("IptvWaitForTestCompletionCommand:"))),
                HasSubstr("the hosts give back their addresses while the test of"));
}

}  // namespace
