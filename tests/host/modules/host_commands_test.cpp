// Commands of the modules: generators, analyzers, address resolution, protocol blocks.
#include <gmock/gmock.h>

#include <chrono>
#include <functional>
#include <ostream>

#include "modules_fixture.h"
#include "orv/common/exceptions.h"
#include "orv/core/orv_system.h"
#include "orv/core/protocol_blocks.h"
#include "orv/framework/apply.h"
#include "orv/framework/command.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/generator.h"
#include "orv/l2l3/traffic_commands.h"

namespace orv::test {
namespace {

using framework::CCommand;
using framework::CScriptable;
using testing::HasSubstr;

class HostCommandsTest : public ModulesTest {
  protected:
    CCommand& MakeCommand(const std::string& class_name) {
        return dynamic_cast<CCommand&>(MakeByName(class_name, &Project()));
    }
    template <class T>
    static T& Child(const CScriptable& parent) {
        return dynamic_cast<T&>(*parent.GetObject(T::CLASS_ID(), common::kParentChild));
    }
    static std::string TextOf(const std::function<void()>& action) {
        try {
            action();
        } catch (const common::COrvException& error) {
            return error.what();
        }
        return "nothing was thrown";
    }
};

TEST_F(HostCommandsTest, GeneratorsStartBeforeTheyRun) {
    auto& port = MakePort();
    auto& generator = Child<l2l3::CGenerator>(port);
    std::vector<int> states;
    framework::CTaskManager::Instance().PostAfter(std::chrono::milliseconds(1),
                                                  [&] { states.push_back(generator.GetState()); });
    MakeCommand("GeneratorStartCommand").Execute(false);
    states.push_back(generator.GetState());
    MakeCommand("GeneratorStopCommand").Execute(false);
    states.push_back(generator.GetState());
    EXPECT_THAT(states, testing::ElementsAre(2, 1, 0));
}

TEST_F(HostCommandsTest, AGeneratorOfAnOfflinePortStaysStoppedAndIsNamed) {
    auto& online = Child<l2l3::CGenerator>(MakePort());
    auto& offline_port = MakePort();
    offline_port.Set(ids::Port::Online, false);
    auto& offline = Child<l2l3::CGenerator>(offline_port);
    auto& start = MakeCommand("GeneratorStartCommand");
    EXPECT_THAT(TextOf([&] { start.Execute(false); }), HasSubstr(offline.GetName()));
    EXPECT_EQ(offline.GetState(), 0);
    EXPECT_EQ(online.GetState(), 1);

    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    start.Execute(false);
    EXPECT_EQ(offline.GetState(), 1);
}

TEST_F(HostCommandsTest, AnalyzerCommandsWorkOnTheirList) {
    auto& first = Child<l2l3::CAnalyzer>(MakePort());
    auto& second = Child<l2l3::CAnalyzer>(MakePort());
    auto& start = Make<l2l3::CAnalyzerStartCommand>(&Project());
    EXPECT_EQ(start.GetAnalyzerList(), std::vector<std::uint32_t>{Project().GetHandle()});
    start.SetAnalyzerList({});
    start.AddAnalyzer(first.GetHandle());
    start.Execute(false);
    EXPECT_EQ(first.GetU8(ids::Analyzer::State), 1);
    EXPECT_EQ(second.GetU8(ids::Analyzer::State), 0);
    auto& stop = MakeCommand("AnalyzerStopCommand");
    stop.Set("AnalyzerList", std::to_string(second.GetParent()->GetHandle()));
    stop.Execute(false);
    EXPECT_EQ(first.GetU8(ids::Analyzer::State), 1) << "not below the port in the list";
}

TEST_F(HostCommandsTest, ApplyClearsAnalyzersWhenAskedTo) {
    auto& analyzer = Child<l2l3::CAnalyzer>(MakePort());
    CScriptable& options = *Project().GetObject("ResultOptions", common::kParentChild);
    for (const bool asked : {false, true}) {
        analyzer.Set(ids::Analyzer::TotalFrameCount, std::uint64_t{5});
        options.Set(ids::ResultOptions::ClearAnalyzersOnApply, asked);
        framework::ValidationContext context;
        framework::ApplyToIL(Project(), context);
        EXPECT_EQ(analyzer.GetU64(ids::Analyzer::TotalFrameCount), asked ? 0u : 5u);
    }
}

TEST_F(HostCommandsTest, AddressesOfActiveInterfacesAreResolved) {
    auto& offline = MakePort();
    offline.Set(ids::Port::Online, false);
    auto& resolved = MakeByName("Ipv4If", &MakeDevice(&MakePort()));
    auto& unreachable = MakeByName("Ipv6If", &MakeDevice(&offline));
    auto& switched_off = MakeByName("Ipv4If", &MakeDevice(&MakePort()));
    switched_off.Set("Active", std::string("false"));
    for (CScriptable* each : {&resolved, &unreachable, &switched_off}) {
        each->Set("AddrResolveState", std::string("RESOLVE_NEEDED"));
    }
    auto& command = MakeCommand("ArpNdStartOnAllDevicesCommand");
    command.Execute(false);
    EXPECT_EQ(resolved.Get("AddrResolveState"), "RESOLVE_DONE");
    EXPECT_EQ(unreachable.Get("AddrResolveState"), "RESOLVE_FAILED");
    EXPECT_EQ(switched_off.Get("AddrResolveState"), "RESOLVE_NEEDED");
    EXPECT_THAT(command.GetStatus(), HasSubstr(unreachable.GetName()));
}

struct ProtocolCase {
    const char* block;
    const char* prefix;  ///< of the commands' names, with the verbs
    const char* bind;
    const char* release;
};

void PrintTo(const ProtocolCase& protocol, std::ostream* out) {
    *out << protocol.block;
}

class ProtocolTest : public HostCommandsTest, public testing::WithParamInterface<ProtocolCase> {};

TEST_P(ProtocolTest, BindsAndReleasesItsOwnActiveBlocks) {
    const ProtocolCase& names = GetParam();
    const std::string prefix = names.prefix;
    auto& device = MakeDevice(&MakePort());
    auto& block = MakeByName(names.block, &device);
    auto& switched_off = MakeByName(names.block, &device);
    switched_off.Set("Active", std::string("false"));
    auto& other = MakeByName(prefix == "L2tp" ? "Dhcpv4BlockConfig" : "L2tpBlockConfig", &device);

    auto& bind = MakeCommand(prefix + names.bind + "Command");
    bind.Set("BlockList", std::to_string(block.GetHandle()) + " " + std::to_string(switched_off.GetHandle()) +
                              " " + std::to_string(other.GetHandle()));
    bind.Execute(false);
    EXPECT_EQ(block.Get("BlockState"), "BOUND");
    EXPECT_EQ(switched_off.Get("BlockState"), "IDLE");
    EXPECT_EQ(other.Get("BlockState"), "IDLE") << "of another protocol";
    MakeCommand(prefix + names.bind + "WaitCommand").Execute(false);

    MakeCommand(prefix + names.release + "Command").Execute(false);
    EXPECT_EQ(block.Get("BlockState"), "IDLE");
    MakeCommand(prefix + names.release + "WaitCommand").Execute(false);
}

INSTANTIATE_TEST_SUITE_P(
    Protocols, ProtocolTest,
    testing::Values(ProtocolCase{"Dhcpv4BlockConfig", "Dhcpv4", "Bind", "Release"},
                    ProtocolCase{"Dhcpv6BlockConfig", "Dhcpv6", "Bind", "Release"},
                    ProtocolCase{"Dhcpv6PdBlockConfig", "Dhcpv6", "Bind", "Release"},
                    ProtocolCase{"PppoeClientBlockConfig", "Pppox", "Connect", "Disconnect"},
                    ProtocolCase{"PppoaClientBlockConfig", "Pppox", "Connect", "Disconnect"},
                    ProtocolCase{"L2tpBlockConfig", "L2tp", "Connect", "Disconnect"}),
    [](const auto& protocol) { return std::string(protocol.param.block); });

TEST_F(HostCommandsTest, WaitingEndsWithTheTimeOrAtOnceWhenABlockHasFailed) {
    auto& port = MakePort();
    auto& block = MakeByName("Dhcpv4BlockConfig", &MakeDevice(&port));
    auto& wait = MakeCommand("Dhcpv4BindWaitCommand");
    wait.Set("WaitTime", std::string("30"));
    auto& tasks = framework::CTaskManager::Instance();
    const auto start = tasks.GetNow();
    EXPECT_THAT(TextOf([&] { wait.Execute(false); }),
                HasSubstr("not bound after 30 seconds: " + block.GetName()));
    EXPECT_GE(tasks.GetNow() - start, std::chrono::seconds(30));

    port.Set(ids::Port::Online, false);
    MakeCommand("Dhcpv4BindCommand").Execute(false);
    const auto again = tasks.GetNow();
    EXPECT_THAT(TextOf([&] { wait.Execute(false); }), HasSubstr("not bound: " + block.GetName()));
    EXPECT_LT(tasks.GetNow() - again, std::chrono::seconds(30));
}

TEST_F(HostCommandsTest, WaitingEndsWhenAnotherTaskBinds) {
    MakeByName("Dhcpv4BlockConfig", &MakeDevice(&MakePort()));
    auto& bind = MakeCommand("Dhcpv4BindCommand");
    auto& tasks = framework::CTaskManager::Instance();
    tasks.PostAfter(std::chrono::seconds(3), [&] { bind.Execute(false); });
    const auto start = tasks.GetNow();
    MakeCommand("Dhcpv4BindWaitCommand").Execute(false);
    EXPECT_GE(tasks.GetNow() - start, std::chrono::seconds(3));
    EXPECT_LT(tasks.GetNow() - start, std::chrono::seconds(60));
}

TEST_F(HostCommandsTest, PppoeSessionsHoldWhileConnected) {
    auto& device = MakeDevice(&MakePort());
    auto& session = MakeByName("PppoeIf", &device);
    MakeByName("PppoeClientBlockConfig", &device);
    MakeCommand("PppoxDisconnectCommand").Execute(false);
    EXPECT_EQ(session.GetU8(ids::PppoeIf::SessionResolveState), 1);
    MakeCommand("PppoxConnectCommand").Execute(false);
    EXPECT_EQ(session.GetU8(ids::PppoeIf::SessionResolveState), 0);
}

}  // namespace
}  // namespace orv::test
