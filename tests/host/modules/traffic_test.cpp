// Commands of the modules, multicast groups and stream blocks.
#include <set>

#include "modules_fixture.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/core/orv_system.h"
#include "orv/framework/apply.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "orv/igmpmld/multicast_port_config.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/generator.h"
#include "orv/l2l3/stream_block.h"
#include "orv/l2l3/stream_index_manager.h"
#include "orv/l2l3/traffic_commands.h"
#include "orv/mcastcore/multicast_group.h"

namespace {

using namespace host_test;  // NOLINT: a test

struct HostCommandsTest : ModulesTest {
    CCommand& MakeCommand(const std::string& class_name) {
        return dynamic_cast<CCommand&>(MakeByName(class_name));
    }
    void Execute(const std::string& class_name) { MakeCommand(class_name).Execute(false); }
    static std::string ErrorOf(CCommand& command) {
        return ThrownBy<orv::common::COrvException>([&] { command.Execute(false); });
    }
    /// The generator or analyzer of a new port.
    template <class T>
    T& MakeOnPort(bool online = true) {
        auto& port = MakePort();
        port.Set(ids::Port::Online, online);
        return dynamic_cast<T&>(*port.GetObject(T::CLASS_ID(), kParentChild));
    }
};

TEST_F(HostCommandsTest, GeneratorsStartBeforeTheyRunAndOfflineOnesStayStopped) {
    auto& online = MakeOnPort<l2l3::CGenerator>();
    std::vector<int> states;
    const auto note = [&] { states.push_back(online.GetState()); };
    Tasks().PostAfter(1ms, note);
    Execute("GeneratorStartCommand");
    note();
    Execute("GeneratorStopCommand");
    note();
    EXPECT_THAT(states, ElementsAre(2, 1, 0));

    auto& offline = MakeOnPort<l2l3::CGenerator>(false);
    auto& start = MakeCommand("GeneratorStartCommand");
    EXPECT_THAT(ErrorOf(start), HasSubstr(offline.GetName()));
    EXPECT_EQ(offline.GetState(), 0);
    EXPECT_EQ(online.GetState(), 1);
    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    start.Execute(false);
    EXPECT_EQ(offline.GetState(), 1);
}

TEST_F(HostCommandsTest, AnalyzerCommandsWorkOnTheirList) {
    auto &first = MakeOnPort<l2l3::CAnalyzer>(), &second = MakeOnPort<l2l3::CAnalyzer>();
    auto& start = Make<l2l3::CAnalyzerStartCommand>();
    EXPECT_THAT(start.GetAnalyzerList(), ElementsAre(Project().GetHandle()));
    start.SetAnalyzerList({});
    start.AddAnalyzer(first.GetHandle());
    start.Execute(false);
    EXPECT_EQ(first.GetU8(ids::Analyzer::State), 1);
    EXPECT_EQ(second.GetU8(ids::Analyzer::State), 0);
    auto& stop = MakeCommand("AnalyzerStopCommand");
    stop.Set("AnalyzerList", std::to_string(second.GetParent()->GetHandle()));
    stop.Execute(false);
    EXPECT_EQ(first.GetU8(ids::Analyzer::State), 1) << "not below the port in the list";
    for (const bool asked : {false, true}) {
        first.Set(ids::Analyzer::TotalFrameCount, std::uint64_t{5});
        Project()
            .GetObject("ResultOptions", kParentChild)
            ->Set(ids::ResultOptions::ClearAnalyzersOnApply, asked);
        ValidationContext context;
        ApplyToIL(Project(), context);
        EXPECT_EQ(first.GetU64(ids::Analyzer::TotalFrameCount), asked ? 0u : 5u);
    }
}

TEST_F(HostCommandsTest, AddressesOfActiveInterfacesAreResolved) {
    auto& offline = MakePort();
    offline.Set(ids::Port::Online, false);
    auto& resolved = MakeByName("Ipv4If", &MakeDevice(&MakePort()));
    auto& unreachable = MakeByName("Ipv6If", &MakeDevice(&offline));
    auto& switched_off = MakeByName("Ipv4If", &MakeDevice(&MakePort()));
    switched_off.Set(kActive, false);
    for (CScriptable* each : {&resolved, &unreachable, &switched_off})
        each->Set("AddrResolveState", "RESOLVE_NEEDED");
    auto& command = MakeCommand("ArpNdStartOnAllDevicesCommand");
    command.Execute(false);
    EXPECT_EQ(resolved.Get("AddrResolveState"), "RESOLVE_DONE");
    EXPECT_EQ(unreachable.Get("AddrResolveState"), "RESOLVE_FAILED");
    EXPECT_EQ(switched_off.Get("AddrResolveState"), "RESOLVE_NEEDED");
    EXPECT_THAT(command.GetStatus(), HasSubstr(unreachable.GetName()));
}

TEST_F(HostCommandsTest, ProtocolsBindAndReleaseTheirOwnActiveBlocks) {
    const struct {
        const char* block;
        std::string prefix;  ///< of the commands' names, with the verbs
        const char *bind = "Connect", *release = "Disconnect";
    } cases[] = {{"Dhcpv4BlockConfig", "Dhcpv4", "Bind", "Release"},
                 {"Dhcpv6BlockConfig", "Dhcpv6", "Bind", "Release"},
                 {"Dhcpv6PdBlockConfig", "Dhcpv6", "Bind", "Release"},
                 {"PppoaClientBlockConfig", "Pppox"},
                 {"L2tpBlockConfig", "L2tp"},
                 {"PppoeClientBlockConfig", "Pppox"}};
    auto& device = MakeDevice(&MakePort());
    auto& session = MakeByName("PppoeIf", &device);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.block);
        auto &block = MakeByName(c.block, &device), &switched_off = MakeByName(c.block, &device);
        switched_off.Set(kActive, false);
        auto& other = MakeByName(c.prefix == "L2tp" ? "Dhcpv4BlockConfig" : "L2tpBlockConfig", &device);
        auto& bind = MakeCommand(c.prefix + c.bind + "Command");
        bind.SetCollection<std::uint32_t>(bind.GetMetaClass()->FindProperty("BlockList")->id,
                                          {block.GetHandle(), switched_off.GetHandle(), other.GetHandle()});
        bind.Execute(false);
        EXPECT_EQ(block.Get("BlockState"), "BOUND");
        EXPECT_EQ(switched_off.Get("BlockState"), "IDLE");
        EXPECT_EQ(other.Get("BlockState"), "IDLE") << "of another protocol";
        Execute(c.prefix + c.bind + "WaitCommand");
        Execute(c.prefix + c.release + "Command");
        EXPECT_EQ(block.Get("BlockState"), "IDLE");
        Execute(c.prefix + c.release + "WaitCommand");
        EXPECT_EQ(session.GetU8(ids::PppoeIf::SessionResolveState),
                  c.block == std::string("PppoeClientBlockConfig"));
        for (CScriptable* done : {&block, &switched_off, &other}) done->Delete();
    }
}

