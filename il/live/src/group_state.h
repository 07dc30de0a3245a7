// The membership state of one host for one group, and its pending reports.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "orv/live/membership_message.h"

namespace orv::live {

/// The reception state of RFC 3376 sections 3.2 and 5, RFC 3810 sections 4.2 and 6, which call "no member"
/// INCLUDE without sources. Lists of sources are sorted and without duplicates.
class GroupState {
  public:
    struct Record {
        RecordType type;
        std::vector<IpAddress> sources;
    };

    bool is_member() const { return mode_ == FilterMode::Exclude || !sources_.empty(); }

    /// Sets a new state, and schedules its changes for `robustness` state-change reports. False if nothing
    /// has changed.
    bool change(FilterMode mode, std::vector<IpAddress> sources, std::uint8_t robustness);
    bool has_untold_changes() const { return mode_reports_ > 0 || !changed_sources_.empty(); }
    void forget_changes();
    /// The contents of the next state-change report, which counts as sent.
    std::vector<Record> take_changes();

    /// For the answer to a general or group-specific query.
    Record current() const;
    /// For the answer to a group-and-source-specific query; if it has no sources, none is sent.
    Record answer_about(std::span<const IpAddress> queried) const;

  private:
    struct ChangedSource {
        IpAddress source;
        std::uint8_t reports;
    };

    FilterMode mode_ = FilterMode::Include;
    /// Number of further reports with the whole state, because the mode has changed.
    std::uint8_t mode_reports_ = 0;
    std::vector<IpAddress> sources_;
    /// Added and removed sources, with the number of further reports that must contain them; sorted.
    std::vector<ChangedSource> changed_sources_;
};

}  // namespace orv::live
