// The rules for viewed-channel ranges.
#include "orv/core/network_block.h"
#include "validation_fixture.h"

namespace testing_aids {
namespace {

namespace Id = ids::IptvViewedChannels;

void Check(const std::vector<ValidationCase>& cases) {
    CheckCases(&iptv::CIptvViewedChannels::OnValidateViewedChannels, cases);
}

const std::string kStep = " : ChannelRangeStep cannot be 0.";
const std::string kOverlap =
    " : Viewed channels associated with a block of set top boxes cannot have overlapping channel numbers";
const std::string kBackwards = " : Channel Range Start must be less than or equal to Channel Range End";
const std::string kShort =
    " : (Channel Range Start + Channel Range Step) should be lower than Channel Range End";
const std::string kOutside =
    " : Channel Range should be a subset of a global block of channels specified in ChannelBlock";
const std::string kInitialStep = " : Initial Channel Step must be a multiple of channel range step";
const std::string kUneven =
    " : Channel Range End must be such that Channel Range Start + integer*Channel Range Step = Channel Range "
    "End ";
const std::string kNoBlock = " : There is no IptvChannelBlock associated with the IptvViewedChannel";
const std::string kBadBlock = " : ChannelBlock parameter is not associated with a valid IptvChannelBlock";

Report In(const std::string& range, const std::string& text) {
    return {range, "In " + range + text};
}
std::string TooLow(const std::string& initial, const std::string& start) {
    return " : Initial Channel Start ( " + initial +
           " ) should be greater than or equal to Channel Range Start (" + start + ")";
}
std::string TooHigh(const std::string& initial, const std::string& end) {
    return " : Initial Channel Start (" + initial + ") should be less than or equal to ChannelRangeEnd (" +
           end + ")";
}
std::string TooFar(const std::string& step, const std::string& span) {
    return " : Initial Channel Step (" + step +
           ") should be less than or equal to  Channel Range End-Channel Range Start (" + span + ")";
}

TEST(ViewedChannelsValidation, EachRuleHasItsLimit) {
    const struct {
        std::uint32_t start, end, step, initial, initial_step;
        std::vector<std::string> texts;
    } rows[] = {
        {5, 24, 1, 5, 1, {}},
        {5, 14, 3, 8, 3, {}},
        {5, 14, 3, 5, 0, {}},
        {5, 14, 0, 0, 99, {kStep}},
        {5, 14, 2, 5, 2, {kUneven}},
        {5, 14, 3, 5, 2, {kInitialStep}},
        {5, 14, 1, 4, 1, {TooLow("4", "5")}},
        {5, 14, 1, 14, 1, {}},
        {5, 14, 1, 15, 1, {TooHigh("15", "14")}},
        {5, 14, 1, 5, 9, {}},
        {5, 14, 1, 5, 10, {TooFar("10", "9")}},
        {5, 14, 9, 5, 0, {}},
        {5, 14, 10, 5, 0, {kShort, kUneven}},
        {8, 8, 1, 8, 0, {kShort}},
        {5, 5, 1, 5, 0, {kShort, kOutside}},
        {4, 14, 1, 5, 1, {kOutside}},
        {4, 5, 1, 4, 1, {kOutside}},
        {5, 25, 1, 5, 1, {kOutside}},
        {24, 25, 1, 24, 1, {kOutside}},
        {25, 30, 1, 25, 1, {kOutside}},
        {9, 8, 1, 9, 1, {kBackwards, kShort, TooHigh("9", "8")}},
        {30,
         20,
         4,
         25,
         3,
         {kBackwards, kShort, kOutside, kInitialStep, TooLow("25", "30"), TooHigh("25", "20"), kUneven}},
        {5, 8, 2, 20, 7, {kInitialStep, TooHigh("20", "8"), TooFar("7", "3"), kUneven}},
        // 5 + 4294967295 is 4 in 32 bits.
        {5, 14, 4294967295, 5, 0, {kUneven}},
        {4294967290, 4294967295, 1, 4294967290, 1, {kOutside}},
    };
    for (const auto& row : rows) {
        Reports reports;
        for (const std::string& text : row.texts) reports.push_back(In("Range", text));
        Check({{std::to_string(row.start) + " to " + std::to_string(row.end) + " step " +
                    std::to_string(row.step),
                [&row](Scene& s) {
                    s.channels.Set(ids::IptvChannelBlock::ChannelStart, 5u);
                    TestProject::GroupOf(s.channels).GetNetworkBlock()->SetNetworkCount(20);
                    s.range.Set(Id::ChannelRangeStart, row.start);
                    s.range.Set(Id::ChannelRangeEnd, row.end);
                    s.range.Set(Id::ChannelRangeStep, row.step);
                    s.range.Set(Id::InitialChannelStart, row.initial);
                    s.range.Set(Id::InitialChannelStep, row.initial_step);
                },
                reports}});
    }
}

/// Another range that the scene's block views too.
iptv::CIptvViewedChannels& AddRange(Scene& s, const std::string& name, std::uint32_t start,
                                    std::uint32_t end) {
    auto& range = s.project.MakeRange(s.channels, start, end, name);
    TestProject::Relate(s.block, range, ids::relations::StbChannel);
    return range;
}

TEST(ViewedChannelsValidation, RangesOfABlockDoNotOverlap) {
    const auto extend = [](Scene& s) {
        TestProject::GroupOf(s.channels).GetNetworkBlock()->SetNetworkCount(40);
    };
    Check({
        {"one ends where the next begins", [&](Scene& s) { extend(s), AddRange(s, "Next", 10, 20); }, {}},
        {"one more in common",
         [&](Scene& s) { extend(s), AddRange(s, "Next", 9, 20); },
         {In("Next", kOverlap)}},
        {"ascending, whatever the order of creation",
         [&](Scene& s) {
             extend(s);
             AddRange(s, "Last", 18, 30);
             AddRange(s, "Next", 9, 20);
         },
         {In("Next", kOverlap), In("Last", kOverlap)}},
        {"each is compared with the end of the one before",
         [&](Scene& s) {
             AddRange(s, "Inner", 3, 5);
             AddRange(s, "Next", 6, 9);
         },
         {In("Inner", kOverlap)}},
        {"ranges of different blocks may",
         [](Scene& s) {
             auto& other = s.project.MakeRange(s.channels, 4, 8, "Other");
             s.project.MakeStbBlock(s.device, s.profile, {&other});
         },
         {}},
        {"a range that is off is one of the block's all the same",
         [&](Scene& s) {
             auto& off = AddRange(s, "Off", 3, 5);
             SwitchOff(off);
             off.Set(Id::ChannelBlock, 0u);
         },
         {In("Off", kOverlap)}},
        {"a deleted one is not", [](Scene& s) { Remove(AddRange(s, "Gone", 3, 5)); }, {}},
        {"a step of 0 ends the validation",
         [&](Scene& s) {
             AddRange(s, "Nil", 8, 9).Set(Id::ChannelRangeStep, 0u);
             AddRange(s, "Last", 8, 10);
             s.range.Set(Id::InitialChannelStart, 0u);
             s.AddBoxes(&s.port, "More");
         },
         {In("Range", TooLow("0", "1")), In("Nil", kStep)}},
    });
}

TEST(ViewedChannelsValidation, OnlyWhatIsUsedIsChecked) {
    const auto spoil = [](Scene& s) { s.range.Set(Id::InitialChannelStart, 0u); };
    const Report wrong = In("Range", TooLow("0", "1"));
    Check({
        {"for each block that views it",
         [&](Scene& s) { spoil(s), s.AddBoxes(&s.port, "More"); },
         {wrong, wrong}},
        {"by nobody", [&](Scene& s) { spoil(s), Remove(s.block); }, {}},
        {"by a block that is off", [&](Scene& s) { spoil(s), SwitchOff(s.block); }, {}},
        {"by a device that is off", [&](Scene& s) { spoil(s), SwitchOff(s.device); }, {}},
        {"channels that are off", [](Scene& s) { SwitchOff(s.channels); }, {In("Range", kOutside)}},
        {"channels that are destroyed",
         [](Scene& s) { Remove(s.channels), s.project.Settle(); },
         {In("Range", kBadBlock), In("Range", kOutside)}},
        {"made for no channels, before the rules of the blocks",
         [&](Scene& s) {
             spoil(s);
             s.range.Set(Id::ChannelBlock, 0u);
             s.project.MakeRange(s.channels, 1, 2, "Idle").Set(Id::ChannelBlock, s.port.GetHandle());
         },
         {In("Range", kNoBlock), In("Idle", kBadBlock), wrong}},
        {"made for other channels than it lies in",
         [](Scene& s) {
             s.range.Set(Id::ChannelBlock, s.project.MakeChannelBlock("Sports", 50, 5).GetHandle());
         },
         {}},
    });
}

TEST(ViewedChannelsValidation, NothingChangesUnderATest) {
    const auto unlink = [](Scene& s) { s.range.Set(Id::ChannelBlock, 0u); };
    Check({
        {"no change", [](Scene& s) { s.StartTest(); }, {}},
        {"changed, and wrong as well",
         [&](Scene& s) { s.StartTest(), unlink(s); },
         {{"Range", kChangeUnderTest}, In("Range", kNoBlock)}},
        {"deleted",
         [&](Scene& s) { unlink(s), s.StartTest(), Remove(s.range); },
         {{"Range", kChangeUnderTest}}},
        {"off and changed", [&](Scene& s) { SwitchOff(s.range), s.StartTest(), unlink(s); }, {}},
        {"off and deleted", [](Scene& s) { SwitchOff(s.range), s.StartTest(), Remove(s.range); }, {}},
        {"deleted without a test", [&](Scene& s) { unlink(s), Remove(s.range); }, {}},
    });
}

TEST(ViewedChannelsValidation, WhatIsOfAnotherClassEndsTheValidation) {
    const std::string in = " in CIptvViewedChannels::OnValidateViewedChannels";
    const auto add_after = [](Scene& s) { s.AddBoxes(&s.port, "More"); };
    const auto spoil = [](Scene& s) { s.range.Set(Id::InitialChannelStart, 0u); };
    const Report wrong = In("Range", TooLow("0", "1"));
    Check({
        {"device",
         [&](Scene& s) {
             spoil(s);
             s.MakeOdd(0x7f112000, "EmulatedDevice", s.project.Root());
             add_after(s);
         },
         {wrong},
         "EmulatedDevice from EmulatedDeviceIterator" + in,
         "EmulatedDevice."},
        {"STB block",
         [&](Scene& s) {
             spoil(s);
             s.MakeOdd(0x7f113000, "IptvStbBlockConfig", s.device);
             add_after(s);
         },
         {wrong},
         "IptvStbBlockConfig from StbIterator" + in,
         "IptvStbBlockConfig associated with Hosts"},
        {"range",
         [&](Scene& s) {
             spoil(s);
             CScriptable& odd = s.MakeOdd(0x7f114000, "IptvViewedChannels", s.project.Root());
             odd.Set(Id::ChannelRangeStart, 5u);
             TestProject::Relate(s.block, odd, ids::relations::StbChannel);
             add_after(s);
         },
         {wrong},
         "IptvViewedChannels from ChannelIterator" + in,
         "IptvViewedChannels associated with Boxes"},
        {"no group",
         [](Scene& s) {
             s.channels.RemoveObject(TestProject::GroupOf(s.channels), ids::relations::MulticastParam);
         },
         {},
         "MulticastGroup from IptvChannelBlock in CIptvViewedChannels::CmpViewedChannels",
         "MulticastGroup associated with News"},
    });
}

}  // namespace
}  // namespace testing_aids
