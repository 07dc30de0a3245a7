#include "replay_run.h"

namespace orv::il {

ReplayRun::ReplayRun(const RunPlan& plan, const Recording& recording, Time start, ResultReport& report)
    : recording_(recording), report_(report), start_(start), end_(start + plan.duration()) {
    std::vector<std::uint32_t> handles;
    for (const PlannedBlock& block : plan.blocks) {
        positions_[block.config.stblock_handle] = handles.size();
        handles.push_back(block.config.stblock_handle);
    }
    report.begin(handles);
}

void ReplayRun::run_to(Time time) {
    for (; next_ < recording_.size() && start_ + recording_[next_].after_start.count() <= time; ++next_)
        report(recording_[next_]);
}

Time ReplayRun::finish(Time) {
    for (; next_ < recording_.size(); ++next_) report(recording_[next_]);
    return kNever;
}

void ReplayRun::report(const RecordedReport& recorded) {
    for (const auto& block : recorded.blocks) {
        const auto position = positions_.find(block.stblock_handle);
        if (position == positions_.end()) continue;
        for (const auto& event : block.events) report_.add_event(position->second) = event;
        for (const auto& event : block.rrr_events) report_.add_rrr_event(position->second) = event;
    }
    if (report_.is_full()) report_.deliver();
}

}  // namespace orv::il
