// Loss, reordering and duplicates of one stream, by sequence numbers.
#pragma once

#include <array>
#include <cstdint>

#include "orv/il/view_record.h"

namespace orv::nic {

/// Tracks the packets of one source: lost, reordered, late and duplicate ones.
///
/// - Reordered: comes after a packet that was sent later. Late: is 64 places behind or more, so that no
///   decoder would have waited for it. Neither counts as lost.
/// - What lies between the highest number and one ahead of it is lost, however long the outage was.
/// - A packet 1,024 places behind or more cannot be distinguished from a duplicate: it counts as late,
///   and what was lost stays lost. When the next one follows it, its sender has started anew, and so does the
///   count.
class SequenceCounter {
  public:
    /// Adds the packet to `packets`, with the losses, reordering and so on that its number shows. Returns how
    /// many packets just before it have not come yet.
    std::uint64_t add(std::uint64_t sequence, il::Packets& packets);
    /// The same for 16-bit numbers with wrap-around (RFC 3550 section 5.1): stands for the nearest sequence
    /// number, at most 32,767 ahead. One further ahead than `most_ahead` means that the sender has restarted,
    /// if the next one follows it (RFC 3550 appendix A.1).
    std::uint64_t add_wrapping(std::uint16_t sequence, std::uint64_t most_ahead, il::Packets& packets);

    /// The stream begins with this 16-bit number: packets between it and the first one are missing.
    void expect(std::uint16_t first);

    /// Whether the packet whose number has these lower 16 bits has come, as far back as the count looks.
    bool has(std::uint16_t sequence) const;

    bool has_begun() const { return begun_; }
    std::uint64_t highest() const { return highest_; }

  private:
    static constexpr std::uint64_t kWindow = 1024;  ///< numbers tracked behind the highest
    /// Longer than any outage: 35 years at 1,000 packets per second.
    static constexpr std::uint64_t kMostAhead = std::uint64_t{1} << 40;
    static constexpr std::uint64_t kLate = 64;

    std::uint64_t add(std::uint64_t sequence, std::uint64_t most_ahead, il::Packets& packets);
    void begin(std::uint64_t sequence);
    bool is_restart(std::uint64_t sequence);
    bool test_and_set(std::uint64_t sequence);
    void clear(std::uint64_t from, std::uint64_t to);

    std::array<std::uint64_t, kWindow / 64> seen_{};
    std::uint64_t lowest_ = 0;  ///< since the count began
    std::uint64_t highest_ = 0;
    std::uint64_t stray_ = 0;  ///< the last packet out of range
    bool begun_ = false;
    bool has_stray_ = false;
};

}  // namespace orv::nic
