#include "fault_injector.h"

namespace orv::il {

using Kind = Fault::Kind;

FaultInjector::FaultInjector(FaultSchedule schedule) {
    for (Fault& fault : schedule) waiting_.push_back({std::move(fault)});
}

FaultInjector::OnRequest FaultInjector::on_request(const std::string& operation) {
    OnRequest result;
    for (Waiting& waiting : waiting_) {
        const Fault& fault = waiting.fault;
        const bool of_notifications = fault.kind == Kind::GoOffline && fault.request.empty();
        if (of_notifications || (!fault.request.empty() && fault.request != operation)) continue;
        bool* const what = fault.kind == Kind::Refuse         ? &result.refuse
                           : fault.kind == Kind::LoseResponse ? &result.lose_response
                           : fault.kind == Kind::GoOffline    ? &result.go_offline
                                                              : nullptr;
        if (what && is_due(waiting)) *what = true;
    }
    return result;
}

FaultInjector::OnNotification FaultInjector::on_notification(bool is_results) {
    OnNotification result;
    for (Waiting& waiting : waiting_) {
        const Fault& fault = waiting.fault;
        if (fault.kind == Kind::GoOffline && fault.request.empty()) {
            result.go_offline |= is_due(waiting);
        } else if (fault.kind == Kind::SpoilNotification && is_results) {
            result.spoil |= is_due(waiting);
        }
    }
    return result;
}

FaultInjector::OnEndOfTest FaultInjector::on_end_of_test() {
    OnEndOfTest result;
    for (Waiting& waiting : waiting_) {
        switch (waiting.fault.kind) {
            case Kind::MissEndOfTest:
                result.miss |= is_due(waiting);
                break;
            case Kind::RepeatEndOfTest:
                result.repeat |= is_due(waiting);
                break;
            case Kind::LateEndOfTest:
                if (is_due(waiting)) result.delay_ms += waiting.fault.delay_ms;
                break;
            default:
                break;
        }
    }
    return result;
}

}  // namespace orv::il
