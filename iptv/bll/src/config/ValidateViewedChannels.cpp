// The rules for viewed-channel ranges. All arithmetic is unsigned, 32 bits.
#include <algorithm>
#include <optional>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/ChannelBlockIndex.h"
#include "config/ConfigChanges.h"
#include "config/ConfigRules.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "orv/core/emulated_device.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/validation.h"
#include "orv/ids/iptv_ids.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::ValidationContext;
using std::to_string;

constexpr const char* kOnValidateViewedChannels = "CIptvViewedChannels::OnValidateViewedChannels";

void CheckRange(ValidationContext& context, CIptvViewedChannels& range, bool running) {
    static const auto& registry = framework::CHandleRegistry::Instance();
    const framework::ReportedObject about(context, range);
    if (range.IsDeleted()) {
        if (running) ReportChangeUnderTest(context, range);
        return;
    }
    if (running && range.IsObjectDirty(false)) ReportChangeUnderTest(context, range);
    if (range.GetChannelBlock() == 0) {
        ReportError(context, "In " + range.GetName() +
                                 " : There is no IptvChannelBlock associated with the IptvViewedChannel");
    } else if (!dynamic_cast<CIptvChannelBlock*>(registry.Find(range.GetChannelBlock()))) {
        ReportError(context, "In " + range.GetName() +
                                 " : ChannelBlock parameter is not associated with a valid IptvChannelBlock");
    }
}

/// Checks the ranges of one STB block, in ascending order of their first channel.
class RangesOfBlock {
  public:
    RangesOfBlock(ValidationContext& context, const ChannelBlockIndex& blocks)
        : context_(context), blocks_(blocks) {}

    /// False when nothing further is to be examined.
    bool Check(CIptvViewedChannels& range);

  private:
    void CheckLimits(const CIptvViewedChannels& range);
    void CheckInitialChannel(const CIptvViewedChannels& range);
    void Report(const CIptvViewedChannels& range, const std::string& text,
                const std::source_location& where = std::source_location::current()) {
        ReportError(context_, "In " + range.GetName() + text, where);
    }

    ValidationContext& context_;
    const ChannelBlockIndex& blocks_;
    std::uint32_t previous_end_ = 0;
};

bool RangesOfBlock::Check(CIptvViewedChannels& range) {
    const framework::ReportedObject about(context_, range);
    const std::uint32_t step = range.GetChannelRangeStep();
    if (step == 0) {
        Report(range, " : ChannelRangeStep cannot be 0.");
        return false;
    }
    CheckLimits(range);
    if (!range.GetChannelBlockForViewChan(blocks_)) {
        Report(range,
               " : Channel Range should be a subset of a global block of channels specified in ChannelBlock");
    }
    CheckInitialChannel(range);
    if ((range.GetChannelRangeEnd() - range.GetChannelRangeStart()) % step != 0) {
        Report(range,
               " : Channel Range End must be such that Channel Range Start + integer*Channel Range Step = "
               "Channel Range End ");
    }
    return true;
}

void RangesOfBlock::CheckLimits(const CIptvViewedChannels& range) {
    const std::uint32_t start = range.GetChannelRangeStart();
    const std::uint32_t end = range.GetChannelRangeEnd();
    // A range may begin on the channel that the one before it ends on.
    if (start < previous_end_) {
        Report(range,
               " : Viewed channels associated with a block of set top boxes cannot have overlapping channel "
               "numbers");
    }
    previous_end_ = end;
    if (start > end) Report(range, " : Channel Range Start must be less than or equal to Channel Range End");
    if (start + range.GetChannelRangeStep() > end) {
        Report(range, " : (Channel Range Start + Channel Range Step) should be lower than Channel Range End");
    }
}

void RangesOfBlock::CheckInitialChannel(const CIptvViewedChannels& range) {
    const std::uint32_t start = range.GetChannelRangeStart();
    const std::uint32_t end = range.GetChannelRangeEnd();
    const std::uint32_t initial = range.GetInitialChannelStart();
    const std::uint32_t initial_step = range.GetInitialChannelStep();
    if (initial_step % range.GetChannelRangeStep() != 0)
        Report(range, " : Initial Channel Step must be a multiple of channel range step");
    if (initial < start) {
        Report(range, " : Initial Channel Start ( " + to_string(initial) +
                          " ) should be greater than or equal to Channel Range Start (" + to_string(start) +
                          ")");
    }
    if (initial > end) {
        Report(range, " : Initial Channel Start (" + to_string(initial) +
                          ") should be less than or equal to ChannelRangeEnd (" + to_string(end) + ")");
    }
    // Reported once per range.
    if (initial_step > end - start) {
        Report(range, " : Initial Channel Step (" + to_string(initial_step) +
                          ") should be less than or equal to  Channel Range End-Channel Range Start (" +
                          to_string(end - start) + ")");
    }
}

