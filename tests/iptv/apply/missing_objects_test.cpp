// Configurations that lack what a request is made from.
#include <functional>

#include "apply/ApplyStates.h"
#include "apply_fixture.h"
#include "orv/core/eth_ii_if.h"
#include "orv/core/network_block.h"
#include "orv/igmpmld/multicast_port_config.h"
#include "thrown.h"

namespace {

using namespace orv;  // NOLINT: a test
using framework::CScriptable;
using framework::CScriptableCreator;
using iptv::CIptvMsgSetCln;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing_aids::TestProject;
namespace relations = ids::relations;

const std::string kBadObject = " BAD OBJECT ERROR: Error accessing Config Objects. ";

class MissingObjectsTest : public testing_aids::TwoPortsTest {
  public:
    using Action = std::function<void()>;
    struct Case {
        const char* name;
        /// Breaks the configuration. Returns how to mend it.
        std::function<Action(MissingObjectsTest&)> spoil;
        std::string text;  ///< thrown; for assertions the beginning
    };
    static const std::vector<Case> kCases;

  protected:
    MissingObjectsTest() {
        device_a.Set(ids::Scriptable::Name, "Host");
        McastOf().Set(ids::Scriptable::Name, "Membership");
        Link().Set(ids::Scriptable::Name, "Link");
    }
    igmpmld::CMulticastHostConfig& McastOf() { return TestProject::McastOf(device_a); }
    core::CNetworkInterface& Link() { return TestProject::LayerOf(device_a, "EthIIIf"); }
    CScriptable& Group() { return TestProject::GroupOf(channels); }
    /// A second channel block, with its group.
    iptv::CIptvChannelBlock& Extra() { return project.MakeChannelBlock("Extra", 100, 4); }
    template <class T>
    CScriptable& MakeOdd(std::uint32_t id, const char* base) {
        const auto odd = testing_aids::DeclareOddClass<T>(id, std::string("Odd") + base, base);
        return *CScriptableCreator().Create(odd, &project.Root());
    }
    static Action Destroy(CScriptable& object) {
        return [&object] { object.Delete(); };
    }
    /// Ends a relation; mended, the object is related again.
    static Action Cut(CScriptable& from, common::RelationType type, common::ClassId id) {
        CScriptable& to = *from.GetObject(id, type);
        from.RemoveObject(to, type);
        return [&from, &to, type] { TestProject::Relate(from, to, type); };
    }
    static Action Replace(CScriptable& from, common::RelationType type, CScriptable& to) {
        framework::ScriptableVec before;
        from.GetObjects(before, CScriptable::CLASS_ID(), type);
        from.SetObjects({&to}, type);
        return [&from, before, type] { from.SetObjects(before, type); };
    }
};

using T = MissingObjectsTest;
// Objects that are missing where validation would not have noticed it, or where it is left out.
const std::vector<T::Case> T::kCases{
    {"viewing profile of a block",
     [](T& t) { return Cut(t.a, relations::IptvProfile, ids::IptvViewingProfileConfig::CLASS); },
     kBadObject + "IptvViewingProfileConfig associated with A"},
    {"host configuration of a block",
     [](T& t) { return Cut(t.a, relations::MulticastParam, ids::MulticastHostConfig::CLASS); },
     kBadObject + "MulticastHostConfig associated with A"},
    {"interface of a host configuration",
     [](T& t) { return Cut(t.McastOf(), relations::UsesIf, ids::NetworkInterface::CLASS); },
     kBadObject + "NetworkInterface associated with A"},
    {"channel block that is none",
     [](T& t) { return Destroy(t.MakeOdd<CScriptable>(0x7f201000, "IptvChannelBlock")); }, kBadObject},
    {"group of a channel block",
     [](T& t) {
         auto& extra = t.Extra();
         extra.RemoveObject(TestProject::GroupOf(extra), relations::MulticastParam);
         return Destroy(extra);
     },
     kBadObject + "MulticastHostConfig associated with Extra"},
    {"addresses of a group",
     [](T& t) {
         auto& extra = t.Extra();
         TestProject::GroupOf(extra).GetNetworkBlock()->Delete();
         return Destroy(extra);
     },
     kBadObject + "Extra group"},
    {"group of no IP version",
     [](T& t) {
         CScriptable& odd = t.MakeOdd<mcastcore::CMulticastGroup>(0x7f202000, "MulticastGroup");
         odd.Set(ids::Scriptable::Name, "Odd");
         CScriptable& addresses = *CScriptableCreator().Create(ids::Ipv4NetworkBlock::CLASS, &odd);
         addresses.Set(ids::NetworkBlock::NetworkCount, 8u);
         return Replace(t.channels, relations::MulticastParam, odd);
     },
     kBadObject + "Odd cannot be classified as Ipv4Group or Ipv6Group."},
    {"addresses of the other IP version",
     [](T& t) {
         CScriptable& v4 = *t.Group().GetObject(ids::NetworkBlock::CLASS, common::kParentChild);
         t.Group().RemoveObject(v4, common::kParentChild);
         CScriptable& v6 = *CScriptableCreator().Create(ids::Ipv6NetworkBlock::CLASS, &t.Group());
         v6.Set(ids::NetworkBlock::NetworkCount, 8u);
         return [&] {
             v6.Delete();
             TestProject::Relate(t.Group(), v4, common::kParentChild);
         };
     },
     kBadObject + "News group cannot be classified as Ipv4Group or Ipv6Group."},
    {"interface of a source",
     [](T& t) {
         TestProject::Relate(t.channels, t.device_a, relations::TrafficSources);
         return Cut(t.device_a, relations::TopLevelIf, ids::NetworkInterface::CLASS);
     },
     kBadObject + "NetworkInterface associated with Host"},
    {"IP interface of a source",
     [](T& t) {
         TestProject::Relate(t.channels, t.device_a, relations::TrafficSources);
         return Replace(t.device_a, relations::TopLevelIf, t.Link());
     },
     kBadObject + "NetworkInterface Link cannot be classified as Ipv4If or Ipv6If."},
    {"IP version of a retransmission server",
     [](T& t) {
         t.a.Set(ids::IptvStbBlockConfig::RtpNackEnable, true);
         return Replace(t.McastOf(), relations::UsesIf, t.Link());
     },
     " For P1: Emulated Device: Host: Host needs to be set up for either IPv4 or IPv6."},
    {"viewing profile that is none",
     [](T& t) { return Destroy(t.MakeOdd<CScriptable>(0x7f203000, "IptvViewingProfileConfig")); },
     "Assertion Failed: Failed to retrieve profile from list Expression: profile != NULL File: "},
    {"range that is none",
     [](T& t) { return Destroy(t.MakeOdd<CScriptable>(0x7f204000, "IptvViewedChannels")); },
     "Assertion Failed: Failed to retrieve channel from list Expression: channel != NULL File: "},
    {"multicast configuration of a port",
     [](T& t) {
         t.p1.GetObject(ids::MulticastPortConfig::CLASS, common::kParentChild)->Delete();
         return [&t] { CScriptableCreator().Create(ids::MulticastPortConfig::CLASS, &t.p1); };
     },
     "Assertion Failed: Failed to get MulticastPortConfig Expression: mcastPortCfg != NULL File: "},
};

TEST_F(MissingObjectsTest, AreNamedAndTheNextApplyMakesGood) {
    // One apply after the other in one project: each finds what the failure before it has left.
    ASSERT_EQ(Apply(), "");
    for (const Case& missing : kCases) {
        SCOPED_TRACE(missing.name);
        a.Set(ids::IptvStbBlockConfig::InterClientStartDelayStep,
              a.GetU32(ids::IptvStbBlockConfig::InterClientStartDelayStep) + 1);
        range.Set(ids::IptvViewedChannels::InitialChannelStart,
                  range.GetInitialChannelStart() == 1 ? 2u : 1u);
        const Action mend = missing.spoil(*this);
        const std::string thrown = ApplyWithoutValidation();
        if (missing.text.ends_with("File: ")) {
            EXPECT_THAT(thrown, testing::StartsWith(missing.text));
        } else {
            EXPECT_EQ(thrown, missing.text);
        }
        mend();
        a.Set(ids::IptvStbBlockConfig::RtpNackEnable, false);
        channels.SetObjects({}, relations::TrafficSources);
        far1.Take();
        EXPECT_EQ(Apply(), "");
        const auto sent = far1.Take();
        EXPECT_THAT(sent, Contains("UpdateChannelBlock Range"));
        EXPECT_THAT(sent, Contains("UpdateSettopBlock A"));
        EXPECT_EQ(Apply(), "");
        EXPECT_THAT(far1.Take(), testing::IsEmpty());
    }
}

TEST_F(MissingObjectsTest, AClientOutlivesItsPort) {
    CIptvMsgSetCln* client = CIptvMsgSetCln::GetPortClient(&p1, nullptr);
    p1.Delete();
    EXPECT_THAT(
        testing_aids::ThrownBy<common::COrvLogicError>([&] { iptv::IptvSetupState().PrepareState(client); }),
        testing::StartsWith("Assertion Failed: Failed to retrieve port from IPTV port client "
                            "Expression: port != NULL File: "));
    EXPECT_EQ(testing_aids::ThrownBy<common::COrvRunTimeError>(
                  [&] { client->PortOfflineHandler(nullptr, framework::PropId()); }),
              kBadObject);
    CIptvMsgSetCln::ReleasePortClient(client);
}

}  // namespace
