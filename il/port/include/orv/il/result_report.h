// Collects event records by STB block.
#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <vector>

#include "msgset/iptvcd_1.h"

namespace orv::il {

/// The records of a running test, for the thread of the timeline. Memory of the records is kept from one
/// report to the next.
class ResultReport {
  public:
    using Blocks = std::vector<iptvcd_1_bll::stblock_event_s>;
    using Deliver = std::function<void(const Blocks&)>;

    /// Number of records at which a report is sent early; limits memory and message size.
    static constexpr std::size_t kMostRecords = 50'000;

    explicit ResultReport(Deliver deliver) : deliver_(std::move(deliver)) {}

    /// A new test with these blocks (IL handles); drops what was collected.
    void begin(const std::vector<std::uint32_t>& handles);
    /// Records of other blocks are no longer collected.
    void set_registered(std::set<std::uint32_t> handles);

    /// A record to fill in, by position of the block; only its number is set. The reference is valid until
    /// the next call. Records of unregistered blocks are discarded.
    iptvcd_1_bll::stbox_event_s& add_event(std::size_t block);
    iptvcd_1_bll::stbox_event_rrr_s& add_rrr_event(std::size_t block);

    bool is_full() const { return collected_ >= kMostRecords; }
    /// Delivers the blocks that have records, in the order of the test; nothing when there are none.
    void deliver();

  private:
    struct Block {
        iptvcd_1_bll::stblock_event_s records;
        std::uint64_t events = 0;  ///< number of events so far
        std::uint64_t rrr_events = 0;
        bool registered = false;
    };
    void mark_registered();

    Deliver deliver_;
    std::set<std::uint32_t> registered_;
    std::vector<Block> blocks_;
    Blocks outgoing_;
    std::size_t collected_ = 0;
    iptvcd_1_bll::stbox_event_s unwanted_event_;
    iptvcd_1_bll::stbox_event_rrr_s unwanted_rrr_event_;
};

}  // namespace orv::il
