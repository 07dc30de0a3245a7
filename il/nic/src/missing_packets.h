// The packets that an STB's view misses, and when it asks a server to send them again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "orv/il/time.h"
#include "orv/live/rtcp.h"

namespace orv::nic {

/// Decides which generic NACKs (RFC 4585 section 6.2.1) to send, and what became of each.
///
/// A loss is asked for after a delay; what has not come is asked for again after an interval, until the view
/// ends. A NACK asks for the packet that has waited longest, and for those of the next 16 that its mask may
/// name and whose loss is known.
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

    /// An outage that is longer is not asked for: no server has kept it, and no viewer waits for it.
    static constexpr std::size_t kMostMissing = 1024;

    /// A new view. Memory of the former one is kept.
    void restart(const Settings& settings);

    /// The `count` packets before `sequence` have not come. Returns how many of them it will ask for.
    std::size_t miss_before(std::uint16_t sequence, std::uint64_t count, il::Time now);
    /// Packets that `has(sequence)` came otherwise: late, or by the burst. Returns their number.
    template <class Has>
    std::size_t forget(const Has& has) {
        return std::erase_if(missing_, [&](const Missing& missing) {
            if (!has(missing.sequence)) return false;
            if (Nack* nack = find_nack(missing.nack)) ++nack->received;  // it need not come any more
            return true;
        });
    }
    /// A retransmission. False if the packet was not missing: nobody asked for it, or it came twice.
    bool on_repair(std::uint16_t sequence, il::Time stamp);
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
    static constexpr std::uint32_t kNone = UINT32_MAX;

    struct Missing {
        std::uint16_t sequence;
        il::Time due;                ///< when to ask for it; kNever: not any more
        std::uint32_t nack = kNone;  ///< the last one that asked for it
    };
    struct Nack {
        std::uint16_t packet_id = 0;
        std::uint16_t asked = 0;
        std::uint16_t received = 0;
        std::uint16_t given_up = 0;  ///< asked for again by another one
        il::Time sent = il::kNever;
        il::Time last_received = il::kNever;
        bool is_lost = false;

        bool is_over() const { return is_lost || (sent != il::kNever && received + given_up == asked); }
        Outcome outcome() const;
    };
    std::vector<Missing>::iterator find(std::uint16_t sequence);
    Nack* find_nack(std::uint32_t number);
    void take_over(Missing& missing, std::uint32_t number, il::Time now);

    Settings settings_;
    std::vector<Missing> missing_;  ///< in the order of their numbers, but for those that came late
    std::vector<Nack> nacks_;
    std::uint32_t first_nack_ = 0;  ///< number of the first of `nacks_`
    il::Time ended_ = il::kNever;
};

}  // namespace orv::nic