/// False when nothing further is to be examined.
bool CheckStbBlock(ValidationContext& context, const CIptvStbBlockConfig& block,
                   const ChannelBlockIndex& channel_blocks) {
    ScriptableVec ranges;
    block.GetObjects(ranges, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
    std::stable_sort(ranges.begin(), ranges.end(), CmpViewedChannels);
    RangesOfBlock check(context, channel_blocks);
    for (CScriptable* object : ranges) {
        auto* range = dynamic_cast<CIptvViewedChannels*>(object);
        if (!range) {
            ThrowLookupFailure({"IptvViewedChannels", "ChannelIterator", kOnValidateViewedChannels},
                               "IptvViewedChannels associated with " + block.GetName());
        }
        Trace([&] { return "Validating " + range->GetName() + " for " + block.GetName(); });
        if (!check.Check(*range)) return false;
    }
    return true;
}

/// False when nothing further is to be examined.
bool CheckDevice(ValidationContext& context, const core::CEmulatedDevice& device,
                 const ChannelBlockIndex& channel_blocks) {
    ScriptableVec blocks;
    device.GetObjects(blocks, CIptvStbBlockConfig::CLASS_ID(), common::kParentChild);
    for (CScriptable* object : blocks) {
        const auto* block = dynamic_cast<CIptvStbBlockConfig*>(object);
        if (!block) {
            ThrowLookupFailure({"IptvStbBlockConfig", "StbIterator", kOnValidateViewedChannels},
                               "IptvStbBlockConfig associated with " + device.GetName());
        }
        if (block->GetActive() && !CheckStbBlock(context, *block, channel_blocks)) return false;
    }
    return true;
}

}  // namespace

namespace {

/// The channel blocks as of the last check of everything.
std::optional<ChannelBlockIndex> channel_block_index;

void CheckEverything(ValidationContext& context) {
    CScriptable& project = *context.GetCurrentObject();
    ScriptableVec ranges;
    project.GetObjects(ranges, CIptvViewedChannels::CLASS_ID(), common::kParentChild);
    const bool running = RunningTest::IsRunning();
    for (CScriptable* object : ranges) {
        auto* range = dynamic_cast<CIptvViewedChannels*>(object);
        if (range && range->GetActive()) CheckRange(context, *range, running);
    }

    ScriptableVec channel_blocks;
    project.GetObjects(channel_blocks, CIptvChannelBlock::CLASS_ID(), common::kParentChild);
    std::stable_sort(channel_blocks.begin(), channel_blocks.end(), CmpChannelBlock);
    channel_block_index.emplace(channel_blocks);
    ScriptableVec devices;
    project.GetObjects(devices, core::CEmulatedDevice::CLASS_ID(), common::kParentChild);
    for (CScriptable* object : devices) {
        const auto* device = dynamic_cast<core::CEmulatedDevice*>(object);
        if (!device)
            ThrowLookupFailure({"EmulatedDevice", "EmulatedDeviceIterator", kOnValidateViewedChannels},
                               "EmulatedDevice.");
        if (device->GetActive() && !CheckDevice(context, *device, *channel_block_index)) return;
    }
}

void CheckDevices(ValidationContext& context, std::vector<const core::CEmulatedDevice*> devices) {
    std::sort(devices.begin(), devices.end(),
              [](const auto* a, const auto* b) { return a->GetHandle() < b->GetHandle(); });
    for (const core::CEmulatedDevice* device : devices) {
        if (device->GetActive() && !CheckDevice(context, *device, *channel_block_index)) return;
    }
}

}  // namespace

void CIptvViewedChannels::OnValidateViewedChannels(ValidationContext& context) {
    static RepeatedCheck check;
    check.Run(context, [&](const ConfigChanges& changes) {
        if (changes.IsEverything()) {
            CheckEverything(context);
        } else {
            CheckDevices(context, changes.GetDevices());
        }
    });
}

}  // namespace orv::iptv
