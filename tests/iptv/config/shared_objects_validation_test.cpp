// The rules for what set-top-box blocks share: channel blocks, ranges of viewed channels, and viewing
// profiles.
#include "validation_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using std::to_string;

constexpr auto kChannelBlocks = &iptv::CIptvChannelBlock::OnValidateChannelBlock;
constexpr auto kRanges = &iptv::CIptvViewedChannels::OnValidateViewedChannels;
constexpr auto kProfiles = &iptv::CIptvViewingProfileConfig::OnValidateViewingProfile;

Edit Extend(std::uint32_t channels) {
    return [=](Scene& s) { TestProject::GroupOf(s.channels).GetNetworkBlock()->SetNetworkCount(channels); };
}
/// Another range that the scene's block views too.
Edit View(const std::string& name, std::uint32_t start, std::uint32_t end) {
    return [=](Scene& s) {
        auto& range = s.project.MakeRange(s.channels, start, end, name);
        TestProject::Relate(s.block, range, relations::StbChannel);
    };
}
const Edit kMoreBoxes = [](Scene& s) { s.AddBoxes(&s.port, "More"); };
Edit MakeOdd(std::uint32_t id, const std::string& base) {
    return [=](Scene& s) { s.MakeOdd(id, base, s.project.Root()); };
}

Reports Overlap(const std::string& first, const std::string& second) {
    return {
        {second, "The channel numbers in " + first + " group and " + second +
                     " group overlap. The channel numbers specified in each channel block must be unique"}};
}
const Report kUdpPorts{"News",
                       "In News group : Channel Block cannot have any UdpDestinationPort outside the range "
                       "of 1 to 65535"};

Edit UdpPorts(std::uint32_t first, std::uint32_t step, std::uint32_t count) {
    return [=](Scene& s) {
        s.project.Put("News.UdpDestinationPort=" + to_string(first));
        s.project.Put("News.UdpDestinationPortStep=" + to_string(step));
        Extend(count)(s);
    };
}

TEST(ChannelBlockValidation, ChannelNumbersAreUniqueAndUdpPortsInRange) {
    const Edit sports = AddChannels("Sports", 5, 10);
    const Cases cases{
        {"valid", {}, {}},
        {"one in common", {AddChannels("Sports", 10, 10)}, Overlap("News", "Sports")},
        {"the same start, in order of creation", {AddChannels("Sports", 1, 1)}, Overlap("News", "Sports")},
        {"ascending starts, whatever the order of creation",
         {AddChannels("Films", 30, 2), AddChannels("Sports", 15, 16), "News.ChannelStart=20"},
         Overlap("Sports", "News")},
        {"starts have no sign", {AddChannels("Sports", 0x80000000, 1), AddChannels("Films", 11, 1)}, {}},
        {"each is compared with the end of the one before",
         {AddChannels("Sports", 5, 2), AddChannels("Films", 7, 10), AddChannels("Music", 16, 1)},
         {Overlap("News", "Sports")[0], Overlap("Films", "Music")[0]}},
        {"one that is off is passed over, but named",
         {AddChannels("Off", 5, 100), Off("Off"), AddChannels("Sports", 8, 10), AddChannels("Films", 18, 10)},
         Overlap("Off", "Sports")},
        {"unless it has no group",
         {AddChannels("Off", 4, 1), Off("Off"), Cut("Off", relations::MulticastParam), sports},
         Overlap("News", "Sports")},
        {"0 ends the validation",
         {sports, AddChannels("Nil", 0, 10), "Nil.UdpDestinationPort=0"},
         {{"Nil", "In Nil groupThe starting channel number cannot be 0."}}},
        {"unless the block is off or deleted",
         {AddChannels("Off", 0, 10), Off("Off"), AddChannels("Gone", 0, 10), Delete("Gone"), sports},
         Overlap("News", "Sports")},
        {"a deleted block's channels are free", {Delete("News"), sports}, {}},
        {"UDP port 0", {UdpPorts(0, 1, 1)}, {kUdpPorts}},
        {"UDP port 1 for all", {UdpPorts(1, 0, 10)}, {}},
        {"UDP port 65535 for all", {UdpPorts(65535, 0, 10)}, {}},
        {"UDP ports up to 65535", {UdpPorts(65000, 5, 108)}, {}},
        {"UDP ports beyond", {UdpPorts(65000, 5, 109)}, {kUdpPorts}}};
    CheckCases(kChannelBlocks, cases);
}