TEST_F(HostCommandsTest, WaitingEndsWhenAllIsBoundOrWithTheTimeOrAtOnceWhenABlockHasFailed) {
    auto& port = MakePort();
    auto& block = MakeByName("Dhcpv4BlockConfig", &MakeDevice(&port));
    auto &bind = MakeCommand("Dhcpv4BindCommand"), &wait = MakeCommand("Dhcpv4BindWaitCommand");
    wait.Set("WaitTime", "30");
    const auto start = Tasks().GetNow();
    EXPECT_THAT(ErrorOf(wait), HasSubstr("not bound after 30 seconds: " + block.GetName()));
    EXPECT_EQ(Tasks().GetNow() - start, 30s);
    Tasks().PostAfter(3s, [&] { bind.Execute(false); });
    wait.Execute(false);
    EXPECT_GE(Tasks().GetNow() - start, 33s);
    EXPECT_LT(Tasks().GetNow() - start, 60s);

    port.Set(ids::Port::Online, false);
    bind.Execute(false);
    const auto again = Tasks().GetNow();
    EXPECT_THAT(ErrorOf(wait), HasSubstr("not bound: " + block.GetName()));
    EXPECT_LT(Tasks().GetNow() - again, 30s);
}

using MulticastTest = ModulesTest;

TEST_F(MulticastTest, NewGroupsHoldOneMulticastAddressAndOneBlockAlsoWhenCloned) {
    auto& group = Make<mcastcore::CIpv4Group>();
    auto& ipv4 = dynamic_cast<core::CIpv4NetworkBlock&>(*group.GetNetworkBlock());
    EXPECT_THAT(ipv4.GetStartIpList(), ElementsAre(*common::CIpAddress::FromString("225.0.0.1")));
    EXPECT_EQ(ipv4.GetNetworkCount(), 4u);
    ipv4.SetAddrIncrement(0x01020304);
    EXPECT_EQ(ipv4.GetNativeIncrementValue().ToString(), "1.2.3.4");
    auto& ipv6 = dynamic_cast<core::CIpv6NetworkBlock&>(*Make<mcastcore::CIpv6Group>().GetNetworkBlock());
    EXPECT_THAT(ipv6.GetStartIpList(), ElementsAre(*common::CIpv6Address::FromString("ff1e::1")));
    ipv6.SetAddrIncrement(0x01020304);
    EXPECT_EQ(ipv6.GetNativeIncrementValue().ToString(), "::102:304");

    EXPECT_EQ(Related(*group.Clone(), kParentChild, core::CNetworkBlock::CLASS_ID()).size(), 1u);
}

TEST_F(MulticastTest, SubscribedAreTheGroupsOfActiveHostsOnThePort) {
    using Groups = std::set<CScriptable*>;
    auto& port = MakePort();
    const auto subscribe = [&](core::CPort& of) {
        auto& host = Make<igmpmld::CIgmpHostConfig>(&MakeDevice(&of));
        auto& group = Make<mcastcore::CIpv4Group>();
        Relate(host, group, ids::relations::SubscribedGroups);
        return std::pair{&host, &group};
    };
    const auto group = subscribe(port).second;
    subscribe(port).first->Set(kActive, false);
    subscribe(MakePort());
    Groups subscribed;
    const CScriptable& config = *port.GetObject("CMulticastPortConfig", kParentChild);
    dynamic_cast<const igmpmld::CMulticastPortConfig&>(config).GetSubscribedMulticastGroups(subscribed);
    EXPECT_EQ(subscribed, Groups{group});
}

