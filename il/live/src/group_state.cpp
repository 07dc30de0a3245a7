#include "group_state.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace orv::live {

bool GroupState::change(FilterMode mode, std::vector<IpAddress> sources, std::uint8_t robustness) {
    if (mode == mode_ && sources == sources_) return false;
    if (mode != mode_) {
        // The reports of the new mode include all sources, and are as many as any source has
        // left.
        mode_reports_ = robustness;
        changed_sources_.clear();
    } else {
        std::vector<IpAddress> changed;
        std::ranges::set_symmetric_difference(sources_, sources, std::back_inserter(changed));
        for (const IpAddress& source : changed) {
            const auto at = std::ranges::lower_bound(changed_sources_, source, {}, &ChangedSource::source);
            if (at != changed_sources_.end() && at->source == source) {
                at->reports = robustness;
            } else {
                changed_sources_.insert(at, {source, robustness});
            }
        }
    }
    mode_ = mode;
    sources_ = std::move(sources);
    return true;
}

void GroupState::forget_changes() {
    mode_reports_ = 0;
    changed_sources_.clear();
}

std::vector<GroupState::Record> GroupState::take_changes() {
    std::vector<Record> records;
    if (mode_reports_ > 0) {
        --mode_reports_;
        const bool include = mode_ == FilterMode::Include;
        records.push_back({include ? RecordType::ChangeToInclude : RecordType::ChangeToExclude, sources_});
    } else {
        Record allow{RecordType::AllowNewSources, {}};
        Record block{RecordType::BlockOldSources, {}};
        for (const ChangedSource& changed : changed_sources_) {
            const bool listed = std::ranges::binary_search(sources_, changed.source);
            (listed == (mode_ == FilterMode::Include) ? allow : block).sources.push_back(changed.source);
        }
        for (Record* record : {&allow, &block}) {
            if (!record->sources.empty()) records.push_back(std::move(*record));
        }
    }
    for (ChangedSource& changed : changed_sources_) --changed.reports;
    std::erase_if(changed_sources_, [](const ChangedSource& changed) { return changed.reports == 0; });
    return records;
}

GroupState::Record GroupState::current() const {
    const bool include = mode_ == FilterMode::Include;
    return {include ? RecordType::ModeIsInclude : RecordType::ModeIsExclude, sources_};
}

GroupState::Record GroupState::answer_about(std::span<const IpAddress> queried) const {
    Record record{RecordType::ModeIsInclude, {}};
    if (mode_ == FilterMode::Include) {
        std::ranges::set_intersection(sources_, queried, std::back_inserter(record.sources));
    } else {
        std::ranges::set_difference(queried, sources_, std::back_inserter(record.sources));
    }
    return record;
}

}  // namespace orv::live
