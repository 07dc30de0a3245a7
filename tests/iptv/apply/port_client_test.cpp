// The client of a port by itself: address lists, expected groups, and the rule for stacks.
#include "apply_fixture.h"
#include "config/AddressLists.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using testing::UnorderedElementsAre;

class PortClientTest : public TwoPortsTest {};

TEST_F(PortClientTest, AddressesOfABlock) {
    auto& v4 = CScriptableCreator().Make<core::CIpv4NetworkBlock>(&project.Root());
    auto& v6 = CScriptableCreator().Make<core::CIpv6NetworkBlock>(&project.Root());
    v4.Set("StartIpList", "10.0.0.255 11.0.0.0");
    v4.SetNetworkCount(2);
    v6.SetNetworkCount(2);
    v6.SetAddrIncrement(0xffffffff);
    std::vector<iptvcd_1_bll::ipAddress_t> list;
    const auto texts = [&list](core::CNetworkBlock* block) {
        iptv::BlockToVector(block, list);
        Requests texts;
        for (const auto& ip : list)
            texts.push_back(ip.type == ip.kV4 ? common::CIpAddress(ip.v4.address).ToString()
                                              : common::CIpv6Address(ip.v6.address).ToString());
        return texts;
    };
    EXPECT_THAT(texts(&v4), ElementsAre("10.0.0.255", "10.0.1.0", "11.0.0.0", "11.0.0.1"));
    EXPECT_THAT(texts(&v6), ElementsAre("2000::1", "2000::1:0:0")) << "from empty";
    EXPECT_THAT(texts(nullptr), IsEmpty());
}

TEST_F(PortClientTest, ExpectedGroupsFollowWhatIsWatched) {
    auto& sports = project.MakeChannelBlock("Sports", 20, 4);
    auto& sports_range = project.MakeRange(sports, 20, 22);
    CScriptable& port_config = *p1.GetObject(ids::MulticastPortConfig::CLASS, common::kParentChild);
    CScriptable* const news_group = &TestProject::GroupOf(channels);
    CScriptable* const sports_group = &TestProject::GroupOf(sports);
    CScriptable* const others_group = &TestProject::GroupOf(project.MakeChannelBlock("Others", 30, 4));
    TestProject::Relate(port_config, *others_group, relations::ExpectedGroups);
    const auto apply = [&] {
        EXPECT_EQ(Apply(), "");
        return port_config.GetObjects("MulticastGroup", relations::ExpectedGroups);
    };
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group));
    TestProject::Relate(c, sports_range, relations::StbChannel);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group, sports_group));
    a.SetObjects({&sports_range}, relations::StbChannel);
    project.Put("Host C.LocalActive=false");
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, sports_group));
    // A group that a host subscribes to by itself.
    TestProject::Relate(TestProject::McastOf(device_a), *news_group, relations::SubscribedGroups);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group, sports_group));
    a.MarkDelete(true, true);
    EXPECT_THAT(apply(), UnorderedElementsAre(others_group, news_group)) << "the host is still there";
}

struct StackRuleTest : testing::Test, protected ApplyScene {
    std::string Validate() {
        framework::ValidationContext context;
        context.SetCurrentObject(&project.Root());
        return Try([&] { CIptvMsgSetCln::OnValidateIptvNetworkInterface(context); });
    }
    iptv::CIptvStbBlockConfig& MakeBlock(core::CPort& port, Stack stack, const std::string& name) {
        core::CEmulatedDevice& device = project.MakeDevice(&port, 1, stack, name);
        TestProject::McastOf(device).Set(ids::Scriptable::Name, "Membership");
        return project.MakeStbBlock(device, profile, {&range}, "Block of " + name);
    }
    iptv::CIptvViewedChannels& range = project.MakeRange(project.MakeChannelBlock("News", 1, 8), 1, 4);
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
        EXPECT_THAT(Apply(), HasSubstr(refused));
        // Blocks that are off do not count.
        for (CScriptable* object : {static_cast<CScriptable*>(&odd), odd.GetParent()}) {
            object->Set(ids::Scriptable::LocalActive, false);
            EXPECT_EQ(Validate(), "");
            object->Set(ids::Scriptable::LocalActive, true);
        }
        odd.MarkDelete(true, true);
        EXPECT_EQ(Validate(), "");
        odd.GetParent()->MarkDelete(true, true);
    }
    EXPECT_THAT(journal, IsEmpty());
}

TEST_F(StackRuleTest, MissingObjectsAreNamed) {
    auto& block = MakeBlock(p1, {}, "First");
    block.GetMcastCfg()->SetObjects({}, relations::UsesIf);
    EXPECT_EQ(Validate(), kBadObject + "Network Interface from Membership");
    block.SetObjects({}, relations::MulticastParam);
    EXPECT_EQ(Validate(), kBadObject + "MulticastHostConfig from Block of First");
}

}  // namespace
