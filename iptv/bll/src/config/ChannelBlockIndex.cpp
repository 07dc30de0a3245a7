#include "config/ChannelBlockIndex.h"

#include <algorithm>

#include "FindByHandle.h"
#include "config/IptvChannelBlock.h"
#include "orv/core/network_block.h"
#include "orv/core/project.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

ChannelBlockIndex::ChannelBlockIndex(const framework::ScriptableVec& channelBlocks) {
    entries_.reserve(channelBlocks.size());
    for (framework::CScriptable* object : channelBlocks) {
        failure_ = Add(object);
        if (failure_) break;  // searches that reach it fail, so later blocks are not needed
    }
    Sort();
}

ChannelBlockIndex ChannelBlockIndex::OfProject() {
    framework::ScriptableVec blocks;
    if (const auto* project = core::CProject::GetCurrentActiveInstance())
        project->GetObjects(blocks, CIptvChannelBlock::CLASS_ID(), common::kParentChild);
    return ChannelBlockIndex(blocks);
}

std::optional<ChannelBlockIndex::Failure> ChannelBlockIndex::Add(framework::CScriptable* object) {
    constexpr const char* kOperation = "CIptvViewedChannels::CmpViewedChannels";
    auto* block = dynamic_cast<CIptvChannelBlock*>(object);
    if (!block) return Failure{{"IptvChannelBlock", "ChannelIterator", kOperation}, ""};
    // A deleted block has lost its group, and its channels with it.
    if (!block->GetActive() || block->IsDeleted()) return std::nullopt;
    const auto* group = block->GetMulticastGroup();
    if (!group) {
        return Failure{{"MulticastGroup", "IptvChannelBlock", kOperation},
                       "MulticastGroup associated with " + block->GetChannelName()};
    }
    const auto* network_block = group->GetNetworkBlock();
    if (!network_block) {
        return Failure{{"NetworkBlock", "MulticastGroup", kOperation},
                       "NetworkBlock associated with " + group->GetName()};
    }
    const std::uint32_t first = block->GetChannelStart();
    const std::uint32_t last = first + network_block->GetNetworkCount() - 1;
    // No channel lies in a block without channels, or in one whose numbers run past the largest.
    if (last >= first && last != UINT32_MAX) entries_.push_back({first, last, last, block->GetHandle()});
    return std::nullopt;
}

void ChannelBlockIndex::Sort() {
    const auto before = [](const Entry& a, const Entry& b) { return a.first < b.first; };
    if (!std::is_sorted(entries_.begin(), entries_.end(), before)) {
        std::vector<Entry> sorted = entries_;
        std::stable_sort(sorted.begin(), sorted.end(), before);
        const auto overlap = [](const Entry& a, const Entry& b) { return b.first <= a.last; };
        sorted_ = std::adjacent_find(sorted.begin(), sorted.end(), overlap) == sorted.end();
        // Without overlap at most one block holds a channel, so the order of the list makes no difference.
        if (sorted_) entries_ = std::move(sorted);
    }
    for (std::size_t i = 1; i < entries_.size(); ++i)
        entries_[i].highest = std::max(entries_[i].highest, entries_[i - 1].highest);
}

const ChannelBlockIndex::Entry* ChannelBlockIndex::FindInOrder(std::uint32_t lowest,
                                                               std::uint32_t highest) const {
    if (!sorted_) {
        const auto found = std::find_if(entries_.begin(), entries_.end(), [&](const Entry& entry) {
            return entry.first <= lowest && entry.last >= highest;
        });
        return found == entries_.end() ? nullptr : &*found;
    }
    // `highest` rises along the list, so the first entry that reaches far enough is the first one whose own
    // last channel does.
    const auto found = std::partition_point(entries_.begin(), entries_.end(),
                                            [&](const Entry& entry) { return entry.highest < highest; });
    return found != entries_.end() && found->first <= lowest ? &*found : nullptr;
}

CIptvChannelBlock* ChannelBlockIndex::Find(std::uint32_t first, std::uint32_t last) const {
    const Entry* entry = nullptr;
    // The last channel must lie behind a block's first one.
    if (last > 0) entry = FindInOrder(std::min(first, last - 1), std::max(first, last));
    if (!entry && failure_) ThrowLookupFailure(failure_->what, failure_->detail, failure_->where);
    return entry ? FindByHandle<CIptvChannelBlock>(entry->block) : nullptr;
}

}  // namespace orv::iptv
