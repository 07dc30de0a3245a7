// The records in an apply's requests.
#include <algorithm>

#include "apply_fixture.h"
#include "config/AddressLists.h"
#include "orv/core/ipv6_if.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using namespace iptvcd_1_bll;  // NOLINT: records
using Profile = profileConfig_s;
using Channels = channelBlockConfig_s;
using Settop = settopBlockConfig_s;

ipAddress_t Ip(const std::string& text) {
    if (const auto v4 = common::CIpAddress::FromString(text)) return iptv::ToIpAddress(*v4);
    return iptv::ToIpAddress(*common::CIpv6Address::FromString(text));
}

/// A block "Boxes" on port P1 that watches one range, the channels 4 to 8 of 1 to 8.
struct RecordScene : ApplyScene {
    explicit RecordScene(Stack stack) : stack(stack) {
        TestProject::McastOf(device).Set(ids::Scriptable::Name, "Protocol");
        AddressesOf(channels).Set(ids::Scriptable::Name, "Addresses");
        TestProject::LayerOf(device, stack.ipv6 ? "Ipv6If" : "Ipv4If")
            .Set(ids::Scriptable::Name, "Interface");
        for (int i = 0; i < stack.vlans; ++i) {
            CScriptable& tag = TestProject::LayerOf(device, "VlanIf", i);
            tag.Set(ids::Scriptable::Name, "Tag " + std::to_string(i));
        }
        if (stack.pppoe) TestProject::LayerOf(device, "PppoeIf").Set(ids::Scriptable::Name, "Sessions");
    }
    template <class Record>
    Record Last(const char* operation, void (*parse)(const tm::Message*, std::vector<Record>*)) {
        std::vector<Record> records;
        parse(&far1.Last(operation), &records);
        EXPECT_EQ(records.size(), 1u);
        return records.at(0);
    }
    /// Applies `edits` one by one; they add up.
    template <class Record, class Edits>
    void Check(const char* operation, void (*parse)(const tm::Message*, std::vector<Record>*),
               Record expected, const Edits& edits) {
        for (const auto& edit : edits) {
            SCOPED_TRACE("edit " + std::to_string(&edit - &*std::begin(edits)));
            for (const auto& part : edit.parts) part(*this);
            if (edit.expect) edit.expect(expected);
            EXPECT_EQ(Apply(), "");
            EXPECT_TRUE(Last(operation, parse) == expected);
        }
    }
    Channels NewChannels() const {
        Channels record;
        record.channel_handle = range.GetHandle();
        record.channel_count = 5;
        record.channel_number_start = record.channel_initial_start = 4;
        record.channel_number_step = record.channel_initial_step = 1;
        record.channel_ip_start = Ip(stack.ipv6 ? "ff1e::4" : "225.0.0.4");
        record.channel_ip_step = Ip(stack.ipv6 ? "::1" : "0.0.0.1");
        record.filterMode = FilterModeType::EXCLUDE;
        record.fcc_multicast_udp_port = 5003;
        return record;
    }
    Settop NewSettop() const {
        Settop record;
        record.stblock_handle = block.GetHandle();
        record.profile_handle = profile.GetHandle();
        record.igmp_version = stack.ipv6 ? IgmpVersion::MLD_VERSION1 : IgmpVersion::IGMP_VERSION2;
        record.channel_handle = {range.GetHandle()};
        record.settop_count = 2;
        record.vif_handle = 1;
        return record;
    }
    const Stack stack;
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 8, stack.ipv6);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 4, 8, "Range");
    iptv::CIptvViewedChannels& other = project.MakeRange(channels, 1, 3, "Other");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Zap");
    core::CEmulatedDevice& device = project.MakeDevice(&p1, 2, stack, "Host");
    iptv::CIptvStbBlockConfig& block = project.MakeStbBlock(device, profile, {&range}, "Boxes");
};

using Rec = RecordScene;

/// An edit of the configuration, and what it makes of the record that is sent.
template <class Record>
struct Edit {
    std::vector<EditOf<Rec>> parts;
    std::function<void(Record&)> expect = {};
};

