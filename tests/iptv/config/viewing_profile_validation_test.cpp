// The rules for viewing profiles.
#include "validation_fixture.h"

namespace testing_aids {
namespace {

namespace Id = ids::IptvViewingProfileConfig;

void Check(const std::vector<ValidationCase>& cases) {
    CheckCases(&iptv::CIptvViewingProfileConfig::OnValidateViewingProfile, cases);
}

// The rules, in the order in which they are checked.
const Report kDelay{"Zap",
                    "In Zap : Set Top Leave Join Delay must be less than or equal to Zap Interval - 50 ms"};
const Report kJoin{"Zap",
                   "In Zap : Join Latency Threshold must be less than or equal to ( Zap Interval - Set Top "
                   "Leave Join Delay ) "};
const Report kLeave{"Zap",
                    "In Zap : Leave Latency Threshold must be less than or equal to ( 2* Zap Interval ) "};
const Report kTick{"Zap", "In Zap : Zap Interval should be a multiple of 50ms."};
const Report kDelayInView{
    "Zap", "In Zap : Set Top Leave Join Delay must be less than or equal to View Duration - 50 ms"};
const Report kJoinInView{
    "Zap",
    "In Zap : Join Latency Threshold must be less than or equal to ( View Duration - Set "
    "Top Leave Join Delay ) "};
const Report kLeaveInView{
    "Zap", "In Zap : Leave Latency Threshold must be less than or equal to ( 2* View Duration ) "};
const Report kChanges{"Zap", "In Zap : Changes Before View must be greater than or equal to 1"};
const Report kTrigger{"Zap",
                      "In Zap : UnicastLeaveTriggerDelay must be non-zero when UnicastLeaveTrigger is "
                      "UNICAST_JOIN_AND_DELAY."};

struct Values {
    std::uint32_t interval = 1000, delay = 0, join = 0, leave = 0;
    bool view = false;
    std::uint32_t duration = 0;
    std::uint32_t changes = 1;
    std::uint32_t trigger_delay = 100;
    bool trigger_check = false;

    void Put(Scene& s) const {
        s.profile.Set(Id::Interval, interval);
        s.profile.Set(Id::SetTopLeaveJoinDelay, delay);
        s.profile.Set(Id::JoinLatencyThreshold, join);
        s.profile.Set(Id::LeaveLatencyThreshold, leave);
        s.profile.Set(Id::ZapBehavior, std::uint8_t{view});
        s.profile.Set(Id::ViewDuration, duration);
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
        {{.interval = 0}, {}},
        {{.interval = 0, .join = 1, .leave = 1}, {kJoin, kLeave}},
        {{.interval = 0, .delay = 10, .join = 5000}, {}},
        {{.interval = 100, .delay = 200, .join = 5000}, {kDelay}},
        // Viewing counts only where it is asked for.
        {{.interval = 5000, .delay = 4950, .join = 50, .leave = 10000}, {}},
        {{.interval = 5000, .delay = 1950, .join = 50, .view = true, .duration = 2}, {}},
        {{.interval = 5000, .delay = 1951, .view = true, .duration = 2}, {kDelayInView}},
        {{.interval = 5000, .delay = 1500, .join = 500, .view = true, .duration = 2}, {}},
        {{.interval = 5000, .delay = 1500, .join = 501, .view = true, .duration = 2}, {kJoinInView}},
        {{.interval = 5000, .leave = 4000, .view = true, .duration = 2}, {}},
        {{.interval = 5000, .leave = 4001, .view = true, .duration = 2}, {kLeaveInView}},
        {{.view = true, .duration = 0}, {}},
        {{.join = 1, .leave = 1, .view = true, .duration = 0}, {kJoinInView, kLeaveInView}},
        // 4294968 s are 704 ms more than 32 bits hold.
        {{.delay = 655, .view = true, .duration = 4294968}, {kDelayInView}},
        {{.changes = 0}, {kChanges}},
        {{.view = true, .duration = 10, .changes = 0}, {kChanges}},
        {{.trigger_delay = 0}, {}},
        {{.trigger_delay = 1, .trigger_check = true}, {}},
        {{.trigger_delay = 0, .trigger_check = true}, {kTrigger}},
        {{.interval = 1025,
          .delay = 976,
          .join = 500,
          .leave = 5000,
          .view = true,
          .duration = 1,
          .changes = 0,
          .trigger_delay = 0,
          .trigger_check = true},
         {kDelay, kJoin, kLeave, kTick, kDelayInView, kJoinInView, kLeaveInView, kChanges, kTrigger}},
    };
    int number = 0;
    for (const auto& row : rows) {
        const auto put = [&row](Scene& s) { row.values.Put(s); };
        Check({{"row " + std::to_string(number++), put, row.reports}});
    }
}

TEST(ViewingProfileValidation, EachProfileIsCheckedInItsState) {
    const Values wrong{.interval = 1025, .changes = 0};
    Check({
        {"every profile, deleted ones not",
         [&](Scene& s) {
             wrong.Put(s);
             Remove(s.project.MakeProfile("Gone"));
             s.project.MakeProfile("Second").Set(Id::ChangesBeforeView, 0u);
         },
         {kTick, kChanges, {"Second", "In Second : Changes Before View must be greater than or equal to 1"}}},
        {"off", [&](Scene& s) { wrong.Put(s), SwitchOff(s.profile); }, {}},
        {"wrong and deleted", [&](Scene& s) { wrong.Put(s), Remove(s.profile); }, {}},
        {"of another class",
         [&](Scene& s) {
             s.MakeOdd(0x7f111000, "IptvViewingProfileConfig", s.project.Root()).Set(Id::Interval, 1u);
             wrong.Put(s);
         },
         {kTick, kChanges}},
        {"under a test, no change", [](Scene& s) { s.StartTest(); }, {}},
        {"under a test, wrong before it", [&](Scene& s) { wrong.Put(s), s.StartTest(); }, {kTick, kChanges}},
        {"under a test, changed",
         [&](Scene& s) { s.StartTest(), wrong.Put(s); },
         {{"Zap", kChangeUnderTest}, kTick, kChanges}},
        {"under a test, deleted",
         [&](Scene& s) { wrong.Put(s), s.StartTest(), Remove(s.profile); },
         {{"Zap", kChangeUnderTest}}},
        {"under a test, off and changed",
         [&](Scene& s) { SwitchOff(s.profile), s.StartTest(), wrong.Put(s); },
         {}},
        {"under a test, off and deleted",
         [&](Scene& s) { SwitchOff(s.profile), s.StartTest(), Remove(s.profile); },
         {}},
    });
}

}  // namespace
}  // namespace testing_aids
