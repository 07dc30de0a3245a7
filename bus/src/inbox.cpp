#include "orv/bus/inbox.h"

#include <algorithm>
#include <utility>

#include "packing.h"

namespace orv::bus {

namespace {

/// What a parcel costs beside its bytes: empty ones must not come without limits.
constexpr std::size_t kParcelCost = 256;

}  // namespace

Inbox::Result Inbox::add(const Frame& frame) {
    const std::lock_guard lock(mutex_);
    if (frame.lane != lane_) return {Verdict::Broken};
    if (frame.number < expected_) return {Verdict::Known};
    if (frame.number > expected_) return {Verdict::Ahead};
    if (frame.offset == 0 && untaken_bytes_ > most_untaken_) return {Verdict::Ahead};
    if (frame.offset == 0) {
        if (!parcel_.data.empty()) return {Verdict::Broken};
        parcel_ = {frame.kind, frame.port, {}};
        whole_ = frame.whole;
        is_packed_ = frame.is_packed;
    } else if (frame.offset != parcel_.data.size() || frame.whole != whole_ || frame.kind != parcel_.kind ||
               frame.port != parcel_.port) {
        return {Verdict::Broken};
    }
    parcel_.data.insert(parcel_.data.end(), frame.piece.begin(), frame.piece.end());
    ++expected_;
    if (!frame.is_last()) return {Verdict::Kept};
    Parcel parcel = std::exchange(parcel_, {});
    if (is_packed_) {
        auto data = unpack(parcel.data);
        if (!data) return {Verdict::Broken};
        parcel.data = std::move(*data);
    }
    untaken_.push_back({frame.number, parcel.data.size() + kParcelCost});
    untaken_bytes_ += untaken_.back().bytes;
    return {Verdict::Complete, std::move(parcel), frame.number};
}

void Inbox::take(std::uint64_t number) {
    const std::lock_guard lock(mutex_);
    taken_ = std::max(taken_, number);
    for (; !untaken_.empty() && untaken_.front().number <= taken_; untaken_.pop_front())
        untaken_bytes_ -= untaken_.front().bytes;
}

bool Inbox::is_full() const {
    const std::lock_guard lock(mutex_);
    return untaken_bytes_ > most_untaken_;
}

Acknowledgement Inbox::get_acknowledgement() const {
    const std::lock_guard lock(mutex_);
    return {lane_, taken_, expected_};
}

}  // namespace orv::bus
