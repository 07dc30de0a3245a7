#include "orv/bus/outbox.h"

#include <algorithm>
#include <utility>

#include "packing.h"

namespace orv::bus {

namespace {

/// How long the receiver may wait for a frame that was published before it is published again: longer than
/// frames take, which is a while on a slow line whose buffers are full.
constexpr Nanoseconds kLeastPatience = std::chrono::seconds(1);
constexpr Nanoseconds kMostPatience = std::chrono::seconds(30);

}  // namespace

Outbox::Outbox(Lane lane, const Limits& limits, Publish publish)
    : lane_(lane), limits_(limits), publish_(std::move(publish)), patience_(kLeastPatience) {}

bool Outbox::post(Parcel parcel, bool urgent) {
    const std::lock_guard lock(mutex_);
    Kept kept;
    kept.parcel = std::move(parcel);
    if (kept.parcel.data.size() > kMostParcelBytes) return false;
    if (!urgent && bytes_ + kept.cost() > limits_.spool) return false;
    bytes_ += kept.cost();
    kept_.push_back(std::move(kept));
    return true;
}

void Outbox::acknowledge(const Acknowledgement& acknowledgement, Nanoseconds now) {
    const std::lock_guard lock(mutex_);
    // What nobody published cannot have come.
    if (acknowledgement.taken >= acknowledgement.expected || acknowledgement.expected > published_ + 1)
        return;
    for (; ready_ > 0 && kept_.front().last <= acknowledgement.taken; kept_.pop_front(), --ready_) {
        bytes_ -= kept_.front().cost();
        in_flight_ -= kept_.front().cost();
    }
    const bool was_silent = now - std::exchange(heard_, now) > kLeastPatience;
    if (acknowledgement.expected > expected_) {
        expected_ = acknowledgement.expected;
        next_ = std::max(next_, expected_);
        waiting_since_ = now;
        if (timed_ != 0 && expected_ > timed_) {
            patience_ = std::clamp(2 * (now - timed_since_), kLeastPatience, kMostPatience);
            timed_ = 0;
        }
    } else if (was_silent || acknowledgement.is_busy) {
        // What it waits for may have come, and not been looked at.
        waiting_since_ = now;
    } else if (expected_ < next_ && now - waiting_since_ > patience_) {
        next_ = expected_;
        timed_ = 0;
        patience_ = std::min(2 * patience_, kMostPatience);
    }
}

void Outbox::on_reconnected() {
    const std::lock_guard lock(mutex_);
    next_ = expected_;
    timed_ = 0;
    patience_ = kLeastPatience;
}

/// Packing takes time, and the ports that post must not wait for it. A parcel that is not ready belongs to
/// pump(): nobody else touches it.
bool Outbox::make_ready() {
    Kept* kept = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (ready_ == kept_.size()) return false;
        kept = &kept_[ready_];
    }
    auto packed = pack(kept->parcel.data, packing_);
    const std::lock_guard lock(mutex_);
    bytes_ -= kept->cost();
    kept->is_packed = packed.has_value();
    if (packed) kept->parcel.data = std::move(*packed);
    bytes_ += kept->cost();
    const std::size_t piece = limits_.frame_bytes - kFrameHeaderBytes;
    kept->first = numbered_ + 1;
    numbered_ += std::max<std::size_t>((kept->parcel.data.size() + piece - 1) / piece, 1);
    kept->last = numbered_;
    ++ready_;
    return true;
}

bool Outbox::pump(Nanoseconds now) {
    while (make_ready()) {
    }
    {
        const std::lock_guard lock(mutex_);
        if (!write_next_frame()) return false;
        // An acknowledgement can come before publish_ has returned.
        if (next_ == expected_) waiting_since_ = now;
        if (next_ <= published_) {
            ++resent_;
        } else {
            published_ = next_;
            if (timed_ == 0) {
                timed_ = next_;
                timed_since_ = now;
            }
        }
        ++next_;
    }
    if (publish_(frame_)) return true;
    const std::lock_guard lock(mutex_);
    next_ = expected_;
    return false;
}

/// A parcel that has begun is always finished: the receiver takes whole ones only.
bool Outbox::write_next_frame() {
    const auto is_before = [](const Kept& kept, std::uint64_t frame) { return kept.last < frame; };
    const auto end = kept_.begin() + static_cast<std::ptrdiff_t>(ready_);
    const auto kept = std::lower_bound(kept_.begin(), end, next_, is_before);
    if (kept == end) return false;
    if (kept->first > published_) {
        if (in_flight_ > 0 && in_flight_ + kept->cost() > limits_.in_flight) return false;
        in_flight_ += kept->cost();
    }
    const std::vector<std::byte>& data = kept->parcel.data;
    const std::size_t piece = limits_.frame_bytes - kFrameHeaderBytes;
    const std::size_t offset = (next_ - kept->first) * piece;
    const std::span bytes = std::span(data).subspan(offset, std::min(piece, data.size() - offset));
    Frame frame;
    frame.lane = lane_;
    frame.kind = kept->parcel.kind;
    frame.is_packed = kept->is_packed;
    frame.port = kept->parcel.port;
    frame.whole = static_cast<std::uint32_t>(data.size());
    frame.offset = static_cast<std::uint32_t>(offset);
    frame.number = next_;
    frame_.resize(kFrameHeaderBytes + bytes.size());
    write_header(frame, std::span(frame_).first<kFrameHeaderBytes>());
    std::ranges::copy(bytes, frame_.begin() + kFrameHeaderBytes);
    return true;
}

std::size_t Outbox::get_spooled_bytes() const {
    const std::lock_guard lock(mutex_);
    return bytes_;
}

bool Outbox::is_empty() const {
    const std::lock_guard lock(mutex_);
    return kept_.empty();
}

std::uint64_t Outbox::get_resent_frames() const {
    const std::lock_guard lock(mutex_);
    return resent_;
}

}  // namespace orv::bus
