#include "results/BlockBinning.h"

#include <algorithm>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/iptv_ids.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "results/IptvChannelResults.h"
#include "results/IptvEventResults.h"
#include "results/IptvPortResults.h"
#include "results/IptvResultsManager.h"
#include "results/IptvRrrEventResults.h"
#include "results/IptvStbBlockResults.h"
#include "results/IptvViewingProfileResults.h"
#include "results/ResultNodes.h"

namespace orv::iptv {

namespace {

void LogObjectError(const char* object, const char* from,
                    const char* operation = "CIptvResultsManager::BinManager") {
    LogResource(devLogger(), LogLevelType::Error, resource::kBadObjectError, {object, from, operation});
}

/// Tells the host that an update of a result is complete.
void EndUpdate(core::CResult& results, framework::PropId last_update, double now) {
    results.Set(last_update, now);
    results.UpdateFinished();
}

}  // namespace

BlockBinning::BlockBinning(CIptvResultsManager& manager)
    : manager_(manager), channel_blocks_(ChannelBlockIndex::OfProject()) {}

void BlockBinning::Bin(std::uint32_t handle, const Views& views, const Retransmissions& retransmissions) {
    Trace([&] {
        return "In BinManager: Num Events = " + std::to_string(views.size()) + " for block " +
               std::to_string(handle);
    });
    if (!Prepare(handle)) return;

    const std::size_t count = std::max(views.size(), retransmissions.size());
    const std::size_t limit = makes_rows_ ? manager_.GetRowLimit() : 0;
    if (limit == 0) return BinBatch(views, retransmissions, 0, count);
    // Long lists are split, so that the number of unsaved rows stays limited.
    for (std::size_t i = 0; i == 0 || i < count; i += limit) {
        // Saving rows may wait for the disk, and the configuration may change meanwhile.
        if (i > 0 && !Prepare(handle)) return;
        BinBatch(views, retransmissions, i, limit);
    }
}

bool BlockBinning::Prepare(std::uint32_t handle) {
    auto* block = dynamic_cast<CIptvStbBlockConfig*>(framework::CHandleRegistry::Instance().Find(handle));
    if (!block) {
        LogObjectError("IptvStbBlockConfig", "StbHnd got from IL in result events",
                       "CIptvResultsManager::CollectEventsFromIL");
        return false;
    }
    return block->GetActive() && !block->IsDeleted() && Prepare(*block);
}

bool BlockBinning::Prepare(CIptvStbBlockConfig& block) {
    block_ = &block;
    row_writer_.reset();
    auto* stbBlockResult = FindOrMakeResult<CIptvStbBlockResults>(block);
    ORV_ASSERT(stbBlockResult != NULL, "Failed to retrieve IptvStbBlockResults");
    block_results_ = stbBlockResult;
    const bool has_profile = FindProfile(block);
    NoteProtocol(block);
    if (!FindPort(block) || !has_profile) return false;
    auto* viewProfileResult = FindOrMakeResult<CIptvViewingProfileResults>(*profile_);
    ORV_ASSERT(viewProfileResult != NULL, "Failed to retrieve IptvViewingProfileResults");
    profile_results_ = viewProfileResult;
    FindRanges(block);
    auto& distributions = manager_.GetDistributions();
    const std::uint32_t port = port_results_->GetParent()->GetHandle();
    block_distributions_ = &distributions.FindOrMakeBlock(block.GetHandle(), profile_->GetHandle(), port).set;
    series_ = &distributions.FindOrMakeSeries(port);
    makes_rows_ = block.GetBool(ids::IptvStbBlockConfig::SaveTimeStamps);
    rows_are_observed_ = block.HasRelationObservers();
    context_ = {&manager_.GetPreviousViews(), block.GetBaseStbIndex(),
                profile_->GetU8(ids::IptvViewingProfileConfig::ZapIntervalType)};
    return true;
}

bool BlockBinning::FindProfile(const CIptvStbBlockConfig& block) {
    profile_ = dynamic_cast<CIptvViewingProfileConfig*>(
        block.GetObject(CIptvViewingProfileConfig::CLASS_ID(), ids::relations::IptvProfile));
    if (!profile_ || profile_->IsDeleted()) {
        LogObjectError("IptvViewingProfileConfig", "IptvStbBlockConfig");
        return false;
    }
    join_threshold_ms_ = profile_->GetU32(ids::IptvViewingProfileConfig::JoinLatencyThreshold);
    block_results_->SetT<std::string>(ids::IptvTotalResults::ProfileName, profile_->GetName());
    block_results_->Set(ids::IptvTotalResults::JoinLatencyThreshold, static_cast<double>(join_threshold_ms_));
    return true;
}

void BlockBinning::NoteProtocol(const CIptvStbBlockConfig& block) {
    const CScriptable* protocol = block.GetMcastCfg();
    if (!protocol || protocol->IsDeleted()) {
        LogObjectError("MulticastHostConfig", "IptvStbBlockConfig");
        return;
    }
    if (const auto* device = dynamic_cast<const core::CEmulatedDevice*>(protocol->GetParent())) {
        block_results_->Set(ids::IptvTotalResults::NumClients, device->GetDeviceCount());
    } else {
        LogObjectError("EmulatedDevice", "MulticastHostConfig");
    }
    if (protocol->IsTypeOf(igmpmld::CIgmpHostConfig::CLASS_ID())) manager_.NoteIpv4();
    if (protocol->IsTypeOf(igmpmld::CMldHostConfig::CLASS_ID())) manager_.NoteIpv6();
}

bool BlockBinning::FindPort(const CIptvStbBlockConfig& block) {
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    core::CPort* port = device && !device->IsDeleted() ? device->GetPort() : nullptr;
    if (!port || port->IsDeleted()) {
        LogObjectError(device ? "Port" : "EmulatedDevice", device ? "EmulatedDevice" : "IptvStbBlockConfig");
        return false;
    }
    auto* portResult = FindOrMakeResult<CIptvPortResults>(*port);
    ORV_ASSERT(portResult != NULL, "Failed to retrieve IptvPortResults");
    port_results_ = portResult;
    return true;
}

void BlockBinning::FindRanges(const CIptvStbBlockConfig& block) {
    ranges_.clear();
    channels_.Clear();
    ScriptableVec objects;
    block.GetObjects(objects, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
    for (CScriptable* object : objects) {
        auto* range = dynamic_cast<CIptvViewedChannels*>(object);
        if (!range) {
            LogObjectError("IptvViewedChannels", "IptvStbBlockConfig");
            continue;
        }
        if (!range->GetActive() || range->IsDeleted()) continue;
        auto* chanResult = FindOrMakeResult<CIptvChannelResults>(*range);
        ORV_ASSERT(chanResult != NULL, "Failed to retrieve IptvChannelResults");
        if (const auto* channel_block = range->GetChannelBlockForViewChan(channel_blocks_)) {
            chanResult->SetT<std::string>(ids::IptvChannelResults::ChannelName,
                                          channel_block->GetChannelName());
            chanResult->Set(ids::IptvChannelResults::NumOfChannels,
                            range->GetChannelRangeEnd() + 1 - range->GetChannelRangeStart());
        }
        ranges_.push_back(
            {range, chanResult, &manager_.GetDistributions().FindOrMakeRange(range->GetHandle())});
        channels_.Add(range->GetChannelRangeStart(), range->GetChannelRangeEnd());
    }
    channels_.Build();
}

const EventRowWriter& BlockBinning::FindOrMakeRowWriter() {
    if (!row_writer_) row_writer_.emplace(*block_);
    return *row_writer_;
}

distributions::ViewSink BlockBinning::MakeSink(const Range& range, std::int64_t ticks) {
    distributions::ValueLog& log = manager_.GetDistributions().GetLog();
    if (log.IsFull()) log.Drain(*block_distributions_);
    distributions::Interval* interval = series_->Find(ticks);
    if (!interval && series_->IsPlausible(ticks)) {
        log.Drain(*block_distributions_);  // refers to intervals that may move
        interval = series_->FindOrMake(ticks);
    }
    return {log, *range.distributions, interval};
}

void BlockBinning::BinView(const stbox_event_s& ev) {
    const std::size_t range = channels_.Find(ev.viewed_channel);
    if (range == ChannelMap::kNone) {
        LogText(devLogger(), LogLevelType::Error, "Channel Number obtained from IL cannot be found in BLL");
        return;
    }
    const auto add = [&](auto&& row) {
        distributions::ViewSink sink = MakeSink(ranges_[range], CIptvEventResults::GetFirstAnyJoinTs(ev));
        ranges_[range].results->CalcLatencies(ev, row, join_threshold_ms_, &sink);
        block_results_->BinEvent(ev, row, context_, &sink);
    };
    if (!makes_rows_) return add(static_cast<CIptvEventResults*>(nullptr));
    const EventRowWriter& writer = FindOrMakeRowWriter();
    if (!rows_are_observed_) {
        core::PackedRow row = manager_.AddEventRows().AddView(block_->GetHandle());
        writer.CopyResultFromILEventToBLLClass(ev, row);
        return add(row);
    }
    auto* eventResult = FindOrMakeResult<CIptvEventResults>(*block_, false, false);
    ORV_ASSERT(eventResult != NULL, "Failed to create IptvEventResults");
    manager_.AddEventRows().AddObject(*eventResult);
    writer.CopyResultFromILEventToBLLClass(ev, *eventResult);
    add(eventResult);
}

void BlockBinning::BinRetransmission(const stbox_event_rrr_s& ev) {
    const std::size_t range = channels_.Find(ev.viewed_channel);
    if (range == ChannelMap::kNone) {
        LogText(devLogger(), LogLevelType::Error, "Channel Number obtained from IL cannot be found in BLL");
        return;
    }
    const auto add = [&](auto&& row) {
        distributions::ViewSink sink = MakeSink(ranges_[range], ev.nack_pkt_tx_ts);
        ranges_[range].results->CalcLatencies(ev, row, &sink);
    };
    if (!makes_rows_) return add(static_cast<CIptvRrrEventResults*>(nullptr));
    const EventRowWriter& writer = FindOrMakeRowWriter();
    if (!rows_are_observed_) {
        core::PackedRow row = manager_.AddEventRows().AddRetransmission(block_->GetHandle());
        writer.CopyRrrResultFromILEventToBLLClass(ev, row);
        return add(row);
    }
    auto* rrrResult = FindOrMakeResult<CIptvRrrEventResults>(*block_, false, false);
    ORV_ASSERT(rrrResult != NULL, "Failed to create IptvRrrEventResults");
    manager_.AddEventRows().AddObject(*rrrResult);
    writer.CopyRrrResultFromILEventToBLLClass(ev, *rrrResult);
    add(rrrResult);
}

void BlockBinning::BinBatch(const Views& views, const Retransmissions& retransmissions, std::size_t first,
                            std::size_t count) {
    manager_.GetDistributions().GetLog().Discard();  // of a batch that an exception ended
    views.for_each(first, count, view_buffer_, [this](const stbox_event_s& ev) { BinView(ev); });
    retransmissions.for_each(first, count, retransmission_buffer_,
                             [this](const stbox_event_rrr_s& ev) { BinRetransmission(ev); });
    manager_.GetDistributions().GetLog().Drain(*block_distributions_);
    RollUp();
    manager_.SaveRowsWhenDue();
}

void BlockBinning::RollUp() {
    const double now = framework::CTimer::GetCurrentSystemTimeInSec();
    constexpr framework::PropId kLastUpdate = ids::IptvJoinLeaveResults::LastUpdateTime;
    JoinLeaveSums sums;
    for (const Range& range : ranges_) {
        // A range without events in this batch does not change.
        if (!range.results->GetBatch().IsEmpty()) {
            range.results->AccumLatencies();
            range.results->CopyJoinLeaveResultsToDataModel();
            sums += range.results->GetBatch();
            range.results->ResetJoinLeaveClassVar();
        }
        EndUpdate(*range.results, kLastUpdate, now);
    }
    block_results_->SetAndAccumLatencies(sums);
    block_results_->CopyJoinLeaveResultsToDataModel();
    profile_results_->SetAndAccumLatencies(sums);
    profile_results_->CopyJoinLeaveResultsToDataModel();
    manager_.AddToVerdict(sums);
    block_results_->BinStbBlockEvents(sums, *profile_results_, *port_results_);
    block_results_->ResetJoinLeaveClassVar();
    profile_results_->ResetJoinLeaveClassVar();
    EndUpdate(*port_results_, ids::IptvPortResults::LastUpdateTime, now);
    EndUpdate(*block_results_, kLastUpdate, now);
    EndUpdate(*profile_results_, kLastUpdate, now);
}

}  // namespace orv::iptv