TEST(ChannelBlockValidation, WhatIsMissingEndsTheValidation) {
    const std::string in = " in CIptvChannelBlock::ValidateChannelBlock",
                      about = "In Validation of IptvChannelBlock";
    const Edit without_group = Cut("News", relations::MulticastParam), behind = AddChannels("Sports", 1, 5);
    const Edit without_addresses = [](Scene& s) {
        TestProject::GroupOf(s.channels).GetNetworkBlock()->MarkDelete(true, true);
    };
    const Cases cases{
        Throws({"News.ChannelName=World", without_group, behind}, "MulticastGroup from ChannelBlock" + in,
               about + ", the associated MulticastGroup could not be found. ",
               {{"News", "MulticastGroup associated with World could not be found. "}}),
        Throws({without_addresses, behind}, "NetworkBlock from MulticastGroup" + in,
               about + " News group, the NetworkBlock associated with MulticastGroup News group could not be "
                       "found. ",
               {{"News", "Network Block associated with News group could not be found. "}}),
        {"off: nothing is needed", {without_group, Off("News"), behind}, {}},
        Throws({MakeOdd(0x7f110000, "IptvChannelBlock")}, "IptvChannelBlock from ChannelBlockIterator" + in,
               "IptvChannelBlock. ")};
    CheckCases(kChannelBlocks, cases);
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

Report In(const std::string& object, const std::string& text) {
    return {object, "In " + object + text};
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
    } rows[] = {{5, 24, 1, 5, 1, {}},
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
                {5, 5, 1, 5, 0, {kShort, kOutside}},
                {4, 14, 1, 5, 1, {kOutside}},
                {5, 25, 1, 5, 1, {kOutside}},
                {9, 8, 1, 9, 1, {kBackwards, kShort, TooHigh("9", "8")}},
                {5, 8, 2, 20, 7, {kInitialStep, TooHigh("20", "8"), TooFar("7", "3"), kUneven}},
                // 5 + 4294967295 is 4 in 32 bits.
                {5, 14, 4294967295, 5, 0, {kUneven}},
                {4294967290, 4294967295, 1, 4294967290, 1, {kOutside}}};
    for (const auto& row : rows) {
        Reports reports;
        for (const std::string& text : row.texts) reports.push_back(In("Range", text));
        CheckCases(
            kRanges,
            {{to_string(row.start) + " to " + to_string(row.end) + " step " + to_string(row.step),
              {"News.ChannelStart=5", Extend(20), "Range.ChannelRangeStart=" + to_string(row.start),
               "Range.ChannelRangeEnd=" + to_string(row.end), "Range.ChannelRangeStep=" + to_string(row.step),
               "Range.InitialChannelStart=" + to_string(row.initial),
               "Range.InitialChannelStep=" + to_string(row.initial_step)},
              reports}});
    }
}

TEST(ViewedChannelsValidation, RangesOfABlockDoNotOverlap) {
    const Cases cases{{"one ends where the next begins", {Extend(40), View("Next", 10, 20)}, {}},
                      {"one more in common", {Extend(40), View("Next", 9, 20)}, {In("Next", kOverlap)}},
                      {"ascending, whatever the order of creation",
                       {Extend(40), View("Last", 18, 30), View("Next", 9, 20)},
                       {In("Next", kOverlap), In("Last", kOverlap)}},
                      {"each is compared with the end of the one before",
                       {View("Inner", 3, 5), View("Next", 6, 9)},
                       {In("Inner", kOverlap)}},
                      {"ranges of different blocks may",
                       {[](Scene& s) {
                           auto& other = s.project.MakeRange(s.channels, 4, 8, "Other");
                           s.project.MakeStbBlock(s.device, s.profile, {&other});
                       }},
                       {}},
                      {"a range that is off is one of the block's all the same",
                       {View("Off", 3, 5), Off("Off"), "Off.ChannelBlock=0"},
                       {In("Off", kOverlap)}},
                      {"a deleted one is not", {View("Gone", 3, 5), Delete("Gone")}, {}},
                      {"a step of 0 ends the validation",
                       {View("Nil", 8, 9), "Nil.ChannelRangeStep=0", View("Last", 8, 10),
                        "Range.InitialChannelStart=0", kMoreBoxes},
                       {In("Range", TooLow("0", "1")), In("Nil", kStep)}}};
    CheckCases(kRanges, cases);
}