TEST(ApplyRecords, Profile) {
    using P = Profile;
    const Edit<P> edits[] = {
        {{}},
        {{"Zap.UnicastOnly=true"}, [](P& p) { p.unicast_only = true; }},
        {{"Zap.UnicastStay=true"}, [](P& p) { p.unicast_stay = true; }},
        {{"Zap.ZapBehavior=1"}, [](P& p) { p.zap_behavior = ZapBehavior::ZAP_N_VIEW; }},
        {{"Zap.ZapDirection=1"}, [](P& p) { p.zap_direction = ZapDirection::DIR_DOWN; }},
        {{"Zap.ZapDirection=2"}, [](P& p) { p.zap_direction = ZapDirection::DIR_RANDOM; }},
        {{"Zap.ZapIntervalType=1"}, [](P& p) { p.zap_interval_type = ZapIntervalType::MTL; }},
        {{"Zap.ZapIntervalType=2"}, [](P& p) { p.zap_interval_type = ZapIntervalType::UTL; }},
        {{"Zap.ChangesBeforeView=11"}, [](P& p) { p.zap_changes_before_view = 11; }},
        {{"Zap.ViewDuration=5"}, [](P& p) { p.view_duration = 5000; }},  // ms
        {{"Zap.SetTopLeaveJoinDelay=12"}, [](P& p) { p.leave_to_join_delay = 12; }},
        {{"Zap.Interval=1300"}, [](P& p) { p.leave_to_leave_delay = 1300; }},
        {{"Zap.MulticastJoinTriggerDelay=14"}, [](P& p) { p.mcast_join_trigger_delay = 14; }},
        {{"Zap.UnicastLeaveTriggerDelay=15"}, [](P& p) { p.unicast_leave_trigger_delay = 15; }},
        {{"Zap.JoinLatencyThreshold=16"}, [](P& p) { p.join_latency_threshold = 16; }},
        {{"Zap.LeaveLatencyThreshold=17"}, [](P& p) { p.leave_latency_threshold = 17; }},
        {{"Zap.UnicastJoinThreshold=18"}, [](P& p) { p.unicast_join_threshold = 18; }},
        {{"Zap.UnicastLeaveThreshold=19"}, [](P& p) { p.unicast_leave_threshold = 19; }}};
    Rec scene({});
    Profile first;
    first.profile_handle = scene.profile.GetHandle();
    first.zap_changes_before_view = 1;
    first.view_duration = 10'000;
    first.leave_to_leave_delay = 1000;
    first.unicast_leave_trigger_delay = 100;
    first.join_latency_threshold = first.unicast_join_threshold = 500;
    first.leave_latency_threshold = first.unicast_leave_threshold = 1000;
    scene.Check("UpdateProfile", parse_req_UpdateProfile, first, edits);
}

std::function<void(Channels&)> ExpectAddress(const char* first, const char* step) {
    return [=](Channels& c) { c.channel_ip_start = Ip(first), c.channel_ip_step = Ip(step); };
}
std::function<void(Channels&)> ExpectSources(const std::vector<const char*>& sources) {
    return [=](Channels& c) {
        c.source_list.clear();
        for (const char* source : sources) c.source_list.push_back(Ip(source));
    };
}
/// The device whose hosts are the sources.
EditOf<Rec> AddSourceDevice(std::uint32_t count, const std::string& step) {
    return [=](Rec& t) {
        auto& device = t.project.MakeDevice(nullptr, count, {.ipv6 = t.stack.ipv6});
        auto& interface = TestProject::LayerOf(device, t.stack.ipv6 ? "Ipv6If" : "Ipv4If");
        interface.Set(ids::Scriptable::Name, "Source");
        interface.Set("AddrStep", step);
        TestProject::Relate(t.channels, device, relations::TrafficSources);
    };
}

/// The channel block gets a network block of its own with sources, two from each start.
EditOf<Rec> AddOwnSources(const std::string& starts, std::uint32_t increment) {
    return [=](Rec& t) {
        CScriptableCreator creator;
        auto* sources = creator.Create(t.stack.ipv6 ? "Ipv6NetworkBlock" : "Ipv4NetworkBlock", &t.channels);
        sources->Set("StartIpList", starts);
        sources->Set(ids::NetworkBlock::NetworkCount, 2u);
        sources->Set("AddrIncrement", std::to_string(increment));
        t.project.Put("News.UseNetworkBlockSources=true");
    };
}

