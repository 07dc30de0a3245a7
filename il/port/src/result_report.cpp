#include "orv/il/result_report.h"

#include <utility>

namespace orv::il {

void ResultReport::begin(const std::vector<std::uint32_t>& handles) {
    blocks_.clear();
    collected_ = 0;
    for (const std::uint32_t handle : handles) blocks_.emplace_back().records.stblock_handle = handle;
    mark_registered();
}

void ResultReport::set_registered(std::set<std::uint32_t> handles) {
    registered_ = std::move(handles);
    mark_registered();
}

void ResultReport::mark_registered() {
    for (Block& block : blocks_) block.registered = registered_.contains(block.records.stblock_handle);
}

iptvcd_1_bll::stbox_event_s& ResultReport::add_event(std::size_t block) {
    Block& to = blocks_[block];
    ++to.events;
    if (!to.registered) return unwanted_event_ = {};
    ++collected_;
    auto& event = to.records.events.emplace_back();
    event.event_number = to.events;
    return event;
}

iptvcd_1_bll::stbox_event_rrr_s& ResultReport::add_rrr_event(std::size_t block) {
    Block& to = blocks_[block];
    ++to.rrr_events;
    if (!to.registered) return unwanted_rrr_event_ = {};
    ++collected_;
    auto& event = to.records.rrr_events.emplace_back();
    event.event_number = to.rrr_events;
    return event;
}

void ResultReport::deliver() {
    if (collected_ == 0) return;
    collected_ = 0;
    // The records move to the outgoing list and back, so that their vectors keep their memory.
    std::vector<Block*> with_records;
    outgoing_.clear();
    for (Block& block : blocks_) {
        if (block.records.events.empty() && block.records.rrr_events.empty()) continue;
        with_records.push_back(&block);
        outgoing_.push_back(std::move(block.records));
    }
    deliver_(outgoing_);
    for (std::size_t i = 0; i < with_records.size(); ++i) {
        with_records[i]->records = std::move(outgoing_[i]);
        with_records[i]->records.events.clear();
        with_records[i]->records.rrr_events.clear();
    }
}

}  // namespace orv::il
