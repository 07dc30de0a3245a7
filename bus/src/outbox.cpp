#include "orv/bus/outbox.h"

#include <algorithm>
#include <utility>

namespace orv::bus {

namespace {

/// How long the receiver may wait for a frame that was published before it is published again.
constexpr Nanoseconds kOverdue = std::chrono::seconds(1);

}  // namespace

Outbox::Outbox(Lane lane, const Limits& limits, Publish publish)
    : lane_(lane), limits_(limits), publish_(std::move(publish)) {}

bool Outbox::post(Parcel parcel, bool urgent) {
    const std::lock_guard lock(mutex_);
    if (!urgent && bytes_ + parcel.data.size() > limits_.spool) return false;
    const std::size_t piece = limits_.frame_bytes - kFrameHeaderBytes;
    const std::size_t frames = std::max<std::size_t>((parcel.data.size() + piece - 1) / piece, 1);
    bytes_ += parcel.data.size();
    kept_.push_back({std::move(parcel), posted_ + 1, posted_ + frames});
    posted_ += frames;
    return true;
}

void Outbox::acknowledge(const Acknowledgement& acknowledgement, Nanoseconds now) {
    const std::lock_guard lock(mutex_);
    // What nobody published cannot have been taken, and nothing that was taken is missed again.
    if (acknowledgement.taken > published_ || acknowledgement.expected > published_ + 1) return;
    for (; !kept_.empty() && kept_.front().last <= acknowledgement.taken; kept_.pop_front())
        bytes_ -= kept_.front().parcel.data.size();
    taken_ = std::max(taken_, acknowledgement.taken);
    next_ = std::max(next_, taken_ + 1);
    if (acknowledgement.expected > expected_) {
        expected_ = acknowledgement.expected;
        expected_since_ = now;
    } else if (expected_ < next_ && now - expected_since_ > kOverdue) {
        next_ = std::max(expected_, taken_ + 1);
        expected_since_ = now;
    }
}

void Outbox::on_reconnected() {
    const std::lock_guard lock(mutex_);
    next_ = std::max(expected_, taken_ + 1);
}

/// A parcel that has begun is always finished: the receiver takes whole ones only.
void Outbox::pump(Nanoseconds now) {
    const std::lock_guard lock(mutex_);
    const auto is_before = [](const Kept& kept, std::uint64_t frame) { return kept.last < frame; };
    auto kept = std::lower_bound(kept_.begin(), kept_.end(), next_, is_before);
    std::size_t in_flight = 0;
    for (auto it = kept_.begin(); it != kept; ++it) in_flight += it->parcel.data.size();
    const std::size_t piece = limits_.frame_bytes - kFrameHeaderBytes;
    for (; kept != kept_.end(); ++kept) {
        const std::vector<std::byte>& data = kept->parcel.data;
        if (in_flight > 0 && in_flight + data.size() > limits_.in_flight) return;
        in_flight += data.size();
        for (; next_ <= kept->last; ++next_) {
            const std::size_t offset = (next_ - kept->first) * piece;
            Frame frame;
            frame.lane = lane_;
            frame.kind = kept->parcel.kind;
            frame.port = kept->parcel.port;
            frame.whole = static_cast<std::uint32_t>(data.size());
            frame.offset = static_cast<std::uint32_t>(offset);
            frame.number = next_;
            const std::size_t bytes = std::min(piece, data.size() - offset);
            frame_.resize(kFrameHeaderBytes + bytes);
            write_header(frame, std::span(frame_).first<kFrameHeaderBytes>());
            std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(offset), bytes,
                        frame_.begin() + kFrameHeaderBytes);
            if (!publish_(frame_)) return;
            // The receiver has waited for it only since now.
            if (next_ == expected_) expected_since_ = now;
            if (next_ <= published_) ++resent_;
            published_ = std::max(published_, next_);
        }
    }
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
