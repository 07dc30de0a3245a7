// The rules for viewing profiles. All arithmetic is unsigned, 32 bits: where a difference would be negative
// it is a very large number instead, and the rule does not report.
#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/ConfigRules.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/framework/validation.h"
#include "orv/ids/iptv_ids.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::ValidationContext;
namespace ProfileId = ids::IptvViewingProfileConfig;

constexpr std::uint32_t kTick = 50;  ///< resolution of zap intervals, ms

void CheckProfile(ValidationContext& context, CIptvViewingProfileConfig& profile) {
    const auto report = [&](const std::string& text,
                            const std::source_location& where = std::source_location::current()) {
        ReportError(context, "In " + profile.GetName() + text, where);
    };
    const std::uint32_t interval = profile.GetInterval();
    const std::uint32_t delay = profile.GetSetTopLeaveJoinDelay();
    const std::uint32_t join = profile.GetU32(ProfileId::JoinLatencyThreshold);
    const std::uint32_t leave = profile.GetU32(ProfileId::LeaveLatencyThreshold);

    if (delay > interval - kTick) {
        report(" : Set Top Leave Join Delay must be less than or equal to Zap Interval - " +
               std::to_string(kTick) + " ms");
    }
    if (join > interval - delay) {
        report(
            " : Join Latency Threshold must be less than or equal to"
            " ( Zap Interval - Set Top Leave Join Delay ) ");
    }
    if (leave > 2 * interval)
        report(" : Leave Latency Threshold must be less than or equal to ( 2* Zap Interval ) ");
    if (interval % kTick != 0) report(" : Zap Interval should be a multiple of 50ms.");

    if (profile.GetU8(ProfileId::ZapBehavior) == ids::ZapBehavior::ZAP_AND_VIEW) {
        const std::uint32_t view = profile.GetU32(ProfileId::ViewDuration) * 1000;
        if (delay > view - kTick) {
            report(" : Set Top Leave Join Delay must be less than or equal to View Duration - " +
                   std::to_string(kTick) + " ms");
        }
        if (join > view - delay) {
            report(
                " : Join Latency Threshold must be less than or equal to"
                " ( View Duration - Set Top Leave Join Delay ) ");
        }
        if (leave > 2 * view)
            report(" : Leave Latency Threshold must be less than or equal to ( 2* View Duration ) ");
    }
    if (profile.GetU32(ProfileId::ChangesBeforeView) == 0)
        report(" : Changes Before View must be greater than or equal to 1");
    if (CIptvViewingProfileConfig::m_bTriggerDelayCheck &&
        profile.GetU32(ProfileId::UnicastLeaveTriggerDelay) == 0) {
        report(
            " : UnicastLeaveTriggerDelay must be non-zero when UnicastLeaveTrigger is "
            "UNICAST_JOIN_AND_DELAY.");
    }
}

}  // namespace

void CIptvViewingProfileConfig::OnValidateViewingProfile(ValidationContext& context) {
    framework::ScriptableVec profiles;
    context.GetCurrentObject()->GetObjects(profiles, CLASS_ID(), common::kParentChild);
    const bool running = RunningTest::IsRunning();
    for (CScriptable* object : profiles) {
        auto* profile = dynamic_cast<CIptvViewingProfileConfig*>(object);
        if (!profile || !profile->GetActive()) continue;
        const framework::ReportedObject about(context, *profile);
        if (running && (profile->IsDeleted() || profile->IsObjectDirty(false)))
            ReportChangeUnderTest(context, *profile);
        if (profile->IsDeleted()) continue;
        Trace([profile] { return "Validating IptvViewingProfileConfig " + profile->GetName(); });
        CheckProfile(context, *profile);
    }
}

}  // namespace orv::iptv
