// Multicast groups, host configurations, and the groups that a port expects.
#include <gmock/gmock.h>

#include "modules_fixture.h"
#include "orv/common/exceptions.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "orv/igmpmld/multicast_port_config.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::test {
namespace {

using framework::CScriptable;
using Groups = std::set<CScriptable*>;
using testing::ElementsAre;

using MulticastTest = ModulesTest;

TEST_F(MulticastTest, NewGroupsHoldOneMulticastAddress) {
    auto& ipv4 =
        dynamic_cast<core::CIpv4NetworkBlock&>(*Make<mcastcore::CIpv4Group>(&Project()).GetNetworkBlock());
    EXPECT_THAT(ipv4.GetStartIpList(), ElementsAre(*common::CIpAddress::FromString("225.0.0.1")));
    EXPECT_EQ(ipv4.GetNetworkCount(), 4u);
    ipv4.SetAddrIncrement(0x01020304);
    EXPECT_EQ(ipv4.GetNativeIncrementValue().ToString(), "1.2.3.4");

    auto& ipv6 =
        dynamic_cast<core::CIpv6NetworkBlock&>(*Make<mcastcore::CIpv6Group>(&Project()).GetNetworkBlock());
    EXPECT_THAT(ipv6.GetStartIpList(), ElementsAre(*common::CIpv6Address::FromString("ff1e::1")));
    ipv6.SetAddrIncrement(0x01020304);
    EXPECT_EQ(ipv6.GetNativeIncrementValue().ToString(), "::102:304");
}

TEST_F(MulticastTest, AGroupHasOneNetworkBlockAlsoWhenCloned) {
    auto& group = Make<mcastcore::CIpv4Group>(&Project());
    dynamic_cast<core::CIpv4NetworkBlock&>(*group.GetNetworkBlock()).SetNetworkCount(9);
    auto& clone = dynamic_cast<mcastcore::CIpv4Group&>(*group.Clone());
    for (const auto* each : {&group, &clone}) {
        framework::ScriptableVec blocks;
        each->GetObjects(blocks, core::CNetworkBlock::CLASS_ID(), common::kParentChild);
        ASSERT_EQ(blocks.size(), 1u);
        EXPECT_EQ(dynamic_cast<core::CNetworkBlock&>(*blocks[0]).GetNetworkCount(), 9u);
    }
}

TEST_F(MulticastTest, HostConfigurationsStartWithTheVersionOfTheirProtocol) {
    auto& device = MakeDevice(nullptr);
    auto& igmp = Make<igmpmld::CIgmpHostConfig>(&device);
    auto& mld = Make<igmpmld::CMldHostConfig>(&device);
    EXPECT_EQ(igmp.Get("Version"), "IGMP_V2");
    EXPECT_EQ(mld.Get("Version"), "MLD_V1");
    mld.SetVersion(4);
    EXPECT_EQ(mld.Get("Version"), "MLD_V2");
    EXPECT_THROW(mld.SetVersion(5), common::COrvRunTimeError);
    EXPECT_EQ(mld.Get("Version"), "MLD_V2");
    mld.ResetDefaults();
    EXPECT_EQ(mld.Get("Version"), "MLD_V1");
    igmp.Set("AllowNoMemberships", std::string("TRUE"));
    EXPECT_TRUE(igmp.GetBool(ids::MulticastHostConfig::AllowNoMemberships));
}

class ExpectedGroupsTest : public ModulesTest {
  protected:
    CScriptable& MakeGroup() { return Make<mcastcore::CIpv4Group>(&Project()); }
    Groups Expected() const {
        Groups groups;
        config_.GetExpectedMulticastGroups(groups);
        return groups;
    }
    /// What a port client does in an apply.
    void Update(const Groups& subscribed) {
        Groups expected = Expected();
        expected.insert(client_.begin(), client_.end());
        config_.DoUpdateExpectedRxPorts(subscribed, expected, client_);
    }

    core::CPort& port_ = MakePort();
    igmpmld::CMulticastPortConfig& config_ = dynamic_cast<igmpmld::CMulticastPortConfig&>(
        *port_.GetObject("CMulticastPortConfig", common::kParentChild));
    Groups client_;
};

TEST_F(ExpectedGroupsTest, FollowTheClientsSubscriptions) {
    auto& a = MakeGroup();
    auto& b = MakeGroup();
    auto& c = MakeGroup();
    config_.SetObjectState(CScriptable::STATE_UNCHANGED);
    Update({&a, &b});
    EXPECT_EQ(Expected(), (Groups{&a, &b}));
    EXPECT_EQ(client_, (Groups{&a, &b}));
    Update({&b, &c});
    EXPECT_EQ(Expected(), (Groups{&b, &c}));
    EXPECT_EQ(client_, (Groups{&b, &c}));
    Update({});
    EXPECT_TRUE(Expected().empty());
    EXPECT_TRUE(client_.empty());
    EXPECT_FALSE(config_.IsObjectDirty(false)) << "run-time state";
}

TEST_F(ExpectedGroupsTest, OfOthersStay) {
    auto& others = MakeGroup();
    auto& own = MakeGroup();
    Relate(config_, others, ids::relations::ExpectedGroups);
    Update({&others, &own});
    EXPECT_EQ(client_, Groups{&own});
    Update({});
    EXPECT_EQ(Expected(), Groups{&others});
}

TEST_F(ExpectedGroupsTest, ForgetAGroupThatIsGone) {
    auto& gone = MakeGroup();
    auto& stays = MakeGroup();
    Update({&gone, &stays});
    gone.Delete();
    Update({&stays});
    EXPECT_EQ(Expected(), Groups{&stays});
    EXPECT_EQ(client_, Groups{&stays});
}

TEST_F(ExpectedGroupsTest, SubscribedAreThoseOfActiveHostsOnThePort) {
    auto& group = MakeGroup();
    auto& elsewhere = MakeGroup();
    auto& switched_off = MakeGroup();
    auto& host = Make<igmpmld::CIgmpHostConfig>(&MakeDevice(&port_));
    auto& idle = Make<igmpmld::CIgmpHostConfig>(&MakeDevice(&port_));
    Relate(host, group, ids::relations::SubscribedGroups);
    Relate(idle, switched_off, ids::relations::SubscribedGroups);
    Relate(Make<igmpmld::CIgmpHostConfig>(&MakeDevice(&MakePort())), elsewhere,
           ids::relations::SubscribedGroups);
    idle.Set("Active", std::string("false"));
    Groups subscribed;
    config_.GetSubscribedMulticastGroups(subscribed);
    EXPECT_EQ(subscribed, Groups{&group});
}

}  // namespace
}  // namespace orv::test
