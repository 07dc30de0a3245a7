// The records in an apply's requests.
#include <functional>

#include "apply_fixture.h"
#include "config/AddressLists.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/framework/resources.h"

namespace {

using namespace orv;           // NOLINT: a test
using namespace iptvcd_1_bll;  // NOLINT: records
using framework::CScriptable;
using framework::CScriptableCreator;
using testing::Contains;
using testing_aids::Stack;
using testing_aids::TestProject;
namespace relations = ids::relations;

ipAddress_t Ip(const char* text) {
    if (const auto v4 = common::CIpAddress::FromString(text)) return iptv::ToIpAddress(*v4);
    return iptv::ToIpAddress(*common::CIpv6Address::FromString(text));
}

/// An edit of the configuration, and what it makes of the record that is sent. Edits add up.
template <class Record>
struct Edit {
    const char* name;
    std::function<void()> edit;
    std::function<void(Record&)> expect;
};

class ApplyRecordsTest : public testing_aids::ApplyTest {
  protected:
    template <class Record>
    Record Sent(const char* operation, void (*parse)(const tm::Message*, std::vector<Record>*)) {
        std::vector<Record> records;
        parse(&far1.Last(operation), &records);
        EXPECT_EQ(records.size(), 1u);
        return records.at(0);
    }
    template <class Record>
    void Check(const char* operation, void (*parse)(const tm::Message*, std::vector<Record>*),
               Record expected, const std::vector<Edit<Record>>& edits) {
        for (const Edit<Record>& edit : edits) {
            SCOPED_TRACE(edit.name);
            edit.edit();
            edit.expect(expected);
            EXPECT_EQ(Apply(), "");
            EXPECT_TRUE(Sent(operation, parse) == expected);
        }
    }
    /// A block on port P1 that watches one range, the channels 4 to 8 of 1 to 8.
    void MakeTest(Stack stack, bool ipv6_channels = false) {
        channels = &project.MakeChannelBlock("News", 1, 8, ipv6_channels);
        range = &project.MakeRange(*channels, 4, 8);
        profile = &project.MakeProfile();
        device = &project.MakeDevice(&p1, 2, stack);
        device->Set(ids::Scriptable::Name, "Host");
        block = &project.MakeStbBlock(*device, *profile, {range});
    }
    template <class NetworkBlock>
    NetworkBlock& Addresses() {
        return dynamic_cast<NetworkBlock&>(*TestProject::GroupOf(*channels).GetNetworkBlock());
    }
    /// Gives the channel block a network block of its own with sources.
    template <class NetworkBlock, class Address>
    void MakeSources(const std::vector<const char*>& starts, std::uint32_t count, std::uint32_t increment) {
        auto& sources = CScriptableCreator().Make<NetworkBlock>(channels);
        std::vector<Address> addresses;
        for (const char* start : starts) addresses.push_back(*Address::FromString(start));
        sources.SetStartIpList(addresses);
        sources.SetNetworkCount(count);
        sources.SetAddrIncrement(increment);
        channels->Set(ids::IptvChannelBlock::UseNetworkBlockSources, true);
    }

    channelBlockConfig_s NewChannels(const char* first, const char* step) const {
        return {.channel_handle = range->GetHandle(),
                .channel_count = 5,
                .channel_number_start = 4,
                .channel_number_step = 1,
                .channel_initial_start = 4,
                .channel_initial_step = 1,
                .channel_ip_start = Ip(first),
                .channel_ip_step = Ip(step),
                .filterMode = FilterModeType::EXCLUDE,
                .source_list = {},
                .fcc_multicast_udp_port = 5003,
                .fcc_multicast_udp_port_step = 0,
                .rrr_cbConfig = {}};
    }

