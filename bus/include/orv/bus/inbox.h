// The receiving end of a lane.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>

#include "orv/bus/frame.h"

namespace orv::bus {

/// Puts parcels together again: in order, once each, whatever frames come. While parcels of more than
/// `most_untaken` bytes have not been taken, it accepts no further one: a sender who ignores how much may be
/// in flight cannot fill the memory. add() is called from one thread at a time, everything else from any.
class Inbox {
  public:
    /// Unpacked; what may be in flight is counted packed, and some hundred MiB when it is not.
    static constexpr std::size_t kMostUntaken = 512 << 20;

    explicit Inbox(Lane lane, std::size_t most_untaken = kMostUntaken)
        : lane_(lane), most_untaken_(most_untaken) {}

    enum class Verdict {
        Kept,      ///< part of a parcel that is not complete yet
        Complete,  ///< ends a parcel
        Known,     ///< had come before
        Ahead,     ///< earlier ones are missing, or have not been taken; it will come again
        Broken,    ///< belongs to no parcel: whoever sent it does not keep to the rules
    };
    struct Result {
        Verdict verdict = Verdict::Broken;
        std::optional<Parcel> parcel = {};  ///< if it is complete
        std::uint64_t number = 0;           ///< of its last frame, for take()
    };
    Result add(const Frame& frame);
    /// The parcel that ends with the frame is done with, and all before it.
    void take(std::uint64_t number);
    Acknowledgement get_acknowledgement() const;
    /// It accepts nothing at present.
    bool is_full() const;

  private:
    struct Untaken {
        std::uint64_t number;  ///< of the last frame
        std::size_t bytes;
    };

    const Lane lane_;
    const std::size_t most_untaken_;
    mutable std::mutex mutex_;
    std::deque<Untaken> untaken_;  ///< complete parcels
    std::size_t untaken_bytes_ = 0;
    std::uint64_t expected_ = 1;
    std::uint64_t taken_ = 0;
    Parcel parcel_;            ///< being put together
    std::uint32_t whole_ = 0;  ///< its bytes
    bool is_packed_ = false;
};

}  // namespace orv::bus
