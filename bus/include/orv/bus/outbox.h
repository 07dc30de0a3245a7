// The sending end of a lane.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "orv/bus/frame.h"

namespace orv::bus {

using Nanoseconds = std::chrono::nanoseconds;

/// Keeps parcels until the receiver is done with them, and publishes their frames in order; again from the
/// first one that is missing, after the connection was lost or when the receiver waits for one that was
/// published a while ago (go-back-N). Any thread may call it, pump() one at a time; nothing waits for it.
class Outbox {
  public:
    /// False when there is no connection. Called by pump(); may take its time.
    using Publish = std::function<bool(std::span<const std::byte> frame)>;
    struct Limits {
        std::size_t frame_bytes = 256 << 10;  ///< with its header
        std::size_t in_flight = 32 << 20;  ///< bytes published and not taken; a single parcel may be larger
        std::size_t spool = 256 << 20;     ///< bytes kept, published or not
    };
    Outbox(Lane lane, const Limits& limits, Publish publish);

    /// Keeps a parcel for pump(). False, and nothing is kept, when the spool is full, or no receiver would
    /// take so large a parcel. An `urgent` one is kept in any case: short ones that end a session.
    bool post(Parcel parcel, bool urgent = false);
    /// What the receiver said.
    void acknowledge(const Acknowledgement& acknowledgement, Nanoseconds now);
    /// What was published may be lost.
    void on_reconnected();
    /// Packs what was posted, and publishes the next frame that may be published. False if there is none, or
    /// no connection.
    bool pump(Nanoseconds now);

    /// With what it costs to keep them.
    std::size_t get_spooled_bytes() const;
    /// Everything that was posted has been taken.
    bool is_empty() const;
    std::uint64_t get_resent_frames() const;

  private:
    struct Kept {
        Parcel parcel;
        std::uint64_t first = 0, last = 0;  ///< frames, once it is ready
        bool is_packed = false;

        /// Also empty ones must not be kept without limits.
        std::size_t cost() const { return parcel.data.size() + kFrameHeaderBytes; }
    };
    bool make_ready();
    bool write_next_frame();

    const Lane lane_;
    const Limits limits_;
    const Publish publish_;
    std::vector<std::byte> frame_, packing_;  ///< pump()'s

    mutable std::mutex mutex_;
    std::deque<Kept> kept_;        ///< not taken, in order
    std::size_t ready_ = 0;        ///< so many of them, from the first on, are packed and numbered
    std::size_t bytes_ = 0;        ///< of `kept_`
    std::size_t in_flight_ = 0;    ///< of those that have begun
    std::uint64_t numbered_ = 0;   ///< last frame of the last parcel that is ready
    std::uint64_t next_ = 1;       ///< frame to publish next
    std::uint64_t published_ = 0;  ///< highest frame ever published
    std::uint64_t resent_ = 0;

    // When a frame counts as lost.
    std::uint64_t expected_ = 1;   ///< by the receiver
    Nanoseconds waiting_since_{};  ///< the receiver, for it
    Nanoseconds heard_{};          ///< the latest acknowledgement
    Nanoseconds patience_;
    std::uint64_t timed_ = 0;  ///< a frame that was published once, or 0
    Nanoseconds timed_since_{};
};

}  // namespace orv::bus
