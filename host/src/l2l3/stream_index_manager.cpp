#include "orv/l2l3/stream_index_manager.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <numeric>

#include "orv/l2l3/stream_block.h"

namespace orv::l2l3 {

CStreamIndexManager& CStreamIndexManager::Instance() {
    static CStreamIndexManager manager;
    return manager;
}

bool CStreamIndexManager::GetStreamIdsNoThrow(const CStreamBlock* block, std::uint32_t portHandle,
                                              std::vector<std::uint32_t>& streamIds) noexcept {
    streamIds.clear();
    try {
        if (!block || !block->GetParent() || block->GetParent()->GetHandle() != portHandle) return false;
        const std::uint64_t count = block->GetStreamCount();
        if (count == 0 || count > kMaxStreamsPerBlock) return false;
        const Range range = Assign(block->GetHandle(), static_cast<std::uint32_t>(count));
        streamIds.resize(range.count);
        std::iota(streamIds.begin(), streamIds.end(), range.first);
        return true;
    } catch (const std::exception&) {
        // Callers go without numbers as they do for a block without streams.
        streamIds.clear();
        return false;
    }
}

CStreamIndexManager::Range CStreamIndexManager::Assign(std::uint32_t blockHandle, std::uint32_t count) {
    if (const auto known = ranges_.find(blockHandle); known != ranges_.end()) {
        if (known->second.count == count) return known->second;
        Release(blockHandle);
    }
    Range range{next_, count};
    const auto hole = std::find_if(holes_.begin(), holes_.end(),
                                   [count](const auto& entry) { return entry.second >= count; });
    if (hole == holes_.end()) {
        next_ += count;
    } else {
        range.first = hole->first;
        const std::uint32_t left = hole->second - count;
        holes_.erase(hole);
        if (left != 0) holes_.emplace(range.first + count, left);
    }
    ranges_.emplace(blockHandle, range);
    return range;
}

void CStreamIndexManager::Release(std::uint32_t blockHandle) {
    const auto known = ranges_.find(blockHandle);
    if (known == ranges_.end()) return;
    const Range range = known->second;
    ranges_.erase(known);
    Free(range);
}

void CStreamIndexManager::Free(Range range) {
    const auto after = holes_.lower_bound(range.first);
    if (after != holes_.end() && after->first == range.first + range.count) {
        range.count += after->second;
        holes_.erase(after);
    }
    const auto next_hole = holes_.lower_bound(range.first);
    if (next_hole != holes_.begin()) {
        const auto before = std::prev(next_hole);
        if (before->first + before->second == range.first) {
            range = {before->first, before->second + range.count};
            holes_.erase(before);
        }
    }
    if (range.first + range.count == next_) {
        next_ = range.first;
    } else {
        holes_.emplace(range.first, range.count);
    }
}

}  // namespace orv::l2l3
