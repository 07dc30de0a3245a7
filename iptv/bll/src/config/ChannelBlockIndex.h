// Which channel block a range of channels lies in.
#pragma once

#include <cstdint>
#include <optional>
#include <source_location>
#include <string>
#include <vector>

#include "IptvErrors.h"
#include "orv/framework/scriptable.h"

namespace orv::iptv {

class CIptvChannelBlock;

/// The active channel blocks of a list by the channels that they hold. Made once for a list, it answers each
/// question in logarithmic time; blocks that are changed or deleted need a new index. A block that has been
/// destroyed since holds no channels.
///
/// An element that is no channel block, or an active block without group or network block, is a failure
/// (COrvRunTimeError), but only for questions that no block before it answers.
class ChannelBlockIndex {
  public:
    explicit ChannelBlockIndex(const framework::ScriptableVec& channelBlocks);
    /// The blocks of the open project.
    static ChannelBlockIndex OfProject();

    /// The first block of the list that holds the channels `first` to `last`, or null. A range that ends on
    /// a block's first channel does not lie in that block. `first` may be greater than `last`.
    CIptvChannelBlock* Find(std::uint32_t first, std::uint32_t last) const;

  private:
    struct Entry {
        std::uint32_t first;    ///< channel number
        std::uint32_t last;     ///< channel number
        std::uint32_t highest;  ///< of this entry's last channel and those of all entries before it
        std::uint32_t block;    ///< handle
    };
    struct Failure {
        LookupFailure what;
        std::string detail;
        std::source_location where = std::source_location::current();
    };

    std::optional<Failure> Add(framework::CScriptable* object);
    void Sort();
    const Entry* FindInOrder(std::uint32_t lowest, std::uint32_t highest) const;

    std::vector<Entry> entries_;
    bool sorted_ = true;  ///< entries_ are in ascending order of their first channel
    std::optional<Failure> failure_;
};

}  // namespace orv::iptv
