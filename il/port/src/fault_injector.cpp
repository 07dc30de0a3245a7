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
        switch (fault.kind) {
            case Kind::Refuse:
                result.refuse |= is_due(waiting);
                break;
            case Kind::LoseResponse:
                result.lose_response |= is_due(waiting);
                break;
            case Kind::LateResponse:
                if (is_due(waiting)) result.delay_ms += fault.delay_ms;
                break;
            case Kind::RepeatResponse:
                result.repeat_response |= is_due(waiting);
                break;
            case Kind::GoOffline:
                result.go_offline |= is_due(waiting);
                break;
            default:
                break;
        }
    }
    return result;
}

FaultInjector::OnNotification FaultInjector::on_notification(bool is_results) {
    OnNotification result;
    for (Waiting& waiting : waiting_) {
        const Fault& fault = waiting.fault;
        if (!is_results && fault.kind != Kind::GoOffline) continue;
        switch (fault.kind) {
            case Kind::GoOffline:
                result.go_offline |= fault.request.empty() && is_due(waiting);
                break;
            case Kind::SpoilNotification:
                result.spoil |= is_due(waiting);
                break;
            case Kind::LoseNotification:
                result.lose |= is_due(waiting);
                break;
            case Kind::LateNotification:
                if (is_due(waiting)) result.delay_ms += fault.delay_ms;
                break;
            case Kind::RepeatNotification:
                result.repeat |= is_due(waiting);
                break;
            default:
                break;
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