TEST(ApplyRecords, ChannelBlockOfIpv4) {
    const Edit<Channels> edits[] = {
        {{}},
        {{"Range.InitialChannelStart=6"}, [](Channels& c) { c.channel_initial_start = 6; }},
        {{"Range.InitialChannelStep=4"}, [](Channels& c) { c.channel_initial_step = 4; }},
        {{"Range.ChannelRangeStep=2"},
         [](Channels& c) {
             c.channel_count = 3;
             c.channel_number_step = 2;
             c.channel_ip_step = Ip("0.0.0.2");
         }},
        {{"Addresses.StartIpList=225.0.3.0", "Addresses.AddrIncrement=16"},
         ExpectAddress("225.0.3.48", "0.0.0.32")},
        {{"Addresses.StartIpList=225.0.0.1", "Addresses.AddrIncrement=1"},
         ExpectAddress("225.0.0.4", "0.0.0.2")},
        {{"Addresses.AddrIncrement=256"}, ExpectAddress("225.0.3.1", "0.0.2.0")},
        {{"News.UdpDestinationPort=7000"}, [](Channels& c) { c.fcc_multicast_udp_port = 7003; }},
        {{"News.UdpDestinationPortStep=10"}, [](Channels& c) { c.fcc_multicast_udp_port_step = 10; }},
        {{"News.FilterMode=0"}, [](Channels& c) { c.filterMode = FilterModeType::INCLUDE; }},
        {{"News.RtpNackEnable=true"}, [](Channels& c) { c.rrr_cbConfig = {{.cbNackEnable = true}}; }},
        {{AddSourceDevice(3, "0.0.0.2")}, ExpectSources({"192.85.1.3", "192.85.1.5", "192.85.1.7"})},
        // The list counts, whatever the number of hosts.
        {{"Source.AddrList=10.7.0.1", "News.ChannelName=World"}, ExpectSources({"10.7.0.1"})},
        {{AddOwnSources("10.0.0.1 10.9.0.1", 0x100)},
         ExpectSources({"10.0.0.1", "10.0.1.1", "10.9.0.1", "10.9.1.1"})}};
    Rec scene({});
    scene.Check("UpdateChannelBlock", parse_req_UpdateChannelBlock, scene.NewChannels(), edits);
}

TEST(ApplyRecords, ChannelBlockOfIpv6) {
    const auto more_interfaces = [](Rec& t) {
        CScriptable& device = *t.project.Find("Source").GetParent();
        CScriptableCreator().Make<core::CIpv6If>(&device).Set("Address", "fe80::1");
        CScriptableCreator().Make<core::CIpv6If>(&device).Set("AddrList", "3000::9");
    };
    const Edit<Channels> edits[] = {
        {{}},
        {{"Addresses.StartIpList=ff1e::ffff:fffe"}, ExpectAddress("ff1e::1:0:1", "::1")},
        {{"Addresses.AddrIncrement=2147483648"}, ExpectAddress("ff1e::2:7fff:fffe", "::8000:0")},
        {{AddSourceDevice(2, "0:0:1::")}, ExpectSources({"2000::2", "2000:0:1::2"})},
        {{more_interfaces, "News.ChannelName=World"}, ExpectSources({"2000::2", "2000:0:1::2", "3000::9"})},
        {{AddOwnSources("4000::1", 0x10)}, ExpectSources({"4000::1", "4000::11"})}};
    Rec scene({.ipv6 = true});
    scene.Check("UpdateChannelBlock", parse_req_UpdateChannelBlock, scene.NewChannels(), edits);
}

TEST(ApplyRecords, ARangeInNoChannelBlockHasNumbersOnly) {
    Rec scene({});
    scene.project.Put("Range.ChannelRangeStart=1");
    scene.project.Put("Range.ChannelRangeEnd=1");
    EXPECT_EQ(scene.ApplyWithoutValidation(), "");
    Channels expected = scene.NewChannels();
    expected.channel_count = expected.channel_number_start = 1;
    expected.channel_ip_start = expected.channel_ip_step = {};
    expected.fcc_multicast_udp_port = 0;
    EXPECT_TRUE(scene.Last("UpdateChannelBlock", parse_req_UpdateChannelBlock) == expected);
}

