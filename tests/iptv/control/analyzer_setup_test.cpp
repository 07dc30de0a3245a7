// The filters of the analyzer of a port.
#include <fmt/format.h>

#include "control/AnalyzerSetup.h"
#include "control/StreamMap.h"
#include "orv/core/project.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/notification_service.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/analyzer_filter.h"
#include "orv/l2l3/stream_block.h"
#include "orv/mcastcore/multicast_group.h"
#include "start_test_fixture.h"

namespace testing_aids {
namespace {

using l2l3::CAnalyzer;
using l2l3::CAnalyzer32BitFilter;
using S = StartScene;
using Texts = std::vector<std::string>;

enum class Link { kEthernet, kAtm, kEthernetOnAtm, kEthernetOnAtmWithLlc };
enum class Streams { kUnknown, kKnown };

/// A test on a port, as far as the filters depend on it.
struct Setting {
    Link link = Link::kEthernet;
    std::uint32_t vlans = 0;
    bool pppoe = false;
    int igmp_version = 1;
    int type = TestType::ZAPPING;
    int env = kTesting;
    int join_trigger = 0;
    int sub_filter = ids::VlanSubFilter::OUTER;
    int udp_port = ids::UdpPortType::DEST;
    Streams streams = Streams::kUnknown;
};

struct Row {
    std::string what;
    Texts filters;  ///< "<name>: <bits> at <location>+<offset> & <mask>" in their order
    Setting setting = {};
};

/// Makes a stream for each channel of the scene.
void MakeStreams(S& s) {
    core::CEmulatedDevice& server = s.MakeHosts(&s.port, "Server");
    CScriptable& streams = S::AddChild(s.port, "StreamBlock");
    TestProject::Relate(streams, TestProject::LayerOf(server, "Ipv4If"), relations::SrcBinding);
    CScriptable& groups =
        *TestProject::GroupOf(s.channels).GetObject("Ipv4NetworkBlock", common::kParentChild);
    TestProject::Relate(streams, groups, relations::DstBinding);
}

struct AnalyzerScene : S {
    CAnalyzer& analyzer =
        dynamic_cast<CAnalyzer&>(*port.GetObject(CAnalyzer::CLASS_ID(), common::kParentChild));
    iptv::LinkLayers link{false, true, 1};
    iptv::StackFlags stack;
    iptv::StreamMap streams;

