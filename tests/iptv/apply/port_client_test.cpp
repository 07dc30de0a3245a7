// The client of a port by itself: its tables, address lists, expected groups, and the rule for stacks.
#include "IptvMsgSetCln.h"

#include "apply_fixture.h"
#include "config/AddressLists.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/igmpmld/multicast_port_config.h"
#include "thrown.h"

namespace {

using namespace orv;  // NOLINT: a test
using common::COrvRunTimeError;
using framework::CScriptable;
using framework::CScriptableCreator;
using framework::ScriptableVec;
using iptv::CIptvMsgSetCln;
using iptvcd_1_bll::ipAddress_t;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using testing_aids::Stack;
using testing_aids::TestProject;
using testing_aids::ThrownBy;
namespace relations = ids::relations;

class PortClientTest : public testing_aids::TwoPortsTest {};

TEST_F(PortClientTest, IsOneForEachPort) {
    EXPECT_EQ(CIptvMsgSetCln::GetPortClient(nullptr, nullptr), nullptr);
    framework::ApplyContext context;
    CIptvMsgSetCln* client = CIptvMsgSetCln::GetPortClient(&p1, &context);
    EXPECT_EQ(CIptvMsgSetCln::GetPortClient(&p1, nullptr), client) << "which keeps its apply";
    EXPECT_NE(CIptvMsgSetCln::GetPortClient(&p2, nullptr), client);
    client->AddProcessedObject(a, false);
    CIptvMsgSetCln::GetPortClient(&p2, nullptr)->AddProcessedObject(b, false);  // no apply: no one to tell
    EXPECT_THAT(context.GetProcessedObjects(), ElementsAre(a.GetHandle()));

    CIptvMsgSetCln::ReleasePortClient(client);
    EXPECT_EQ(CIptvMsgSetCln::FindPortClient(p1.GetHandle()), nullptr);
    p1.Set(ids::Port::Online, false);  // its delegate is gone with it
    EXPECT_NE(CIptvMsgSetCln::FindPortClient(p2.GetHandle()), nullptr);
}

TEST_F(PortClientTest, ApplyMap) {
    CIptvMsgSetCln& client = *CIptvMsgSetCln::GetPortClient(&p1, nullptr);
    const auto get = [&client](const char* key) {
        ScriptableVec objects{nullptr};
        client.GetFromApplyMap(key, objects);
        return objects;
    };
    EXPECT_FALSE(client.EntriesInApplyMap("X"));
    EXPECT_THAT(get("X"), ElementsAre(nullptr));
    client.AddToApplyMap("X", static_cast<CScriptable*>(nullptr));
    EXPECT_FALSE(client.EntriesInApplyMap("X"));
    for (CScriptable* object : {&c, &a, &c}) client.AddToApplyMap("X", object);
    client.AddToApplyMap("Y", &b);
    client.AddToApplyMap("Y", &range);
    EXPECT_TRUE(client.EntriesInApplyMap("X"));
    EXPECT_THAT(get("X"), ElementsAre(nullptr, &a, &c)) << "appended, each once, by handle";
    EXPECT_THAT(client.GetFromApplyMap<iptv::CIptvViewedChannels>("Y"), ElementsAre(&range));
    const std::uint32_t gone = a.GetHandle();
    a.Delete();
    EXPECT_THAT(get("X"), ElementsAre(nullptr, &c));
    EXPECT_THAT(client.GetHandlesFromApplyMap("X"), ElementsAre(gone, c.GetHandle()));
    client.ClearApplyMap("X");
    EXPECT_FALSE(client.EntriesInApplyMap("X"));
    EXPECT_TRUE(client.EntriesInApplyMap("Y"));
    client.ClearApplyMap("");
    EXPECT_FALSE(client.EntriesInApplyMap("Y"));
}

std::vector<std::string> ToText(const std::vector<ipAddress_t>& list) {
    std::vector<std::string> texts;
    for (const ipAddress_t& ip : list) {
        texts.push_back(ip.type == ipAddress_t::kV4 ? common::CIpAddress(ip.v4.address).ToString()
                                                    : common::CIpv6Address(ip.v6.address).ToString());
    }
    return texts;
}

TEST_F(PortClientTest, SourcesOfAnInterface) {
    auto& v4 = dynamic_cast<core::CIpv4If&>(TestProject::LayerOf(project.MakeDevice(nullptr, 3), "Ipv4If"));
    v4.Set(ids::Ipv4If::Address, "10.0.0.1");
    v4.Set(ids::Ipv4If::AddrStep, "0.0.0.2");
    auto& v6 = dynamic_cast<core::CIpv6If&>(
        TestProject::LayerOf(project.MakeDevice(nullptr, 2, {.ipv6 = true}), "Ipv6If"));
    v6.Set(ids::Ipv6If::AddrStep, "0:0:1::");
    std::vector<ipAddress_t> list;
    iptv::GetSrcList(list, &v4);
    iptv::GetSrcList(list, &v6);
    EXPECT_THAT(ToText(list), ElementsAre("10.0.0.1", "10.0.0.3", "10.0.0.5", "2000::2", "2000:0:1::2"));
    list.clear();
    v4.SetCollection<common::CIpAddress>(ids::Ipv4If::AddrList,
                                         {*common::CIpAddress::FromString("10.7.0.1")});
    iptv::GetSrcList(list, &v4);
    EXPECT_THAT(ToText(list), ElementsAre("10.7.0.1")) << "the list counts, whatever the number of hosts";
}

TEST_F(PortClientTest, AddressesOfABlock) {
    auto& v4 = CScriptableCreator().Make<core::CIpv4NetworkBlock>(&project.Root());
    v4.SetStartIpList(
        {*common::CIpAddress::FromString("10.0.0.255"), *common::CIpAddress::FromString("11.0.0.0")});
    v4.SetNetworkCount(2);
    auto& v6 = CScriptableCreator().Make<core::CIpv6NetworkBlock>(&project.Root());
    v6.SetNetworkCount(3);
    v6.SetAddrIncrement(0xffffffff);
    std::vector<ipAddress_t> list;
    iptv::BlockToVector(&v4, list);
    EXPECT_THAT(ToText(list), ElementsAre("10.0.0.255", "10.0.1.0", "11.0.0.0", "11.0.0.1"));
    iptv::BlockToVector(&v6, list);
    EXPECT_THAT(ToText(list), ElementsAre("2000::1", "2000::1:0:0", "2000::1:ffff:ffff")) << "from empty";
    iptv::BlockToVector(nullptr, list);
    EXPECT_THAT(list, IsEmpty());
}

TEST_F(PortClientTest, ExpectedGroupsFollowWhatIsWatched) {
    auto& sports = project.MakeChannelBlock("Sports", 20, 4);
    auto& sports_range = project.MakeRange(sports, 20, 22);
    auto& others = project.MakeChannelBlock("Others", 30, 4);
    auto& port_config = dynamic_cast<igmpmld::CMulticastPortConfig&>(
        *p1.GetObject(igmpmld::CMulticastPortConfig::CLASS_ID(), common::kParentChild));
    CScriptable* const news_group = &TestProject::GroupOf(channels);
    CScriptable* const sports_group = &TestProject::GroupOf(sports);
    CScriptable* const others_group = &TestProject::GroupOf(others);
    TestProject::Relate(port_config, *others_group, relations::ExpectedGroups);
    const auto apply = [&] {
        EXPECT_EQ(Apply(), "");
        ScriptableVec expected;
        port_config.GetObjects(expected, "MulticastGroup", relations::ExpectedGroups);
        return expected;
    };
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group));
    TestProject::Relate(c, sports_range, relations::StbChannel);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group, sports_group));
    a.SetObjects({&sports_range}, relations::StbChannel);
    device_c.Set(ids::Scriptable::LocalActive, false);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, sports_group)) << "C is off";
    // A group that a host subscribes to by itself.
    TestProject::Relate(TestProject::McastOf(device_a), *news_group, relations::SubscribedGroups);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group, sports_group));
    a.MarkDelete(true, true);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group)) << "the host is still there";
}

