#include "control/StreamLimit.h"

#include <algorithm>
#include <limits>

#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "orv/core/emulated_device.h"
#include "orv/core/rcm_db.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

namespace {

constexpr std::int32_t kNoLimit = -1;
/// Streams that a set-top box may receive at once while it changes channels.
constexpr double kStreamsOfZapper = 4;

[[noreturn]] void ThrowMissing(const char* object, const char* from, const std::string& detail,
                               const std::source_location& where = std::source_location::current()) {
    ThrowLookupFailure({object, from, "CIptvStartTestCommand::CheckForCardLimitOnStreams"}, detail, where);
}

/// One for each channel that the block views.
double CountViewedChannels(const CIptvStbBlockConfig& block) {
    framework::ScriptableVec objects;
    block.GetObjects(objects, ids::IptvViewedChannels::CLASS, ids::relations::StbChannel);
    double channels = 0;
    for (const CScriptable* object : objects) {
        const auto* range = dynamic_cast<const CIptvViewedChannels*>(object);
        if (!range) {
            ThrowMissing("IptvViewedChannels", "IptvStbBlockConfig",
                         "IptvViewedChannels associated with " + block.GetName());
        }
        // A step of 0 is refused by the apply, but only later in a test's start.
        const std::uint32_t step = std::max<std::uint32_t>(range->GetChannelRangeStep(), 1);
        channels += 1 + (range->GetChannelRangeEnd() - range->GetChannelRangeStart()) / step;
    }
    return channels;
}

}  // namespace

std::int32_t GetCardLimitOnStreams(std::uint32_t port) {
    core::RcmKey key;
    if (!core::RcmKeyMgr::GetLookupKey(port, "GA", key)) return kNoLimit;
    const auto value = core::RcmDBMgr::Instance().GetDBValue(key, "analyzer/anaStreams");
    const auto* limit = value ? std::get_if<std::int64_t>(&*value) : nullptr;
    if (!limit) return kNoLimit;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(*limit, kNoLimit, std::numeric_limits<std::int32_t>::max()));
}

void CheckForCardLimitOnStreams(const std::vector<std::uint32_t>& stbBlocks, std::uint32_t port,
                                std::uint8_t testType) {
    const std::int32_t limit = GetCardLimitOnStreams(port);
    if (limit == kNoLimit) return;
    const bool verifies = testType == ids::TestType::VERIFICATION;
    double streams = 0;
    for (const std::uint32_t handle : stbBlocks) {
        const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
        if (!block) ThrowMissing("IptvStbBlockConfig", "Block Handle List", "IptStbBlockConfig ");
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block->GetParent());
        if (!device) {
            ThrowMissing("EmulatedDevice", "IptvStbBlockConfig",
                         "EmulatedDevice associated with " + block->GetName());
        }
        if (!device->GetActive()) continue;
        const double of_one = verifies ? CountViewedChannels(*block) : kStreamsOfZapper;
        streams += of_one * device->GetDeviceCount();
    }
    if (streams <= limit) return;
    LogText(devLogger(), LogLevelType::Error,
            "Card Limit on Number of streams Exceeded. Reduce number of set top boxes or number of channels "
            "in test.");
}

}  // namespace orv::iptv
