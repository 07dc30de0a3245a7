// Configurations that lack what a request is made from.
#include "apply/ApplyStates.h"
#include "apply_fixture.h"
#include "orv/core/eth_ii_if.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using Action = std::function<void()>;

struct MissingScene : TwoPorts {
    MissingScene() {
        Protocol().Set(ids::Scriptable::Name, "Membership");
        Link().Set(ids::Scriptable::Name, "Link");
    }
    igmpmld::CMulticastHostConfig& Protocol() { return TestProject::McastOf(device_a); }
    core::CNetworkInterface& Link() { return TestProject::LayerOf(device_a, "EthIIIf"); }
    CScriptable& Group() { return TestProject::GroupOf(channels); }
    template <class Mis>
    CScriptable& MakeOdd(std::uint32_t id, const char* base, CScriptable* parent = nullptr) {
        const auto odd = DeclareOddClass<Mis>(id, std::string("Odd") + base, base);
        CScriptable& made = *CScriptableCreator().Create(odd, parent ? parent : &project.Root());
        made.Set(ids::Scriptable::Name, "Odd");
        return made;
    }
    static Action Destroy(CScriptable& object) {
        return [&object] { object.Delete(); };
    }
    static Action Replace(CScriptable& from, common::RelationType type, const ScriptableVec& to) {
        ScriptableVec before;
        from.GetObjects(before, CScriptable::CLASS_ID(), type);
        from.SetObjects(to, type);
        return [&from, before, type] { from.SetObjects(before, type); };
    }
    Action ReplaceAddresses(const char* class_name) {
        CScriptable& v4 = AddressesOf(channels);
        Group().RemoveObject(v4, common::kParentChild);
        CScriptable& other = *CScriptableCreator().Create(class_name, &Group());
        other.Set(ids::Scriptable::Name, "Addresses");
        other.Set(ids::NetworkBlock::NetworkCount, 8u);
        return [this, &other, &v4] {
            other.Delete();
            TestProject::Relate(Group(), v4, common::kParentChild);
        };
    }
};

using Mis = MissingScene;

struct OtherNetworkBlock : core::CNetworkBlock {
    std::uint64_t GetEndpointCount() const override { return GetNetworkCount(); }
};

struct MissingCase {
    const char* name;
    Action (*spoil)(Mis&);  ///< breaks the configuration, and returns how to mend it
    std::string text;       ///< thrown; for assertions the beginning
};

// Objects that are missing where validation would not have noticed it, or where it is left out.
const MissingCase kMissingCases[] = {
    {"profile of a block", [](Mis& t) { return Mis::Replace(t.a, relations::IptvProfile, {}); },
     kBadObject + "IptvViewingProfileConfig associated with A"},
    {"protocol of a block", [](Mis& t) { return Mis::Replace(t.a, relations::MulticastParam, {}); },
     kBadObject + "MulticastHostConfig associated with A"},
    {"interface of a protocol", [](Mis& t) { return Mis::Replace(t.Protocol(), relations::UsesIf, {}); },
     kBadObject + "NetworkInterface associated with A"},
    {"channel block that is none",
     [](Mis& t) { return Mis::Destroy(t.MakeOdd<CScriptable>(0x7f201000, "IptvChannelBlock")); }, kBadObject},
    {"group of a channel block",
     [](Mis& t) {
         auto& extra = t.project.MakeChannelBlock("Extra", 100, 4);
         extra.SetObjects({}, relations::MulticastParam);
         return Mis::Destroy(extra);
     },
     kBadObject + "MulticastHostConfig associated with Extra"},
    {"addresses of a group",
     [](Mis& t) {
         auto& extra = t.project.MakeChannelBlock("Extra", 100, 4);
         t.AddressesOf(extra).Delete();
         return Mis::Destroy(extra);
     },
     kBadObject + "Extra group"},
    {"group of no IP version",
     [](Mis& t) {
         CScriptable& odd = t.MakeOdd<mcastcore::CMulticastGroup>(0x7f202000, "MulticastGroup");
         CScriptable& addresses = *CScriptableCreator().Create(ids::Ipv4NetworkBlock::CLASS, &odd);
         addresses.Set(ids::NetworkBlock::NetworkCount, 8u);
         return Mis::Replace(t.channels, relations::MulticastParam, {&odd});
     },
     kBadObject + "Odd cannot be classified as Ipv4Group or Ipv6Group."},
    {"addresses of the other IP version", [](Mis& t) { return t.ReplaceAddresses("Ipv6NetworkBlock"); },
     kBadObject + "News group cannot be classified as Ipv4Group or Ipv6Group."},
    {"interface of a source",
     [](Mis& t) {
         TestProject::Relate(t.channels, t.device_a, relations::TrafficSources);
         return Mis::Replace(t.device_a, relations::TopLevelIf, {});
     },
     kBadObject + "NetworkInterface associated with Host A"},
    {"IP interface of a source",
     [](Mis& t) {
         TestProject::Relate(t.channels, t.device_a, relations::TrafficSources);
         return Mis::Replace(t.device_a, relations::TopLevelIf, {&t.Link()});
     },
     kBadObject + "NetworkInterface Link cannot be classified as Ipv4If or Ipv6If."},
    {"IP version of a retransmission server",
     [](Mis& t) {
         t.project.Put("A.RtpNackEnable=true");
         return Mis::Replace(t.Protocol(), relations::UsesIf, {&t.Link()});
     },
     " For P1: Emulated Device: Host A: Host needs to be set up for either IPv4 or IPv6."},
    {"PPPoE interface that is none",
     [](Mis& t) {
         CScriptable& ip = TestProject::LayerOf(t.device_a, "Ipv4If");
         CScriptable& odd = t.MakeOdd<core::CEthIIIf>(0x7f100000, "PppoeIf", &t.device_a);
         return Mis::Replace(ip, relations::StackedOn, {&odd});
     },
     kBadObject + "PppoeIf associated with A"},
    {"viewing profile that is none",
     [](Mis& t) { return Mis::Destroy(t.MakeOdd<CScriptable>(0x7f203000, "IptvViewingProfileConfig")); },
     "Assertion Failed: Failed to retrieve profile from list Expression: profile != NULL File: "},
    {"range that is none",
     [](Mis& t) { return Mis::Destroy(t.MakeOdd<CScriptable>(0x7f204000, "IptvViewedChannels")); },
     "Assertion Failed: Failed to retrieve channel from list Expression: channel != NULL File: "},
    {"multicast configuration of a port",
     [](Mis& t) {
         t.p1.GetObject(ids::MulticastPortConfig::CLASS, common::kParentChild)->Delete();
         return Action([&t] { CScriptableCreator().Create(ids::MulticastPortConfig::CLASS, &t.p1); });
     },
     "Assertion Failed: Failed to get MulticastPortConfig Expression: mcastPortCfg != NULL File: "}};

