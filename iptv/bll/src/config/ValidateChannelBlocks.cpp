// The rules for channel blocks.
#include <algorithm>
#include <utility>

#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/ConfigRules.h"
#include "config/IptvChannelBlock.h"
#include "orv/core/network_block.h"
#include "orv/framework/validation.h"
#include "orv/ids/iptv_ids.h"
#include "orv/mcastcore/multicast_group.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::ScriptableVec;
using framework::ValidationContext;

constexpr const char* kValidateChannelBlock = "CIptvChannelBlock::ValidateChannelBlock";

const mcastcore::CMulticastGroup& GetGroupOrThrow(ValidationContext& context,
                                                  const CIptvChannelBlock& block) {
    if (const auto* group = block.GetMulticastGroup()) return *group;
    ThrowLookupFailure(
        {"MulticastGroup", "ChannelBlock", kValidateChannelBlock}, context,
        "MulticastGroup associated with " + block.GetChannelName() + " could not be found. ",
        "In Validation of IptvChannelBlock, the associated MulticastGroup could not be found. ");
}

const core::CNetworkBlock& GetNetworkBlockOrThrow(ValidationContext& context,
                                                  const mcastcore::CMulticastGroup& group) {
    if (const auto* block = group.GetNetworkBlock()) return *block;
    ThrowLookupFailure({"NetworkBlock", "MulticastGroup", kValidateChannelBlock}, context,
                       "Network Block associated with " + group.GetName() + " could not be found. ",
                       "In Validation of IptvChannelBlock " + group.GetName() +
                           ", the NetworkBlock associated with MulticastGroup " + group.GetName() +
                           " could not be found. ");
}

/// Goes through the blocks in ascending order of their first channel.
class ChannelBlockCheck {
  public:
    explicit ChannelBlockCheck(ValidationContext& context)
        : context_(context), running_(RunningTest::IsRunning()) {}

    /// False when nothing further is to be examined.
    bool Check(CIptvChannelBlock& block);

  private:
    ValidationContext& context_;
    const bool running_;
    std::uint32_t last_channel_ = 0;             ///< of the last block that was checked
    const CIptvChannelBlock* before_ = nullptr;  ///< the block just before, checked or not
    std::string checked_group_;                  ///< name of the group of the last block that was checked
};

bool ChannelBlockCheck::Check(CIptvChannelBlock& block) {
    const framework::ReportedObject about(context_, block);
    const CIptvChannelBlock* const before = std::exchange(before_, &block);
    if (block.IsDeleted()) {
        if (running_) ReportChangeUnderTest(context_, block);
        return true;
    }
    if (running_ && block.IsObjectDirty(false)) ReportChangeUnderTest(context_, block);
    if (!block.GetActive()) return true;

    const auto& group = GetGroupOrThrow(context_, block);
    Trace([&group] { return "Validating IptvChannelBlock " + group.GetName(); });
    const std::uint32_t count = GetNetworkBlockOrThrow(context_, group).GetNetworkCount();
    if (block.GetChannelStart() == 0) {
        ReportError(context_, "In " + group.GetName() + "The starting channel number cannot be 0.");
        return false;
    }
    if (block.GetChannelStart() <= last_channel_) {
        const auto* group_before = before ? before->GetMulticastGroup() : nullptr;
        // A block that is deleted or off need not have a group; then the channels overlap with those of an
        // earlier one.
        ReportError(context_, "The channel numbers in " +
                                  (group_before ? group_before->GetName() : checked_group_) + " and " +
                                  group.GetName() + " overlap." +
                                  " The channel numbers specified in each channel block must be unique");
    }
    last_channel_ = block.GetChannelStart() - 1 + count;
    checked_group_ = group.GetName();
    if (!AreUdpPortsInRange(block.GetU16(ids::IptvChannelBlock::UdpDestinationPort),
                            block.GetU16(ids::IptvChannelBlock::UdpDestinationPortStep), count)) {
        ReportError(context_, "In " + group.GetName() +
                                  " : Channel Block cannot have any UdpDestinationPort outside the range of "
                                  "1 to 65535");
    }
    return true;
}

}  // namespace

void CIptvChannelBlock::OnValidateChannelBlock(ValidationContext& context) {
    ScriptableVec blocks;
    context.GetCurrentObject()->GetObjects(blocks, CLASS_ID(), common::kParentChild);
    std::stable_sort(blocks.begin(), blocks.end(), CmpChannelBlock);
    ChannelBlockCheck check(context);
    for (CScriptable* object : blocks) {
        auto* block = dynamic_cast<CIptvChannelBlock*>(object);
        if (!block)
            ThrowLookupFailure({"IptvChannelBlock", "ChannelBlockIterator", kValidateChannelBlock},
                               "IptvChannelBlock. ");
        if (!check.Check(*block)) return;
    }
}

}  // namespace orv::iptv