class StackRuleTest : public testing_aids::ApplyTest {
  protected:
    std::string Validate() {
        framework::ValidationContext context;
        context.SetCurrentObject(&project.Root());
        const std::string thrown = ThrownBy<COrvRunTimeError>(
            [&context] { CIptvMsgSetCln::OnValidateIptvNetworkInterface(context); });
        EXPECT_EQ(context.GetCurrentObject(), &project.Root());
        return thrown == "nothing thrown" ? "" : thrown;
    }
    iptv::CIptvStbBlockConfig& MakeBlock(core::CPort& port, Stack stack, const std::string& name) {
        core::CEmulatedDevice& device = project.MakeDevice(&port, 1, stack);
        device.Set(ids::Scriptable::Name, name);
        TestProject::McastOf(device).Set(ids::Scriptable::Name, "Membership");
        return project.MakeStbBlock(device, profile, {&range}, "Block of " + name);
    }
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 8);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 4);
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile();
};

TEST_F(StackRuleTest, AllBlocksOfAPortHaveTheSameLayers) {
    const std::string refused =
        " Validation Error: Port Name: P1All devices under a port that have IptvStbBlockConfig must have "
        "same encapsulation (Network Interface stack). Odd and First do not have same encapsulation.";
    EXPECT_EQ(Validate(), "") << "no port has a block";
    MakeBlock(p1, {.vlans = 1}, "First");
    MakeBlock(p2, {.vlans = 2, .pppoe = true}, "Elsewhere");
    MakeBlock(p1, {.ipv6 = true, .vlans = 1}, "Same");
    EXPECT_EQ(Validate(), "");
    for (const Stack& stack : {Stack{.vlans = 1, .pppoe = true}, Stack{.vlans = 2}, Stack{}}) {
        auto& odd = MakeBlock(p1, stack, "Odd");
        EXPECT_EQ(Validate(), refused);
        EXPECT_THAT(Apply(), testing::HasSubstr(refused));
        // Blocks that are off do not count.
        odd.Set(ids::Scriptable::LocalActive, false);
        EXPECT_EQ(Validate(), "");
        odd.Set(ids::Scriptable::LocalActive, true);
        odd.GetParent()->Set(ids::Scriptable::LocalActive, false);
        EXPECT_EQ(Validate(), "");
        odd.GetParent()->Set(ids::Scriptable::LocalActive, true);
        odd.MarkDelete(true, true);
        EXPECT_EQ(Validate(), "");
    }
    EXPECT_THAT(journal, IsEmpty());
}

TEST_F(StackRuleTest, MissingObjectsAreNamed) {
    const std::string bad_object = " BAD OBJECT ERROR: Error accessing Config Objects. ";
    auto& block = MakeBlock(p1, {}, "First");
    block.GetMcastCfg()->RemoveObject(*block.GetMcastIf(), relations::UsesIf);
    EXPECT_EQ(Validate(), bad_object + "Network Interface from Membership");
    block.RemoveObject(*block.GetMcastCfg(), relations::MulticastParam);
    EXPECT_EQ(Validate(), bad_object + "MulticastHostConfig from Block of First");
}

}  // namespace
