// The filters of the analyzer of a port, and the number of streams that it can distinguish.
#include <fmt/format.h>

#include <limits>

#include "control/AnalyzerSetup.h"
#include "orv/core/rcm_db.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/notification_service.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/analyzer_filter.h"
#include "start_test_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using framework::CNotificationService, l2l3::CAnalyzer32BitFilter;

enum class Link { kEthernet, kAtm, kEthernetOnAtm, kEthernetOnAtmWithLlc };

/// A test on a port, as far as the filters depend on it.
struct Setting {
    Link link = Link::kEthernet;
    std::uint32_t vlans = 0;
    bool pppoe = false;
    int igmp_version = 1, type = TestType::ZAPPING, env = kTesting, join_trigger = 0;
    int sub_filter = ids::VlanSubFilter::OUTER, udp_port = ids::UdpPortType::DEST;
    bool streams_known = false;
};

struct AnalyzerScene : S {
    l2l3::CAnalyzer& analyzer =
        dynamic_cast<l2l3::CAnalyzer&>(*port.GetObject("Analyzer", common::kParentChild));

    iptv::AnalyzerSetup Apply(const Setting& setting) {
        const auto u8 = [](int value) { return static_cast<std::uint8_t>(value); };
        Choose(setting.type, setting.env, setting.join_trigger);
        command.Set(Command::VlanSubFilter, u8(setting.sub_filter));
        command.Set(Command::UdpPortType, u8(setting.udp_port));
        iptv::StbBlockValues values;
        values.igmp_version = static_cast<iptvcd_1_bll::IgmpVersion>(setting.igmp_version);
        block.SetAppliedValues(values);
        iptv::StackFlags stack;
        stack.m_vlanCount = setting.vlans;
        stack.m_bPppEnable = setting.pppoe;
        const bool llc = setting.link == Link::kEthernetOnAtmWithLlc;
        const iptv::LinkLayers link{setting.link != Link::kEthernet, setting.link != Link::kAtm,
                                    u8(llc ? 2 : 1)};
        return {iptv::TestSettings::Of(command), link, stack, setting.streams_known};
    }
    /// "<name>: <bits> at <location>+<offset> & <mask>" in their order, one a line.
    std::string Filters() const {
        framework::ScriptableVec filters;
        analyzer.GetObjects(filters, l2l3::CAnalyzerFilter::CLASS_ID(), common::kParentChild);
        std::string text;
        for (const CScriptable* object : filters) {
            if (object->IsDeleted()) continue;
            EXPECT_TRUE(CNotificationService::Instance().IsRegistered(object->GetHandle()));
            const bool wide = object->IsTypeOf(CAnalyzer32BitFilter::CLASS_ID());
            namespace Wide = ids::Analyzer32BitFilter;
            namespace Narrow = ids::Analyzer16BitFilter;
            text += fmt::format("{}: {} at {}+{} & {:x}\n", object->Get("FilterName"), wide ? 32 : 16,
                                object->GetU8(wide ? Wide::LocationType : Narrow::LocationType),
                                object->GetU32(ids::AnalyzerFilter::Offset),
                                wide ? object->GetU32(Wide::Mask) : object->GetU16(Narrow::Mask));
        }
        return text;
    }
};

const std::string kUpper = "Group IP - Upper: 16 at 1+16 & ffff\n";
const std::string kGroup = kUpper + "Group IP- Lower: 16 at 1+18 & ffff\n";
const std::string kZapGroup = kUpper + "Group IP- Lower: 16 at 1+18 & 3\n";
const std::string kGroupV6 = "Group IP - Upper: 16 at 2+24 & ffff\nGroup IP- Lower: 16 at 2+38 & 3\n";
const std::string kUnplaced = "Group IP - Upper: 16 at 0+0 & ffff\nGroup IP- Lower: 16 at 0+0 & 3\n";
const std::string kAtmHeader = "ATM VPI: 16 at 0+0 & fff\nATM VCI: 16 at 0+2 & fff0\n";
const std::string kSignature = "Veltra ID: 32 at 5+0 & ffffffff\n";
const std::string kZapSignature = "Veltra ID: 32 at 5+0 & ffff0000\n", kSbit = "S-bit: 16 at 4+24 & 8\n";

std::string Vlan(const std::string& which, int offset) {
    return fmt::format("VLAN ID{}: 16 at 0+{} & fff\n", which, offset);
}
const auto Session = [](int offset) { return fmt::format("PPPoE Session ID: 16 at 0+{} & ffff\n", offset); };
const auto UdpPort = [](int offset) { return fmt::format("UDP Port: 32 at 4+{} & ffff0000\n", offset); };
const auto Zap = [](const std::string& rest) { return kZapGroup + rest + kZapSignature; };