const EditOf<Rec> kFccOn = [](Rec&) { iptv::RunningTest::SetRules({.fcc_check = true}); };
const EditOf<Rec> kFccOff = [](Rec&) { iptv::RunningTest::SetRules({}); };
const std::vector<EditOf<Rec>> kFcc{kFccOn,
                                    "Boxes.FccServerAddrV4=192.0.2.2",
                                    "Boxes.FccServerAddrV6=2001:db8::2",
                                    "Boxes.FccServerPort=31",
                                    "Boxes.UdpSourcePort=32",
                                    "Boxes.UdpSourcePortStep=33"};
const std::vector<EditOf<Rec>> kRetransmission{
    "Boxes.RtpNackEnable=true",   "Boxes.RtpNackInterval=21",        "Boxes.RtpNackDelay=22",
    "Boxes.RtpNackSeqBitmask=23", "Boxes.RrrServerAddrV4=192.0.2.1", "Boxes.RrrServerAddrV6=2001:db8::1",
    "Boxes.RrrServerPort=24"};

std::function<void(Settop&)> ExpectRetransmission(const char* server) {
    return [server](Settop& s) { s.rrr_stbConfig = {{true, 21, 22, 23, Ip(server), 24}}; };
}
std::function<void(Settop&)> ExpectFcc(const ipAddress_t& server, std::uint16_t port, std::uint16_t udp,
                                       std::uint16_t step) {
    return [=](Settop& s) {
        s.fcc_server_address = server;
        s.fcc_server_port = port;
        s.udp_source_port = udp;
        s.udp_source_port_step = step;
    };
}
std::function<void(Settop&)> ExpectVersion(IgmpVersion version) {
    return [=](Settop& s) { s.igmp_version = version; };
}

void CheckSettop(Rec& scene, const std::vector<Edit<Settop>>& edits) {
    scene.Check("UpdateSettopBlock", parse_req_UpdateSettopBlock, scene.NewSettop(), edits);
}