    iptv::CIptvChannelBlock* channels = nullptr;
    iptv::CIptvViewedChannels* range = nullptr;
    iptv::CIptvViewingProfileConfig* profile = nullptr;
    core::CEmulatedDevice* device = nullptr;
    iptv::CIptvStbBlockConfig* block = nullptr;
};

TEST_F(ApplyRecordsTest, Profile) {
    namespace Id = ids::IptvViewingProfileConfig;
    MakeTest({});
    const auto set = [this](framework::PropId id, auto value) {
        return [this, id, value] { profile->Set(id, value); };
    };
    using P = profileConfig_s;
    Check<P>(
        "UpdateProfile", parse_req_UpdateProfile,
        {.profile_handle = profile->GetHandle(),
         .zap_changes_before_view = 1,
         .view_duration = 10'000,
         .leave_to_leave_delay = 1000,
         .unicast_leave_trigger_delay = 100,
         .join_latency_threshold = 500,
         .leave_latency_threshold = 1000,
         .unicast_join_threshold = 500,
         .unicast_leave_threshold = 1000},
        {{"new", [] {}, [](P&) {}},
         {"", set(Id::UnicastOnly, true), [](P& p) { p.unicast_only = true; }},
         {"", set(Id::UnicastStay, true), [](P& p) { p.unicast_stay = true; }},
         {"", set(Id::ZapBehavior, std::uint8_t{1}), [](P& p) { p.zap_behavior = ZapBehavior::ZAP_N_VIEW; }},
         {"", set(Id::ZapDirection, std::uint8_t{1}), [](P& p) { p.zap_direction = ZapDirection::DIR_DOWN; }},
         {"", set(Id::ZapDirection, std::uint8_t{2}),
          [](P& p) { p.zap_direction = ZapDirection::DIR_RANDOM; }},
         {"", set(Id::ZapIntervalType, std::uint8_t{1}),
          [](P& p) { p.zap_interval_type = ZapIntervalType::MTL; }},
         {"", set(Id::ZapIntervalType, std::uint8_t{2}),
          [](P& p) { p.zap_interval_type = ZapIntervalType::UTL; }},
         {"", set(Id::ChangesBeforeView, 11u), [](P& p) { p.zap_changes_before_view = 11; }},
         {"in ms", set(Id::ViewDuration, 5u), [](P& p) { p.view_duration = 5000; }},
         {"", set(Id::SetTopLeaveJoinDelay, 12u), [](P& p) { p.leave_to_join_delay = 12; }},
         {"", set(Id::Interval, 1300u), [](P& p) { p.leave_to_leave_delay = 1300; }},
         {"", set(Id::MulticastJoinTriggerDelay, 14u), [](P& p) { p.mcast_join_trigger_delay = 14; }},
         {"", set(Id::UnicastLeaveTriggerDelay, 15u), [](P& p) { p.unicast_leave_trigger_delay = 15; }},
         {"", set(Id::JoinLatencyThreshold, 16u), [](P& p) { p.join_latency_threshold = 16; }},
         {"", set(Id::LeaveLatencyThreshold, 17u), [](P& p) { p.leave_latency_threshold = 17; }},
         {"", set(Id::UnicastJoinThreshold, 18u), [](P& p) { p.unicast_join_threshold = 18; }},
         {"", set(Id::UnicastLeaveThreshold, 19u), [](P& p) { p.unicast_leave_threshold = 19; }}});
}

using Channels = channelBlockConfig_s;

TEST_F(ApplyRecordsTest, ChannelBlockOfIpv4) {
    MakeTest({});
    namespace Range = ids::IptvViewedChannels;
    namespace Block = ids::IptvChannelBlock;
    core::CEmulatedDevice& source = project.MakeDevice(nullptr, 3);
    Check<Channels>(
        "UpdateChannelBlock", parse_req_UpdateChannelBlock, NewChannels("225.0.0.4", "0.0.0.1"),
        {{"new", [] {}, [](Channels&) {}},
         {"first channel viewed", [&] { range->Set(Range::InitialChannelStart, 6u); },
          [](Channels& c) { c.channel_initial_start = 6; }},
         {"step",
          [&] {
              range->Set(Range::ChannelRangeStep, 2u);
              range->Set(Range::InitialChannelStep, 4u);
          },
          [](Channels& c) {
              c.channel_count = 3;
              c.channel_number_step = 2;
              c.channel_initial_step = 4;
              c.channel_ip_step = Ip("0.0.0.2");
          }},
         {"address",
          [&] {
              Addresses<core::CIpv4NetworkBlock>().SetStartIpList(
                  {*common::CIpAddress::FromString("225.0.3.0")});
              Addresses<core::CIpv4NetworkBlock>().SetAddrIncrement(0x10);
          },
          [](Channels& c) {
              c.channel_ip_start = Ip("225.0.3.48");
              c.channel_ip_step = Ip("0.0.0.32");
          }},
         {"address back",
          [&] {
              Addresses<core::CIpv4NetworkBlock>().SetStartIpList(
                  {*common::CIpAddress::FromString("225.0.0.1")});
              Addresses<core::CIpv4NetworkBlock>().SetAddrIncrement(1);
          },
          [](Channels& c) {
              c.channel_ip_start = Ip("225.0.0.4");
              c.channel_ip_step = Ip("0.0.0.2");
          }},
         {"increment", [&] { Addresses<core::CIpv4NetworkBlock>().SetAddrIncrement(0x100); },
          [](Channels& c) {
              c.channel_ip_start = Ip("225.0.3.1");
              c.channel_ip_step = Ip("0.0.2.0");
          }},
         {"UDP ports",
          [&] {
              channels->Set(Block::UdpDestinationPort, std::uint16_t{7000});
              channels->Set(Block::UdpDestinationPortStep, std::uint16_t{10});
          },
          [](Channels& c) {
              c.fcc_multicast_udp_port = 7003;  // whatever the step is
              c.fcc_multicast_udp_port_step = 10;
          }},
         {"filter", [&] { channels->Set(Block::FilterMode, std::uint8_t{0}); },
          [](Channels& c) { c.filterMode = FilterModeType::INCLUDE; }},
         {"retransmission", [&] { channels->Set(Block::RtpNackEnable, true); },
          [](Channels& c) { c.rrr_cbConfig = {{.cbNackEnable = true}}; }},
         {"sources of a device", [&] { TestProject::Relate(*channels, source, relations::TrafficSources); },
          [](Channels& c) {
              c.source_list = {Ip("192.85.1.3"), Ip("192.85.1.4"), Ip("192.85.1.5")};
          }},
         {"sources of the block",
          [&] {
              MakeSources<core::CIpv4NetworkBlock, common::CIpAddress>({"10.0.0.1", "10.9.0.1"}, 2, 0x100);
          },
          [](Channels& c) {
              c.source_list = {Ip("10.0.0.1"), Ip("10.0.1.1"), Ip("10.9.0.1"), Ip("10.9.1.1")};
          }}});
}

TEST_F(ApplyRecordsTest, ChannelBlockOfIpv6) {
    MakeTest({.ipv6 = true}, true);
    core::CEmulatedDevice& source = project.MakeDevice(nullptr, 2, {.ipv6 = true});
    auto& link_local = CScriptableCreator().Make<core::CIpv6If>(&source);
    link_local.Set(ids::Ipv6If::Address, *common::CIpv6Address::FromString("fe80::1"));
    auto& second = CScriptableCreator().Make<core::CIpv6If>(&source);
    second.SetCollection<common::CIpv6Address>(ids::Ipv6If::AddrList,
                                               {*common::CIpv6Address::FromString("3000::9")});
    Check<Channels>(
        "UpdateChannelBlock", parse_req_UpdateChannelBlock, NewChannels("ff1e::4", "::1"),
        {{"new", [] {}, [](Channels&) {}},
         {"increment", [&] { Addresses<core::CIpv6NetworkBlock>().SetAddrIncrement(0x80000000); },
          [](Channels& c) {
              c.channel_ip_start = Ip("ff1e::1:8000:1");
              c.channel_ip_step = Ip("::8000:0");
          }},
         {"sources of a device", [&] { TestProject::Relate(*channels, source, relations::TrafficSources); },
          [](Channels& c) {
              c.source_list = {Ip("2000::2"), Ip("2000::3"), Ip("3000::9")};
          }},
         {"sources of the block",
          [&] { MakeSources<core::CIpv6NetworkBlock, common::CIpv6Address>({"4000::1"}, 2, 0x10); },
          [](Channels& c) {
              c.source_list = {Ip("4000::1"), Ip("4000::11")};
          }}});
}

TEST_F(ApplyRecordsTest, ARangeInNoChannelBlockHasNumbersOnly) {
    MakeTest({});
    range->Set(ids::IptvViewedChannels::ChannelRangeStart, 1u);
    range->Set(ids::IptvViewedChannels::ChannelRangeEnd, 1u);
    EXPECT_EQ(ApplyWithoutValidation(), "");
    Channels expected;
    expected.channel_handle = range->GetHandle();
    expected.channel_count = expected.channel_number_start = expected.channel_number_step = 1;
    expected.channel_initial_start = 4;
    expected.channel_initial_step = 1;
    expected.filterMode = FilterModeType::EXCLUDE;
    EXPECT_TRUE(Sent("UpdateChannelBlock", parse_req_UpdateChannelBlock) == expected);
}

using Settop = settopBlockConfig_s;
namespace Stb = ids::IptvStbBlockConfig;

class SettopRecordsTest : public ApplyRecordsTest {
  protected:
    void CheckBlock(Stack stack, const std::vector<Edit<Settop>>& edits) {
        MakeTest(stack);
        Settop expected;
        expected.stblock_handle = block->GetHandle();
        expected.profile_handle = profile->GetHandle();
        expected.igmp_version = stack.ipv6 ? IgmpVersion::MLD_VERSION1 : IgmpVersion::IGMP_VERSION2;
        expected.channel_handle = {range->GetHandle()};
        expected.settop_count = 2;
        expected.vif_handle = 1;
        Check<Settop>("UpdateSettopBlock", parse_req_UpdateSettopBlock, expected, edits);
    }
    template <class V>
    std::function<void()> Set(framework::PropId id, V value) {
        return [this, id, value] { block->Set(id, value); };
    }
    void EnableRetransmission() {
        block->Set(Stb::RtpNackEnable, true);
        block->Set(Stb::RtpNackInterval, 21u);
        block->Set(Stb::RtpNackDelay, 22u);
        block->Set(Stb::RtpNackSeqBitmask, std::uint16_t{23});
        block->Set(Stb::RrrServerAddrV4, "192.0.2.1");
        block->Set(Stb::RrrServerAddrV6, "2001:db8::1");
        block->Set(Stb::RrrServerPort, std::uint16_t{24});
    }
    void EnableFcc() {
        iptv::RunningTest::SetRules({.fcc_check = true});
        block->Set(Stb::FccServerAddrV4, "192.0.2.2");
        block->Set(Stb::FccServerAddrV6, "2001:db8::2");
        block->Set(Stb::FccServerPort, std::uint16_t{31});
        block->Set(Stb::UdpSourcePort, std::uint16_t{32});
        block->Set(Stb::UdpSourcePortStep, std::uint16_t{33});
    }
    static std::function<void(Settop&)> ExpectRetransmission(const char* server) {
        return [server](Settop& s) { s.rrr_stbConfig = {{true, 21, 22, 23, Ip(server), 24}}; };
    }
    static std::function<void(Settop&)> ExpectFcc(const char* server) {
        return [server](Settop& s) {
            s.fcc_server_address = Ip(server);
            s.fcc_server_port = 31;
            s.udp_source_port = 32;
            s.udp_source_port_step = 33;
        };
    }
};

TEST_F(SettopRecordsTest, Ipv4) {
    CheckBlock(
        {},
        {{"new", [] {}, [](Settop&) {}},
         {"start delay", Set(Stb::InterClientStartDelayStep, 70'000u),
          [](Settop& s) { s.start_delay_step = 70'000; }},
         {"buffer level", Set(Stb::MinBufferLevel, std::uint16_t{65535}),
          [](Settop& s) { s.min_buffer_level = 65535; }},
         {"hosts", [this] { device->Set(ids::EmulatedDevice::DeviceCount, 3u); },
          [](Settop& s) { s.settop_count = 3; }},
         {"second range",
          [this] { TestProject::Relate(*block, project.MakeRange(*channels, 1, 3), relations::StbChannel); },
          [this](Settop& s) {
              s.channel_handle.push_back(
                  block->GetObjects("IptvViewedChannels", relations::StbChannel)[1]->GetHandle());
          }},
         {"retransmission", [this] { EnableRetransmission(); }, ExpectRetransmission("192.0.2.1")},
         {"fast channel change", [this] { EnableFcc(); }, ExpectFcc("192.0.2.2")},
         {"neither",
          [this] {
              block->Set(Stb::RtpNackEnable, false);
              iptv::RunningTest::SetRules({});
          },
          [](Settop& s) {
              s.rrr_stbConfig.clear();
              ExpectFcc("0.0.0.0")(s);
              s.fcc_server_port = s.udp_source_port = s.udp_source_port_step = 0;
          }}});
}

TEST_F(SettopRecordsTest, Ipv6) {
    CheckBlock(
        {.ipv6 = true},
        {{"version", [this] { TestProject::McastOf(*device).Set("Version", "MLD_V1"); }, [](Settop&) {}},
         {"retransmission", [this] { EnableRetransmission(); }, ExpectRetransmission("2001:db8::1")},
         {"fast channel change", [this] { EnableFcc(); }, ExpectFcc("2001:db8::2")}});
}

TEST_F(SettopRecordsTest, OneVlan) {
    CheckBlock(
        {.vlans = 1},
        {{"tag",
          [this] { TestProject::LayerOf(*device, "VlanIf").Set(ids::VlanIf::VlanId, std::uint16_t{41}); },
          [](Settop& s) {
              s.vlan_tag = 41;
              s.vlan_inner_tag = s.vlan_inner_step = 0;
          }}});
}

TEST_F(SettopRecordsTest, VlansAndPppoe) {
    const auto tag = [this](int nth, std::uint16_t id, std::int16_t step) {
        return [=, this] {
            TestProject::LayerOf(*device, "VlanIf", nth).Set(ids::VlanIf::VlanId, id);
            TestProject::LayerOf(*device, "VlanIf", nth).Set(ids::VlanIf::IdStep, step);
        };
    };
    CheckBlock({.vlans = 2, .pppoe = true}, {{"outer", tag(0, 41, 42),
                                              [](Settop& s) {
                                                  s.vlan_tag = 41;
                                                  s.vlan_step = 42;
                                                  s.vlan_inner_tag = 100;  // the default
                                                  s.ppp_index = {1, 2};
                                              }},
                                             {"inner", tag(1, 43, -1), [](Settop& s) {
                                                  s.vlan_inner_tag = 43;
                                                  s.vlan_inner_step = 0xffff;
                                              }}});
}

TEST_F(SettopRecordsTest, UnresolvedAddressesAreWarnedOf) {
    MakeTest({});
    const std::string warning =
        "user.iptv Warn:  For P1: EmulatedDevice: Host: Please resolve IP addresses before "
        "attempting to start IPTV test.";
    for (const std::uint8_t state : {0, 1, 2, 3, 4}) {
        SCOPED_TRACE(int{state});
        TestProject::LayerOf(*device, "Ipv4If").Set(ids::Ipv4If::AddrResolveState, state);
        block->Set(Stb::MinBufferLevel, static_cast<std::uint16_t>(state + 1));
        testing_aids::LogCapture log;
        EXPECT_EQ(Apply(), "");
        EXPECT_EQ(testing::Value(log.Take(), Contains(warning)), state != 0 && state != 4);
        EXPECT_EQ(Sent("UpdateSettopBlock", parse_req_UpdateSettopBlock).min_buffer_level, state + 1u);
    }
}

}  // namespace