TEST(ViewedChannelsValidation, OnlyWhatIsUsedIsChecked) {
    const Edit spoil("Range.InitialChannelStart=0");
    const Report wrong = In("Range", TooLow("0", "1"));
    const Cases cases{{"for each block that views it", {spoil, kMoreBoxes}, {wrong, wrong}},
                      {"by nobody", {spoil, Delete("Boxes")}, {}},
                      {"by a block that is off", {spoil, Off("Boxes")}, {}},
                      {"by a device that is off", {spoil, Off("Hosts")}, {}},
                      {"channels that are off", {Off("News")}, {In("Range", kOutside)}},
                      {"channels that are destroyed",
                       {Delete("News"), [](Scene& s) { s.project.Settle(); }},
                       {In("Range", kBadBlock), In("Range", kOutside)}},
                      {"made for no channels, before the rules of the blocks",
                       {spoil, "Range.ChannelBlock=0",
                        [](Scene& s) {
                            auto& idle = s.project.MakeRange(s.channels, 1, 2, "Idle");
                            idle.Set(ids::IptvViewedChannels::ChannelBlock, s.port.GetHandle());
                        }},
                       {In("Range", kNoBlock), In("Idle", kBadBlock), wrong}}};
    CheckCases(kRanges, cases);
}

TEST(ViewedChannelsValidation, WhatIsOfAnotherClassEndsTheValidation) {
    const std::string in = " in CIptvViewedChannels::OnValidateViewedChannels";
    const Edit odd_block = [](Scene& s) { s.MakeOdd(0x7f113000, "IptvStbBlockConfig", s.device); };
    const Edit odd_range = [](Scene& s) {
        CScriptable& odd = s.MakeOdd(0x7f114000, "IptvViewedChannels", s.project.Root());
        TestProject::Relate(s.block, odd, relations::StbChannel);
    };
    const Edit odd_device = MakeOdd(0x7f112000, "EmulatedDevice");
    const Cases cases{
        Throws({odd_device}, "EmulatedDevice from EmulatedDeviceIterator" + in, "EmulatedDevice."),
        Throws({odd_block}, "IptvStbBlockConfig from StbIterator" + in,
               "IptvStbBlockConfig associated with Hosts"),
        Throws({odd_range}, "IptvViewedChannels from ChannelIterator" + in,
               "IptvViewedChannels associated with Boxes"),
        Throws({Cut("News", relations::MulticastParam)},
               "MulticastGroup from IptvChannelBlock in CIptvViewedChannels::CmpViewedChannels",
               "MulticastGroup associated with News")};
    CheckCases(kRanges, cases);
}

// The rules for profiles, in the order in which they are checked.
const Report kDelay =
    In("Zap", " : Set Top Leave Join Delay must be less than or equal to Zap Interval - 50 ms");
const Report kJoin = In("Zap",
                        " : Join Latency Threshold must be less than or equal to"
                        " ( Zap Interval - Set Top Leave Join Delay ) ");
const Report kLeave =
    In("Zap", " : Leave Latency Threshold must be less than or equal to ( 2* Zap Interval ) ");
const Report kTick = In("Zap", " : Zap Interval should be a multiple of 50ms.");
const Report kDelayInView =
    In("Zap", " : Set Top Leave Join Delay must be less than or equal to View Duration - 50 ms");
const Report kJoinInView = In("Zap",
                              " : Join Latency Threshold must be less than or equal to"
                              " ( View Duration - Set Top Leave Join Delay ) ");
const Report kLeaveInView =
    In("Zap", " : Leave Latency Threshold must be less than or equal to ( 2* View Duration ) ");
const Report kChanges = In("Zap", " : Changes Before View must be greater than or equal to 1");
const Report kTrigger = In("Zap",
                           " : UnicastLeaveTriggerDelay must be non-zero when UnicastLeaveTrigger is"
                           " UNICAST_JOIN_AND_DELAY.");

struct Values {
    std::uint32_t interval = 1000, delay = 0, join = 0, leave = 0;
    std::optional<std::uint32_t> view = {};  ///< s
    std::uint32_t changes = 1, trigger_delay = 100;
    bool trigger_check = false;

    void operator()(Scene& s) const {
        namespace Id = ids::IptvViewingProfileConfig;
        s.profile.Set(Id::Interval, interval);
        s.profile.Set(Id::SetTopLeaveJoinDelay, delay);
        s.profile.Set(Id::JoinLatencyThreshold, join);
        s.profile.Set(Id::LeaveLatencyThreshold, leave);
        s.profile.Set(Id::ZapBehavior, std::uint8_t{view.has_value()});
        s.profile.Set(Id::ViewDuration, view.value_or(0));
        s.profile.Set(Id::ChangesBeforeView, changes);
        s.profile.Set(Id::UnicastLeaveTriggerDelay, trigger_delay);
        iptv::RunningTest::SetRules({.trigger_delay_check = trigger_check});
    }
};

