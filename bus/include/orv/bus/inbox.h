// The receiving end of a lane.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "orv/bus/frame.h"

namespace orv::bus {

/// Puts parcels together again: in order, once each, whatever frames come. add() is called from one thread at
/// a time, everything else from any.
class Inbox {
  public:
    explicit Inbox(Lane lane) : lane_(lane) {}

    enum class Verdict {
        Kept,      ///< part of a parcel that is not complete yet
        Complete,  ///< ends a parcel
        Known,     ///< had come before
        Ahead,     ///< earlier ones are missing; it will come again
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

  private:
    const Lane lane_;
    mutable std::mutex mutex_;
    std::uint64_t expected_ = 1;
    std::uint64_t taken_ = 0;
    Parcel parcel_;            ///< being put together
    std::uint32_t whole_ = 0;  ///< its bytes
    bool is_packed_ = false;
};

}  // namespace orv::bus
