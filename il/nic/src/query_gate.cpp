#include "query_gate.h"

#include <algorithm>

namespace orv::nic {

bool QueryGate::lets_pass(const live::MembershipQuery& query, il::Time now) {
    if (has_passed_ && now - passed_ < kInterval && query.version == version_ &&
        query.max_response_time >= max_response_time_)
        return false;
    const il::Time from = std::max(used_until_, now);
    if (from - now > kMostAhead) return false;
    used_until_ = from + kInterval;
    has_passed_ = true;
    passed_ = now;
    version_ = query.version;
    max_response_time_ = query.max_response_time;
    return true;
}

}  // namespace orv::nic