TEST(AnalyzerSetup, FiltersFollowTheTestAndTheStack) {
    constexpr int kFcc = TestType::FAST_CHANNEL_CHANGE, kVerify = TestType::VERIFICATION;
    constexpr int kRrr = TestType::RELIABLE_RETRANSMISSION, kInner = ids::VlanSubFilter::INNER;
    constexpr int kSource = ids::UdpPortType::SOURCE;
    const std::string outer = Vlan(" - Outer", 14), inner = Vlan(" - Inner", 18);
    const struct {
        std::string filters;
        Setting setting = {};
    } rows[] = {{Zap("")},
                {Zap(Vlan("", 14)), {.vlans = 1, .sub_filter = kInner}},
                {Zap(outer + inner), {.vlans = 2}},
                {Zap(outer + inner), {.vlans = 2, .sub_filter = kInner}},  // room for both
                {Zap(outer + inner), {.vlans = 3}},
                {Zap(Session(16)), {.pppoe = true}},
                {Zap(Vlan("", 14) + Session(20)), {.vlans = 1, .pppoe = true, .sub_filter = kInner}},
                {Zap(outer + Session(24)), {.vlans = 2, .pppoe = true}},
                {Zap(inner + Session(24)), {.vlans = 2, .pppoe = true, .sub_filter = kInner}},
                {Zap(""), {.igmp_version = 0}},
                {Zap(""), {.igmp_version = 2}},
                {kGroupV6 + kZapSignature, {.igmp_version = 3}},
                {kGroupV6 + Vlan("", 14) + kZapSignature, {.vlans = 1, .igmp_version = 4}},
                {kUnplaced + kZapSignature, {.igmp_version = 9}},
                {kGroup + outer + kSbit + kSignature, {.vlans = 2, .type = kFcc, .join_trigger = 1}},
                // The S-bit comes before PPPoE.
                {kGroup + inner + kSbit + kSignature,
                 {.vlans = 2, .pppoe = true, .type = kFcc, .join_trigger = 1, .sub_filter = kInner}},
                {kGroup + kSbit + kSignature, {.type = TestType::FCC_WITH_RRR, .join_trigger = 1}},
                {kGroup + UdpPort(2), {.type = kRrr, .env = kRealWorld, .join_trigger = 1}},
                {Zap(""), {.join_trigger = 1}},
                {kZapGroup + UdpPort(0), {.env = kRealWorld, .udp_port = kSource}},
                {kGroup + UdpPort(2), {.type = kVerify, .env = kRealWorld, .streams_known = true}},
                {kGroup + kSignature, {.type = kVerify}},
                {kSignature, {.type = kVerify, .streams_known = true}},
                {outer + inner + kSignature, {.vlans = 2, .type = kVerify, .streams_known = true}},
                {kGroup + kSignature, {.type = kFcc, .streams_known = true}},
                {kAtmHeader + Zap(""), {.link = Link::kAtm}},
                // No room for more.
                {kAtmHeader + Zap(""), {.link = Link::kEthernetOnAtmWithLlc, .vlans = 2, .pppoe = true}},
                {kAtmHeader + Vlan("", 21) + kSignature,
                 {.link = Link::kEthernetOnAtm, .vlans = 1, .type = kVerify, .streams_known = true}},
                {kAtmHeader + Vlan("", 29) + kSignature,
                 {.link = Link::kEthernetOnAtmWithLlc, .vlans = 1, .type = kVerify, .streams_known = true}},
                {kAtmHeader + Session(9) + kSignature,
                 {.link = Link::kAtm, .pppoe = true, .type = kVerify, .streams_known = true}}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        AnalyzerScene s;
        s.Apply(row.setting).init_analyzer(s.port, s.block);
        EXPECT_EQ(s.Filters(), row.filters);
        EXPECT_FALSE(s.analyzer.GetBool(ids::Analyzer::UseDefault32BitFilter));
    }
}

