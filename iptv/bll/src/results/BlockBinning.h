// Routes the events of STB blocks to the results that they feed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "config/ChannelBlockIndex.h"
#include "msgset/iptvcd_1.h"
#include "msgset/packed_records.h"
#include "results/ChannelMap.h"
#include "results/EventRows.h"
#include "results/IptvTotalResults.h"

namespace orv::core {
class CPort;
}

namespace orv::iptv {

class CIptvChannelResults;
class CIptvPortResults;
class CIptvResultsManager;
class CIptvStbBlockConfig;
class CIptvStbBlockResults;
class CIptvViewedChannels;
class CIptvViewingProfileConfig;
class CIptvViewingProfileResults;
using iptvcd_1_bll::stbox_event_rrr_s;
using iptvcd_1_bll::stbox_event_s;

/// Handles one notification. Everything that events need is looked up once per block. Throws COrvLogicError
/// if a result object cannot be created.
class BlockBinning {
  public:
    explicit BlockBinning(CIptvResultsManager& manager);

    using Views = msgset::Packed_records<stbox_event_s>;
    using Retransmissions = msgset::Packed_records<stbox_event_rrr_s>;

    /// The events of one block, by its handle. Skips inactive and deleted blocks, and, after logging, blocks
    /// that are unknown or incomplete.
    void Bin(std::uint32_t handle, const Views& views, const Retransmissions& retransmissions);

  private:
    struct Range {
        CIptvViewedChannels* range;
        CIptvChannelResults* results;
        distributions::DistributionSet* distributions;
    };

    bool Prepare(std::uint32_t handle);
    bool Prepare(CIptvStbBlockConfig& block);
    bool FindProfile(const CIptvStbBlockConfig& block);
    void NoteProtocol(const CIptvStbBlockConfig& block);
    bool FindPort(const CIptvStbBlockConfig& block);
    void FindRanges(const CIptvStbBlockConfig& block);

    /// `count` of each from number `first` on, as far as there are any.
    void BinBatch(const Views& views, const Retransmissions& retransmissions, std::size_t first,
                  std::size_t count);
    void BinView(const stbox_event_s& ev);
    void BinRetransmission(const stbox_event_rrr_s& ev);
    const EventRowWriter& FindOrMakeRowWriter();
    distributions::ViewSink MakeSink(const Range& range, std::int64_t ticks);
    void RollUp();

    CIptvResultsManager& manager_;
    const ChannelBlockIndex channel_blocks_;
    CIptvStbBlockConfig* block_ = nullptr;
    CIptvStbBlockResults* block_results_ = nullptr;
    CIptvViewingProfileConfig* profile_ = nullptr;
    CIptvViewingProfileResults* profile_results_ = nullptr;
    CIptvPortResults* port_results_ = nullptr;
    distributions::DistributionSet* block_distributions_ = nullptr;
    distributions::TimeSeries* series_ = nullptr;  ///< of the port
    std::uint32_t join_threshold_ms_ = 0;
    bool makes_rows_ = false;
    bool rows_are_observed_ = false;  ///< somebody is told of each: they are objects from the beginning
    ViewContext context_;
    std::vector<Range> ranges_;
    ChannelMap channels_;
    std::optional<EventRowWriter> row_writer_;
    Views::Buffer view_buffer_;
    Retransmissions::Buffer retransmission_buffer_;
};

}  // namespace orv::iptv
