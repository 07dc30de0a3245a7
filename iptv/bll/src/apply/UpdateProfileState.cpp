// Sending viewing profiles.
#include "apply/ApplyRequests.h"
#include "config/IptvViewingProfileConfig.h"
#include "msgset/iptvcd_1.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace {

iptvcd_1_bll::profileConfig_s MakeRecord(const CIptvViewingProfileConfig& profile) {
    using namespace ids::IptvViewingProfileConfig;
    const auto ms = [&profile](framework::PropId id) {
        return static_cast<std::int32_t>(profile.GetU32(id));
    };
    iptvcd_1_bll::profileConfig_s record;
    record.profile_handle = profile.GetHandle();
    record.unicast_only = profile.GetBool(UnicastOnly);
    record.unicast_stay = profile.GetBool(UnicastStay);
    record.zap_behavior = profile.GetU8(ZapBehavior) == ids::ZapBehavior::ZAP_AND_VIEW
                              ? iptvcd_1_bll::ZapBehavior::ZAP_N_VIEW
                              : iptvcd_1_bll::ZapBehavior::ZAP_ONLY;
    // The numbers of these two enumerations are the same on both sides.
    record.zap_direction = static_cast<iptvcd_1_bll::ZapDirection>(profile.GetU8(ZapDirection));
    record.zap_interval_type = static_cast<iptvcd_1_bll::ZapIntervalType>(profile.GetU8(ZapIntervalType));
    record.zap_changes_before_view = profile.GetU32(ChangesBeforeView);
    record.view_duration = profile.GetU32(ViewDuration) * 1000;
    record.leave_to_join_delay = profile.GetSetTopLeaveJoinDelay();
    record.leave_to_leave_delay = profile.GetInterval();
    record.mcast_join_trigger_delay = ms(MulticastJoinTriggerDelay);
    record.unicast_leave_trigger_delay = ms(UnicastLeaveTriggerDelay);
    record.join_latency_threshold = ms(JoinLatencyThreshold);
    record.leave_latency_threshold = ms(LeaveLatencyThreshold);
    record.unicast_join_threshold = ms(UnicastJoinThreshold);
    record.unicast_leave_threshold = ms(UnicastLeaveThreshold);
    return record;
}

}  // namespace

bool FillProfiles(CIptvMsgSetCln& client, Message& message) {
    std::vector<iptvcd_1_bll::profileConfig_s> records;
    for (const auto* profile : client.GetFromApplyMap<CIptvViewingProfileConfig>(apply_key::kUpdateProfile))
        records.push_back(MakeRecord(*profile));
    if (records.empty()) return false;
    iptvcd_1_bll::create_req_UpdateProfile(&message, records, true);
    return true;
}

void NoteProfiles(CIptvMsgSetCln& client, Message* response) {
    iptvcd_1_bll::parse_resp_UpdateProfile(response);
    for (auto* profile : client.GetFromApplyMap<CIptvViewingProfileConfig>(apply_key::kUpdateProfile))
        profile->AddPortInVec(client.GetPortHandle());
}

}  // namespace orv::iptv