TEST(ViewingProfileValidation, EachRuleHasItsLimit) {
    const struct {
        Values values;
        Reports reports;
    } rows[] = {
        {{}, {}},
        {{.delay = 950}, {}},
        {{.delay = 951}, {kDelay}},
        {{.delay = 200, .join = 800}, {}},
        {{.delay = 200, .join = 801}, {kJoin}},
        {{.leave = 2000}, {}},
        {{.leave = 2001}, {kLeave}},
        {{.interval = 1025}, {kTick}},
        {{.interval = 50, .join = 50, .leave = 100}, {}},
        // Differences that would be negative are very large numbers instead.
        {{.interval = 0, .join = 1, .leave = 1}, {kJoin, kLeave}},
        {{.interval = 0, .delay = 10, .join = 5000}, {}},
        {{.interval = 100, .delay = 200, .join = 5000}, {kDelay}},
        // Viewing counts only where it is asked for.
        {{.interval = 5000, .delay = 4950, .join = 50, .leave = 10000}, {}},
        {{.interval = 5000, .delay = 1950, .join = 50, .view = 2}, {}},
        {{.interval = 5000, .delay = 1951, .view = 2}, {kDelayInView}},
        {{.interval = 5000, .delay = 1500, .join = 500, .view = 2}, {}},
        {{.interval = 5000, .delay = 1500, .join = 501, .view = 2}, {kJoinInView}},
        {{.interval = 5000, .leave = 4000, .view = 2}, {}},
        {{.interval = 5000, .leave = 4001, .view = 2}, {kLeaveInView}},
        {{.join = 1, .leave = 1, .view = 0}, {kJoinInView, kLeaveInView}},
        // 4294968 s are 704 ms more than 32 bits hold.
        {{.delay = 655, .view = 4294968}, {kDelayInView}},
        {{.changes = 0}, {kChanges}},
        {{.trigger_delay = 0}, {}},
        {{.trigger_delay = 1, .trigger_check = true}, {}},
        {{.trigger_delay = 0, .trigger_check = true}, {kTrigger}},
        {{1025, 976, 500, 5000, 1, 0, 0, true},
         {kDelay, kJoin, kLeave, kTick, kDelayInView, kJoinInView, kLeaveInView, kChanges, kTrigger}}};
    int number = 0;
    for (const auto& row : rows)
        CheckCases(kProfiles, {{"row " + to_string(number++), {row.values}, row.reports}});
}

TEST(ViewingProfileValidation, ProfilesThatAreOffOrGoneAreNotChecked) {
    const Edit wrong("Zap.ChangesBeforeView=0");
    const Edit second = [](Scene& s) { s.project.MakeProfile("Second"); };
    const Edit gone = [](Scene& s) { s.project.MakeProfile("Gone"); };
    const Cases cases{
        {"every profile, deleted ones not",
         {wrong, gone, "Gone.ChangesBeforeView=0", Delete("Gone"), second, "Second.ChangesBeforeView=0"},
         {kChanges, In("Second", " : Changes Before View must be greater than or equal to 1")}},
        {"off", {wrong, Off("Zap")}, {}},
        {"of another class", {MakeOdd(0x7f111000, "IptvViewingProfileConfig"), wrong}, {kChanges}}};
    CheckCases(kProfiles, cases);
}

TEST(ValidationOfSharedObjects, NothingChangesUnderATest) {
    const struct {
        ValidatorFunction validator;
        std::string object;
        Edit wrong;
        Report report;
        bool though_off;  ///< changes count also where it is off
    } kinds[] = {{kChannelBlocks, "News", "News.UdpDestinationPort=0", kUdpPorts, true},
                 {kRanges, "Range", "Range.ChannelBlock=0", In("Range", kNoBlock), false},
                 {kProfiles, "Zap", "Zap.ChangesBeforeView=0", kChanges, false}};
    for (const auto& [validator, object, wrong, report, though_off] : kinds) {
        const Report changed{object, kChangeUnderTest};
        const Reports when_off = though_off ? Reports{changed} : Reports{};
        const Cases cases{{"no change, but wrong before it", {wrong, Start}, {report}},
                          {"changed, and wrong as well", {Start, wrong}, {changed, report}},
                          {"deleted: no further rule", {wrong, Start, Delete(object)}, {changed}},
                          {"off and changed", {Off(object), Start, wrong}, when_off},
                          {"off and deleted", {Off(object), Start, Delete(object)}, when_off},
                          {"deleted without a test", {wrong, Delete(object)}, {}}};
        CheckCases(validator, cases);
    }
}

}  // namespace