TEST(ApplyRecords, SettopBlockOfIpv4) {
    Rec t({});
    auto& second_profile = t.project.MakeProfile();
    const auto reorder = [](Rec& t) {
        t.block.RemoveObject(t.range, relations::StbChannel);
        TestProject::Relate(t.block, t.range, relations::StbChannel);
    };
    const auto change_profile = [&](Rec& t) {
        t.block.SetObjects({&second_profile}, relations::IptvProfile);
    };
    const std::vector<Edit<Settop>> edits{
        {{}},
        {{"Boxes.InterClientStartDelayStep=70000"}, [](Settop& s) { s.start_delay_step = 70'000; }},
        {{"Boxes.MinBufferLevel=65535"}, [](Settop& s) { s.min_buffer_level = 65535; }},
        {{"Host.DeviceCount=3"}, [](Settop& s) { s.settop_count = 3; }},
        {{[](Rec& t) { TestProject::Relate(t.block, t.other, relations::StbChannel); }},
         [&](Settop& s) { s.channel_handle.push_back(t.other.GetHandle()); }},
        {{reorder}, [](Settop& s) { std::swap(s.channel_handle[0], s.channel_handle[1]); }},
        {{change_profile}, [&](Settop& s) { s.profile_handle = second_profile.GetHandle(); }},
        {kRetransmission, ExpectRetransmission("192.0.2.1")},
        {kFcc, ExpectFcc(Ip("192.0.2.2"), 31, 32, 33)},
        {{kFccOff}, ExpectFcc({}, 0, 0, 0)},
        {{"Boxes.RtpNackEnable=false"}, [](Settop& s) { s.rrr_stbConfig.clear(); }},
        {{"Protocol.Version=IGMP_V1"}, ExpectVersion(IgmpVersion::IGMP_VERSION1)},
        {{"Protocol.Version=IGMP_V3"}, ExpectVersion(IgmpVersion::IGMP_VERSION3)}};
    CheckSettop(t, edits);
}

TEST(ApplyRecords, SettopBlockOfIpv6) {
    Rec t({.ipv6 = true});
    CheckSettop(t, {{{}},
                    {kRetransmission, ExpectRetransmission("2001:db8::1")},
                    {kFcc, ExpectFcc(Ip("2001:db8::2"), 31, 32, 33)},
                    {{"Protocol.Version=MLD_V2"}, ExpectVersion(IgmpVersion::MLD_VERSION2)},
                    {{"Boxes.FccServerAddrV6=::1"}, [](Settop& s) { s.fcc_server_address = Ip("::1"); }}});
}

TEST(ApplyRecords, SettopBlockInOneVlan) {
    Rec t({.vlans = 1});
    CheckSettop(t, {{{"Tag 0.VlanId=41"}, [](Settop& s) { s.vlan_tag = 41; }}});
}

TEST(ApplyRecords, SettopBlockInVlansWithSessions) {
    Rec t({.vlans = 3, .pppoe = true});
    const std::vector<std::uint16_t> sessions{500, 501};
    const std::vector<std::uint32_t> ranges{t.range.GetHandle()};
    const auto expect_stack = [=](Settop& s) {
        s.vlan_tag = 43;
        s.vlan_step = 42;
        s.vlan_inner_tag = 44;
        s.vlan_inner_step = 0xffff;
        s.ppp_index = sessions;
        s.channel_handle = ranges;
    };
    // While sessions are still sought, the rest is held back.
    const auto expect_nothing = [](Settop& s) {
        s.vlan_tag = s.vlan_step = s.vlan_inner_tag = s.vlan_inner_step = 0;
        s.ppp_index.clear();
        s.channel_handle.clear();
    };
    CheckSettop(t, {{{"Tag 0.VlanId=43", "Tag 0.IdStep=42", "Tag 1.VlanId=44", "Tag 1.IdStep=-1",
                      "Tag 2.VlanId=45", "Sessions.SessionId=500"},
                     expect_stack},
                    {{"Sessions.SessionResolveState=RESOLVE_NEEDED"}, expect_nothing},
                    {{"Sessions.SessionResolveState=RESOLVE_FAILED"}, expect_stack},
                    {{"Tag 0.IdStep=-2"}, [](Settop& s) { s.vlan_step = 0xfffe; }},
                    {{"Tag 1.VlanId=7"}, [](Settop& s) { s.vlan_inner_tag = 7; }},
                    {{"Sessions.SessionIdStep=2"}, [](Settop& s) { s.ppp_index[1] = 502; }},
                    {{"Boxes.MinBufferLevel=9"}, [](Settop& s) { s.min_buffer_level = 9; }},
                    {kFcc, ExpectFcc(Ip("192.0.2.2"), 31, 32, 33)}});
    // None of the 17 values is what it is at first.
    iptv::StbBlockValues values;
    t.block.GetNewValues(values);
    const std::string names = DescribeDifference(values, {});
    EXPECT_EQ(std::count(names.begin(), names.end(), ','), 16) << names;
    // What ports are not sent is no change.
    t.TakeJournal();
    t.project.Put("Tag 2.VlanId=46");
    EXPECT_THAT(t.Sent(), IsEmpty());
}

TEST(ApplyRecords, UnresolvedAddressesAreWarnedOf) {
    const std::string warning =
        "user.iptv Warn:  For P1: EmulatedDevice: Host: Please resolve IP addresses before "
        "attempting to start IPTV test.";
    for (const bool ipv6 : {false, true}) {
        Rec scene({.ipv6 = ipv6});
        for (const std::string state : {"0", "1", "2", "3", "4"}) {
            SCOPED_TRACE(state);
            scene.project.Put("Interface.AddrResolveState=" + state);
            scene.project.Put("Boxes.MinBufferLevel=1" + state);
            LogCapture log;
            EXPECT_THAT(scene.Sent(), Contains("P1 UpdateSettopBlock Boxes"));
            EXPECT_EQ(testing::Value(log.Take(), Contains(warning)), state != "0" && state != "4");
        }
    }
}

}  // namespace
