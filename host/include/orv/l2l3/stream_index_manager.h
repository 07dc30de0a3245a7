// Numbers of streams.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace orv::l2l3 {

class CStreamBlock;

/// Gives every stream the number that its frames carry in their signature. Numbers are unique in the process,
/// because a port receives the streams of all others, and count from 1. A stream block has consecutive
/// numbers, in the order of its paths, with streams that do not come from IP interfaces of emulated devices
/// last. They stay the same while the block's number of streams does not change. Numbers of destroyed blocks
/// are used again. Used under the task lock.
class CStreamIndexManager {
  public:
    /// Most streams of one block: more is treated as a configuration error.
    static constexpr std::uint64_t kMaxStreamsPerBlock = 1u << 20;

    static CStreamIndexManager& Instance();

    /// The numbers of a block's streams on a port. False, with an empty list, when the block is not the
    /// port's, has no streams, or has more than kMaxStreamsPerBlock. Never throws.
    bool GetStreamIdsNoThrow(const CStreamBlock* block, std::uint32_t portHandle,
                             std::vector<std::uint32_t>& streamIds) noexcept;
    /// Forgets a block that is being destroyed.
    void Release(std::uint32_t blockHandle);

  private:
    struct Range {
        std::uint32_t first = 0;
        std::uint32_t count = 0;
    };

    Range Assign(std::uint32_t blockHandle, std::uint32_t count);
    void Free(Range range);

    std::map<std::uint32_t, Range> ranges_;         ///< by handle of the block
    std::map<std::uint32_t, std::uint32_t> holes_;  ///< first number and count, never adjacent, below next_
    std::uint32_t next_ = 1;
};

}  // namespace orv::l2l3