class MissingObjectsTest : public testing::Test, protected MissingScene {};

TEST_F(MissingObjectsTest, AreNamedAndTheNextApplyMakesGood) {
    const LogCapture log;
    // One apply after the other in one project: each finds what the failure before it has left.
    Sent();
    std::uint32_t delay = 0;
    for (const MissingCase& missing : kMissingCases) {
        SCOPED_TRACE(missing.name);
        a.Set(ids::IptvStbBlockConfig::InterClientStartDelayStep, ++delay);
        range.Set(ids::IptvViewedChannels::InitialChannelStart, 1 + delay % 2);
        const Action mend = missing.spoil(*this);
        const std::string thrown = ApplyWithoutValidation();
        EXPECT_EQ(
            thrown.substr(0, missing.text.ends_with("File: ") ? missing.text.size() : std::string::npos),
            missing.text);
        mend();
        project.Put("A.RtpNackEnable=false");
        channels.SetObjects({}, relations::TrafficSources);
        TakeJournal();
        EXPECT_THAT(Sent(), testing::IsSupersetOf({"P1 UpdateChannelBlock Range", "P1 UpdateSettopBlock A"}));
        EXPECT_THAT(Sent(), IsEmpty());
    }
}

TEST_F(MissingObjectsTest, ARangeIsComparedWithItsChannels) {
    const LogCapture log;
    Sent();
    project.Put("News.LocalActive=false");
    EXPECT_EQ(ApplyWithoutValidation(), kBadObject);
    project.Put("News.LocalActive=true");
    DeclareOddClass<OtherNetworkBlock>(0x7f102000, "OtherNetworkBlock", "NetworkBlock");
    ReplaceAddresses("OtherNetworkBlock");
    EXPECT_EQ(ApplyWithoutValidation(),
              kBadObject + "NetworkBlock Addresses couldnot be converted to Ipv4Block or Ipv4Block");
}

TEST_F(MissingObjectsTest, AClientOutlivesItsPort) {
    CIptvMsgSetCln::ReleasePortClient(CIptvMsgSetCln::GetPortClient(&p2, nullptr));
    p2.Set(ids::Port::Online, false);  // the delegate is gone with the client
    CIptvMsgSetCln* client = CIptvMsgSetCln::GetPortClient(&p1, nullptr);
    p1.Delete();
    EXPECT_THAT(Try([&] { iptv::IptvSetupState().PrepareState(client); }),
                StartsWith("Assertion Failed: Failed to retrieve port from IPTV port client Expression: port "
                           "!= NULL File: "));
    EXPECT_EQ(Try([&] { client->PortOfflineHandler(nullptr, framework::PropId()); }), kBadObject);
    CIptvMsgSetCln::ReleasePortClient(client);
}

}  // namespace
