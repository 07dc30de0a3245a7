// The packets that an STB's view misses, and when it asks a server to send them again.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "orv/il/time.h"
#include "orv/live/rtcp.h"

namespace orv::nic {

/// Decides which generic NACKs (RFC 4585 section 6.2.1) to send, and what became of each.
///
/// A loss is asked for after a delay; what has not come is asked for again after an interval, until it is too
/// old or the view ends. A NACK asks for the packet that has waited longest, and for those of the next 16
/// that its mask may name and whose loss is known. Of several NACKs for a packet, the first is answered
/// first.
class MissingPackets {
  public:
    struct Settings {
        il::Time delay = 0;      ///< from the loss to the first NACK
        il::Time interval = 0;   ///< between NACKs for the same packet; 0: one NACK only
        std::uint16_t mask = 0;  ///< bit i: packet + i + 1 may be in the same NACK
    };
    /// A NACK whose packets have come, or will not come any more.
    struct Outcome {
        std::uint16_t packet_id = 0;
        il::Time sent = il::kNever;
        il::Time last_received = il::kNever;  ///< of its packets; `sent` when none came
        bool failed = false;                  ///< at least one of them did not come
    };
    struct Request {
        std::uint32_t number = 0;  ///< of the view's NACKs, from 0
        live::NackEntry entry;
    };
    enum class Repair : std::uint8_t {
        Unasked,  ///< nobody has asked for the packet
        Copy,     ///< another one has come before
        Repaired,
    };

    /// An outage that is longer is not asked for: no server has kept it, and no viewer waits for it.
    static constexpr std::size_t kMostMissing = 1024;

    /// A new view. Memory of the former one is kept.
    void restart(const Settings& settings);
    /// The `count` packets before `sequence` have not come. Returns how many of them were not known.
    std::uint64_t miss_before(std::uint16_t sequence, std::uint64_t count, il::Time now);
    /// Packets that `has(sequence)` came otherwise: late, or by the burst. Returns their number.
    template <class Has>
    std::size_t forget(const Has& has) {
        return std::erase_if(missing_, [&](const Missing& missing) {
            if (!has(missing.sequence)) return false;
            remember(missing.sequence);
            return true;
        });
    }
    Repair on_repair(std::uint16_t sequence, il::Time stamp);

    /// When to ask; kNever if there is nothing to ask for.
    il::Time next() const;
    /// The NACK that is due at `now`, if there is one.
    std::optional<Request> ask(il::Time now);
    /// The NACK was seen leaving.
    void on_sent(std::uint32_t number, il::Time stamp);
    /// It did not leave, and has no outcome.
    void on_unsent(std::uint32_t number);
    /// The view ended at `now`: nothing more is asked for.
    void end(il::Time now);
    /// Whether a NACK may still be answered.
    bool is_waiting(il::Time now) const;

    /// The outcomes that are known, in the order of the NACKs; each is returned once. `is_final`: nothing
    /// more will come.
    template <class Use>
    void take_outcomes(bool is_final, const Use& use) {
        std::size_t known = 0;
        while (known < nacks_.size() && (is_final || nacks_[known].is_over())) {
            const Nack& nack = nacks_[known++];
            if (nack.sent != il::kNever) use(nack.outcome());
        }
        nacks_.erase(nacks_.begin(), nacks_.begin() + static_cast<std::ptrdiff_t>(known));
        first_nack_ += static_cast<std::uint32_t>(known);
    }

  private:
    struct Missing {
        std::uint16_t sequence;
        il::Time noticed;
        il::Time due;  ///< when to ask for it; kNever: not any more
        bool is_asked = false;
    };
    /// A packet that a NACK has asked for.
    struct Asked {
        std::uint16_t sequence;
        std::uint32_t nack;
        il::Time time;
        bool is_repeated;  ///< it was not the first NACK for the packet
    };
    struct Nack {
        std::uint16_t packet_id = 0;
        std::uint16_t asked = 0;
        std::uint16_t received = 0;
        std::uint16_t given_up = 0;
        il::Time sent = il::kNever;
        il::Time last_received = il::kNever;
        bool is_lost = false;

        bool is_over() const { return is_lost || (sent != il::kNever && received + given_up == asked); }
        Outcome outcome() const;
    };
    il::Time longest_wait() const;
    std::vector<Missing>::iterator find(std::uint16_t sequence);
    std::vector<Asked>::iterator find_asked(std::uint16_t sequence, il::Time stamp);
    Nack* find_nack(std::uint32_t number);
    void give_up_old(il::Time now);
    void remember(std::uint16_t sequence) { done_[dones_++ % done_.size()] = sequence; }

    Settings settings_;
    std::vector<Missing> missing_;  ///< in the order in which the losses were noticed
    std::vector<Asked> asked_;      ///< not answered yet, in the order of the NACKs
    std::vector<Nack> nacks_;
    std::uint32_t first_nack_ = 0;          ///< number of the first of `nacks_`
    std::array<std::uint16_t, 64> done_{};  ///< came lately, after they were missing
    std::size_t dones_ = 0;
    il::Time response_ = 5 * il::kMillisecond;  ///< how long answers take, a moving average
    il::Time ended_ = il::kNever;
};

}  // namespace orv::nic