    iptv::AnalyzerSetup Setup() const {
        return {iptv::TestSettings::Of(command), link, stack, !streams.GetStreamIds().empty()};
    }
    void Apply(const Setting& setting) {
        const auto u8 = [](int value) { return static_cast<std::uint8_t>(value); };
        Choose(setting.type, setting.env, setting.join_trigger);
        command.Set(Command::VlanSubFilter, u8(setting.sub_filter));
        command.Set(Command::UdpPortType, u8(setting.udp_port));
        const bool llc = setting.link == Link::kEthernetOnAtmWithLlc;
        link = {setting.link != Link::kEthernet, setting.link != Link::kAtm, u8(llc ? 2 : 1)};
        stack.m_vlanCount = setting.vlans;
        stack.m_bPppEnable = setting.pppoe;
        iptv::StbBlockValues values;
        values.igmp_version = static_cast<iptvcd_1_bll::IgmpVersion>(setting.igmp_version);
        block.SetAppliedValues(values);
        if (setting.streams == Streams::kKnown) {
            MakeStreams(*this);
            streams.Make(dynamic_cast<core::CProject&>(project.Root()), {&block});
            ASSERT_THAT(streams.GetStreamIds(), testing::SizeIs(4));
        }
    }
    Texts Filters(bool deleted = false) const {
        framework::ScriptableVec filters;
        analyzer.GetObjects(filters, l2l3::CAnalyzerFilter::CLASS_ID(), common::kParentChild);
        Texts texts;
        for (const CScriptable* object : filters) {
            if (object->IsDeleted() != deleted) continue;
            EXPECT_TRUE(framework::CNotificationService::Instance().IsRegistered(object->GetHandle()) ||
                        deleted);
            const bool wide = object->IsTypeOf(CAnalyzer32BitFilter::CLASS_ID());
            texts.push_back(fmt::format("{}: {} at {}+{} & {:x}", object->Get("FilterName"), wide ? 32 : 16,
                                        object->GetU8(wide ? ids::Analyzer32BitFilter::LocationType
                                                           : ids::Analyzer16BitFilter::LocationType),
                                        object->GetU32(ids::AnalyzerFilter::Offset),
                                        wide ? object->GetU32(ids::Analyzer32BitFilter::Mask)
                                             : object->GetU16(ids::Analyzer16BitFilter::Mask)));
        }
        return texts;
    }
};

const Texts kGroup{"Group IP - Upper: 16 at 1+16 & ffff", "Group IP- Lower: 16 at 1+18 & ffff"};
const Texts kGroupOfZapping{"Group IP - Upper: 16 at 1+16 & ffff", "Group IP- Lower: 16 at 1+18 & 3"};
const Texts kGroupV6{"Group IP - Upper: 16 at 2+24 & ffff", "Group IP- Lower: 16 at 2+38 & 3"};
const Texts kUnplaced{"Group IP - Upper: 16 at 0+0 & ffff", "Group IP- Lower: 16 at 0+0 & 3"};
const Texts kAtmHeader{"ATM VPI: 16 at 0+0 & fff", "ATM VCI: 16 at 0+2 & fff0"};
const Texts kSignature{"Veltra ID: 32 at 5+0 & ffffffff"};
const Texts kSignatureOfZapping{"Veltra ID: 32 at 5+0 & ffff0000"};
const Texts kSbit{"S-bit: 16 at 4+24 & 8"};

Texts Vlan(const std::string& which, int offset) {
    return {fmt::format("VLAN ID{}: 16 at 0+{} & fff", which, offset)};
}
Texts Session(int offset) {
    return {fmt::format("PPPoE Session ID: 16 at 0+{} & ffff", offset)};
}
Texts UdpPort(int offset) {
    return {fmt::format("UDP Port: 32 at 4+{} & ffff0000", offset)};
}
Texts Join(const std::vector<Texts>& parts) {
    Texts all;
    for (const Texts& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}
Texts Zapping(const Texts& rest) {
    return Join({kGroupOfZapping, rest, kSignatureOfZapping});
}

const std::vector<Row>& Rows() {
    constexpr int kFcc = TestType::FAST_CHANNEL_CHANGE;
    constexpr int kInner = ids::VlanSubFilter::INNER;
    static const std::vector<Row> rows{
        {"untagged", Zapping({})},
        {"one tag", Zapping(Vlan("", 14)), {.vlans = 1}},
        {"one tag, inner asked for", Zapping(Vlan("", 14)), {.vlans = 1, .sub_filter = kInner}},
        {"two tags", Zapping(Join({Vlan(" - Outer", 14), Vlan(" - Inner", 18)})), {.vlans = 2}},
        {"two tags: room for both",
         Zapping(Join({Vlan(" - Outer", 14), Vlan(" - Inner", 18)})),
         {.vlans = 2, .sub_filter = kInner}},
        {"three tags", Zapping(Join({Vlan(" - Outer", 14), Vlan(" - Inner", 18)})), {.vlans = 3}},
        {"PPPoE", Zapping(Session(16)), {.pppoe = true}},
        {"PPPoE, one tag",
         Zapping(Join({Vlan("", 14), Session(20)})),
         {.vlans = 1, .pppoe = true, .sub_filter = kInner}},
        {"PPPoE, two tags, outer",
         Zapping(Join({Vlan(" - Outer", 14), Session(24)})),
         {.vlans = 2, .pppoe = true}},
        {"PPPoE, two tags, inner",
         Zapping(Join({Vlan(" - Inner", 18), Session(24)})),
         {.vlans = 2, .pppoe = true, .sub_filter = kInner}},
        {"IGMPv1", Zapping({}), {.igmp_version = 0}},
        {"IGMPv3", Zapping({}), {.igmp_version = 2}},
        {"MLDv1", Join({kGroupV6, kSignatureOfZapping}), {.igmp_version = 3}},
        {"MLDv2, one tag",
         Join({kGroupV6, Vlan("", 14), kSignatureOfZapping}),
         {.vlans = 1, .igmp_version = 4}},
        {"unknown version", Join({kUnplaced, kSignatureOfZapping}), {.igmp_version = 9}},
        {"FCC", Join({kGroup, kSignature}), {.type = kFcc}},
        {"FCC, S-bit", Join({kGroup, kSbit, kSignature}), {.type = kFcc, .join_trigger = 1}},
        {"FCC, S-bit, two tags, outer",
         Join({kGroup, Vlan(" - Outer", 14), kSbit, kSignature}),
         {.vlans = 2, .type = kFcc, .join_trigger = 1}},
        {"FCC, S-bit, two tags, inner",
         Join({kGroup, Vlan(" - Inner", 18), kSbit, kSignature}),
         {.vlans = 2, .type = kFcc, .join_trigger = 1, .sub_filter = kInner}},
        {"FCC, S-bit before PPPoE",
         Join({kGroup, Vlan(" - Inner", 18), kSbit, kSignature}),
         {.vlans = 2, .pppoe = true, .type = kFcc, .join_trigger = 1, .sub_filter = kInner}},
        {"FCC with RRR, S-bit",
         Join({kGroup, kSbit, kSignature}),
         {.type = TestType::FCC_WITH_RRR, .join_trigger = 1}},
        {"RRR has no S-bit",
         Join({kGroup, UdpPort(2)}),
         {.type = TestType::RELIABLE_RETRANSMISSION, .env = kRealWorld, .join_trigger = 1}},
        {"zapping has no S-bit", Zapping({}), {.join_trigger = 1}},
        {"real world, zapping",
         Join({kGroupOfZapping, UdpPort(0)}),
         {.env = kRealWorld, .udp_port = ids::UdpPortType::SOURCE}},
        {"real world, verification",
         Join({kGroup, UdpPort(2)}),
         {.type = TestType::VERIFICATION, .env = kRealWorld, .streams = Streams::kKnown}},
        {"verification by group", Join({kGroup, kSignature}), {.type = TestType::VERIFICATION}},
        {"verification by stream", kSignature, {.type = TestType::VERIFICATION, .streams = Streams::kKnown}},
        {"verification by stream, two tags",
         Join({Vlan(" - Outer", 14), Vlan(" - Inner", 18), kSignature}),
         {.vlans = 2, .type = TestType::VERIFICATION, .streams = Streams::kKnown}},
        {"FCC with known streams", Join({kGroup, kSignature}), {.type = kFcc, .streams = Streams::kKnown}},
        {"ATM", Join({kAtmHeader, Zapping({})}), {.link = Link::kAtm}},
        {"Ethernet on ATM: no room for more",
         Join({kAtmHeader, Zapping({})}),
         {.link = Link::kEthernetOnAtmWithLlc, .vlans = 2, .pppoe = true}},
        {"verification by stream on bridged ATM",
         Join({kAtmHeader, Vlan("", 21), kSignature}),
         {.link = Link::kEthernetOnAtm,
          .vlans = 1,
          .type = TestType::VERIFICATION,
          .streams = Streams::kKnown}},
        {"the same with LLC",
         Join({kAtmHeader, Vlan("", 29), kSignature}),
         {.link = Link::kEthernetOnAtmWithLlc,
          .vlans = 1,
          .type = TestType::VERIFICATION,
          .streams = Streams::kKnown}},
        {"PPP on ATM without Ethernet",
         Join({kAtmHeader, Session(9), kSignature}),
         {.link = Link::kAtm, .pppoe = true, .type = TestType::VERIFICATION, .streams = Streams::kKnown}},
    };
    return rows;
}

TEST(AnalyzerSetup, FiltersFollowTheTestAndTheStack) {
    for (const Row& row : Rows()) {
        SCOPED_TRACE(row.what);
        AnalyzerScene s;
        s.Apply(row.setting);
        s.Setup().init_analyzer(s.port, s.block);
        EXPECT_EQ(s.Filters(), row.filters);
        EXPECT_FALSE(s.analyzer.GetBool(ids::Analyzer::UseDefault32BitFilter));
    }
}

TEST(AnalyzerSetup, EachRunStartsAnew) {
    AnalyzerScene s;
    S::AddChild(s.analyzer, "Analyzer32BitFilter");
    S::AddChild(s.analyzer, "Analyzer16BitFilter");
    s.analyzer.SetState(ids::AnalyzerState::RUNNING);
    CScriptable& other = *s.project.MakePort("Port 2").GetObject("Analyzer", common::kParentChild);
    other.Set(ids::Analyzer::State, ids::AnalyzerState::RUNNING);
    s.analyzer.Set(ids::Analyzer::TotalFrameCount, std::uint64_t{5});
    const std::size_t objects = framework::CHandleRegistry::Instance().GetSize();
    LogCapture log;
    s.Apply({.vlans = 2});
    s.Setup().init_analyzer(s.port, s.block);
    EXPECT_EQ(s.analyzer.GetU8(ids::Analyzer::State), ids::AnalyzerState::STOPPED);
    EXPECT_EQ(other.GetU8(ids::Analyzer::State), ids::AnalyzerState::RUNNING) << "not its turn";
    EXPECT_EQ(s.analyzer.GetU64(ids::Analyzer::TotalFrameCount), 0u);
    EXPECT_TRUE(framework::CNotificationService::Instance().IsRegistered(s.analyzer.GetHandle()));
    EXPECT_THAT(s.Filters(true), testing::SizeIs(2)) << "what was there";
    EXPECT_EQ(framework::CHandleRegistry::Instance().GetSize(), objects + 5)
        << "the filters, and nothing else";
    EXPECT_EQ(
        LinesOf(log.Take(), "content.mulvane.iptv Debug:  "),
        (Texts{"Setting up analyzer for Port 1", "Clear Comparators for analyzer " + s.analyzer.GetName(),
               " Two 16 bit filters with UpperIPoffset 16 LowerIPOffset 18 and LocationType "
               "StartOfIpv4Header ",
               " LowerIpMask set to 0x0003 ", " UpperIpMask set to 0xffff ",
               " Third 16 bit filter set to Vlan with offset 14 and index 0",
               " Fourth 16 bit filter set to Vlan with offset 18",
               " The 32bit filter set to Veltra ID with mask 0xffff0000 "}));

    s.Apply({});
    s.Setup().init_analyzer(s.port, s.block);
    EXPECT_EQ(s.Filters(), Zapping({}));
    s.project.Settle();
    EXPECT_EQ(s.Filters(), Zapping({}));
    EXPECT_THAT(s.Filters(true), testing::IsEmpty());
}

TEST(AnalyzerSetup, SaysWhatIsMissing) {
    AnalyzerScene s;
    const auto failure = [](const std::string& what) {
        return "content.mulvane.iptv Error: MEMORY ALLOCATION ERROR: for object: " + what +
               " in CIptvStartTestCommand::DoRun ";
    };
    const std::string no_memory = " BAD ALLOCATION ERROR: Error in Memory Allocation. ";
    s.analyzer.MarkDelete(true, true);  // takes no more filters
    LogCapture log;
    s.link = {true, true, 2};
    EXPECT_EQ(ThrownBy([&] { s.Setup().init_comparators(s.analyzer, s.block); }), no_memory);
    EXPECT_THAT(log.Take(), testing::Contains(failure("Analyzer16BitFilter VPI")));
    s.link = {};
    EXPECT_EQ(ThrownBy([&] { s.Setup().init_comparators(s.analyzer, s.block); }), no_memory);
    EXPECT_THAT(log.Take(), testing::Contains(failure("Analyzer16BitFilter")));
    CAnalyzer32BitFilter* filter = nullptr;
    EXPECT_EQ(ThrownBy([&] { s.Setup().create32bitFilters(s.analyzer, filter); }), no_memory);
    EXPECT_THAT(log.Take(), testing::Contains(failure("Analyzer32BitFilter")));

    s.port.Set(ids::Port::Location, "//10.0.0.1/1/2");
    EXPECT_EQ(
        ThrownBy([&] { s.Setup().init_analyzer(s.port, s.block); }),
        " BAD OBJECT ERROR: Error accessing Config Objects. Analyzer associated with port //10.0.0.1/1/2");
    EXPECT_THAT(log.Take(), testing::Contains(
                                "content.mulvane.iptv Error: BAD OBJECT ERROR: Internal Error. Failed to get "
                                "object Analyzer from Port in CIptvStartTestCommand::init_analyzer"));
}

}  // namespace
}  // namespace testing_aids