using l2l3::CStreamBlock;
using StreamIds = std::vector<std::uint32_t>;

struct StreamTest : ModulesTest {
    core::CIpv4If& MakeSource(std::uint32_t hosts) { return Make<core::CIpv4If>(&MakeDevice(&port_, hosts)); }
    core::CNetworkBlock& MakeDestination(std::uint32_t networks, std::size_t start_addresses = 1) {
        auto& block =
            dynamic_cast<core::CIpv4NetworkBlock&>(*Make<mcastcore::CIpv4Group>().GetNetworkBlock());
        block.SetNetworkCount(networks);
        block.SetStartIpList(std::vector(start_addresses, common::CIpAddress(0xe1000001)));
        return block;
    }
    CStreamBlock& MakeStreams(core::CNetworkEndpoint& source, core::CNetworkEndpoint& destination) {
        auto& block = Make<CStreamBlock>(&port_);
        Relate(block, source, ids::relations::SrcBinding);
        Relate(block, destination, ids::relations::DstBinding);
        return block;
    }
    StreamIds IdsOf(const CStreamBlock& block) {
        StreamIds stream_ids{0};
        l2l3::CStreamIndexManager::Instance().GetStreamIdsNoThrow(&block, port_.GetHandle(), stream_ids);
        return stream_ids;
    }

    core::CPort& port_ = MakePort();
};

TEST_F(StreamTest, NumberOfStreamsIsTheLeastCommonMultiple) {
    const std::tuple<std::uint32_t, std::uint32_t, std::size_t, std::uint32_t> cases[] = {
        {1, 1, 1, 1}, {3, 4, 1, 12}, {6, 4, 1, 12}, {2, 10, 1, 10}, {4, 2, 3, 12}, {7, 1, 0, 0}};
    for (const auto& [hosts, networks, start_addresses, streams] : cases) {
        SCOPED_TRACE(streams);
        auto& block = MakeStreams(MakeSource(hosts), MakeDestination(networks, start_addresses));
        EXPECT_EQ(block.GetStreamCount(), streams);
        EXPECT_EQ(IdsOf(block).size(), streams);
        block.Refresh();
        EXPECT_EQ(block.GetU32(ids::StreamBlock::StreamCount), streams);
    }
    EXPECT_EQ(MakeStreams(MakeSource(4), MakeSource(6)).GetStreamCount(), 12u) << "between devices";
}

TEST_F(StreamTest, PathsAreEverySourceWithEveryDestinationThatTakesPart) {
    auto &first = MakeSource(1), &second = MakeSource(2);
    auto &far = MakeDestination(3), &near = MakeDestination(4);
    auto& block = MakeStreams(first, far);
    Relate(block, second, ids::relations::SrcBinding);
    Relate(block, near, ids::relations::DstBinding);
    using Paths = std::vector<CStreamBlock::TrafficPath>;
    EXPECT_EQ(block.GetTrafficPaths(),
              (Paths{{&first, &far}, {&first, &near}, {&second, &far}, {&second, &near}}));
    EXPECT_EQ(block.GetStreamCount(), 3u + 4u + 6u + 4u);
    second.Set(kActive, false);
    far.MarkDelete(true, true);
    EXPECT_EQ(block.GetTrafficPaths(), (Paths{{&first, &near}}));
}

TEST_F(StreamTest, IdsAreDenseStableAndNeverShared) {
    auto& source = MakeSource(1);
    auto& grows = MakeDestination(4);
    auto &first = MakeStreams(source, MakeDestination(3)), &second = MakeStreams(source, grows);
    auto& third = MakeStreams(source, MakeDestination(5));
    EXPECT_THAT(IdsOf(first), ElementsAre(1, 2, 3));
    EXPECT_THAT(IdsOf(second), ElementsAre(4, 5, 6, 7));
    const StreamIds third_ids{8, 9, 10, 11, 12};
    EXPECT_EQ(IdsOf(third), third_ids);
    grows.SetNetworkCount(6);
    EXPECT_THAT(IdsOf(second), testing::AllOf(testing::SizeIs(6), testing::Each(testing::Gt(12u))));
    EXPECT_THAT(IdsOf(first), ElementsAre(1, 2, 3));
    EXPECT_EQ(IdsOf(third), third_ids);
    second.Delete();
    auto& two = MakeStreams(source, MakeDestination(2));
    EXPECT_THAT(IdsOf(two), ElementsAre(4, 5)) << "free again";
    for (CStreamBlock* gone : {&two, &first, &third}) gone->Delete();
    EXPECT_EQ(IdsOf(MakeStreams(source, MakeDestination(12))).front(), 1u) << "all grown together";
}

}  // namespace