TEST(AnalyzerSetup, EachRunStartsAnew) {
    AnalyzerScene s;
    S::AddChild(s.analyzer, "Analyzer32BitFilter");
    S::AddChild(s.analyzer, "Analyzer16BitFilter");
    CScriptable& other = *s.project.MakePort("Port 2").GetObject("Analyzer", common::kParentChild);
    for (CScriptable* analyzer : {static_cast<CScriptable*>(&s.analyzer), &other})
        analyzer->Set(ids::Analyzer::State, ids::AnalyzerState::RUNNING);
    s.analyzer.Set(ids::Analyzer::TotalFrameCount, std::uint64_t{5});
    const std::size_t objects = framework::CHandleRegistry::Instance().GetSize();
    s.Apply({.vlans = 2}).init_analyzer(s.port, s.block);
    EXPECT_EQ(s.analyzer.GetU8(ids::Analyzer::State), ids::AnalyzerState::STOPPED);
    EXPECT_EQ(other.GetU8(ids::Analyzer::State), ids::AnalyzerState::RUNNING) << "not its turn";
    EXPECT_EQ(s.analyzer.GetU64(ids::Analyzer::TotalFrameCount), 0u);
    EXPECT_TRUE(CNotificationService::Instance().IsRegistered(s.analyzer.GetHandle()));
    EXPECT_EQ(framework::CHandleRegistry::Instance().GetSize(), objects + 5) << "the filters, nothing else";

    s.Apply({}).init_analyzer(s.port, s.block);
    EXPECT_EQ(s.Filters(), Zap(""));
    s.project.Settle();
    EXPECT_EQ(s.Filters(), Zap(""));

    LogCapture log;
    s.analyzer.MarkDelete(true, true);  // takes no more filters
    EXPECT_NE(FailureOf([&] { s.Apply({}).init_comparators(s.analyzer, s.block); }), kNothing);
    EXPECT_THAT(log.Take(), Contains(HasSubstr("MEMORY ALLOCATION ERROR: for object: Analyzer16BitFilter")));
    s.analyzer.Delete();
    s.port.Set(ids::Port::Location, "//10.0.0.1/1/2");
    EXPECT_THAT(FailureOf([&] { s.Apply({}).init_analyzer(s.port, s.block); }),
                HasSubstr("Analyzer associated with port //10.0.0.1/1/2"));
    EXPECT_THAT(log.Take(), Contains(HasSubstr("get object Analyzer from Port in")));
}

TEST(StreamLimit, CountsTheStreamsOfABlocksHosts) {
    constexpr std::int64_t kLargest = std::numeric_limits<std::int32_t>::max();
    auto& capabilities = core::RcmDBMgr::Instance();
    const auto set = [&](const std::string& port, core::RcmValue value) {
        capabilities.SetDBValue({"GA", port}, "analyzer/anaStreams", std::move(value));
    };
    const struct {
        int type;
        std::uint32_t hosts, last, step;  ///< channels 1 to `last`, and 11 to 14
        std::int64_t streams;
    } rows[] = {{TestType::ZAPPING, 3, 8, 1, 12},
                {TestType::FCC_WITH_RRR, 3, 8, 1, 12},
                {TestType::VERIFICATION, 3, 8, 1, 3 * (8 + 4)},
                {TestType::VERIFICATION, 3, 8, 3, 3 * (3 + 4)},
                {TestType::VERIFICATION, 3, 7, 3, 3 * (3 + 4)},
                {TestType::VERIFICATION, 3, 8, 0, 3 * (8 + 4)},
                {TestType::VERIFICATION, 65535, 4294967295, 1, std::int64_t{1} << 40}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "type " << row.type << ", step " << row.step);
        S s;
        s.Choose(row.type, kTesting);
        s.View(1, row.last);
        s.range.Set(ids::IptvViewedChannels::ChannelRangeStep, row.step);
        TestProject::Relate(s.block, s.project.MakeRange(s.channels, 11, 14), relations::StbChannel);
        s.device.Set(ids::EmulatedDevice::DeviceCount, row.hosts);
        auto& off = s.AddBoxes(&s.port, "Off");
        S::SwitchOff(S::HostsOf(off));
        const auto is_logged = [&] {
            LogCapture log;
            s.command.CheckForCardLimitOnStreams({s.block.GetHandle(), off.GetHandle()}, s.port.GetHandle());
            return testing::Value(
                log.Take(), Contains(HasSubstr("iptv Error: Card Limit on Number of streams Exceeded.")));
        };
        EXPECT_FALSE(is_logged()) << "no limit is known";
        for (const core::RcmValue& none : {core::RcmValue{std::int64_t{-7}}, core::RcmValue{512.0}}) {
            set("", none);
            EXPECT_FALSE(is_logged());
        }
        set("", row.streams);
        EXPECT_EQ(is_logged(), row.streams > kLargest);
        set("", std::min(row.streams - 1, kLargest));
        EXPECT_TRUE(is_logged());
        set("Port 1", kLargest);
        EXPECT_EQ(is_logged(), row.streams > kLargest) << "the port's own comes first";
        capabilities.Clear();
    }
}

}  // namespace
