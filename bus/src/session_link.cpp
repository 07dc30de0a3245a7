#include "orv/bus/session_link.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "orv/bus/inbox.h"
#include "orv/bus/report_stream.h"

namespace orv::bus {

namespace {

constexpr std::chrono::milliseconds kAcknowledgeInterval{500};
constexpr std::chrono::milliseconds kStreamPatience{1'000}, kFirstPatience{5'000};
/// Between two looks whether the server still knows the reader of reports.
constexpr std::chrono::seconds kStreamInterval{2};
/// What the server adds to a message.
constexpr std::size_t kSpareBytes = 1'024;

Nanoseconds get_now() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace

/// Lanes that end here, shared with those who have yet to take parcels.
class SessionLink::Impl {
  public:
    Impl(Connection& connection, const Setup& setup, Events events)
        : connection_(connection),
          setup_(setup),
          is_controller_(setup.side == Side::Controller),
          events_(std::move(events)),
          heard_(get_now()) {
        Outbox::Limits limits = setup.limits;
        const std::size_t most = connection.most_bytes();
        if (most < 2 * kSpareBytes)
            throw BusError(fmt::format("the server takes messages of {} bytes only (max_payload)", most));
        limits.frame_bytes = std::min(limits.frame_bytes, most - kSpareBytes);
        for (const Lane lane : kLanes) {
            // Each lane goes one way.
            if ((lane == Lane::Down) == is_controller_) {
                outboxes_[index(lane)].emplace(
                    lane, limits,
                    [this, subject = lane_subject(lane, setup.agent, setup.session)](
                        std::span<const std::byte> frame) {
                        return connection_.try_publish(subject, frame);
                    });
            } else {
                state_->inboxes[index(lane)].emplace(lane);
            }
        }
        const Lane direct = is_controller_ ? Lane::Answers : Lane::Down;
        back_subject_ = lane_subject(is_controller_ ? Lane::Down : Lane::Answers, setup.agent, setup.session);
        state_->link = this;
        subscription_ = connection.subscribe(lane_subject(direct, setup.agent, setup.session),
                                             [this](const Message& message) { on_message(message, {}); });
        if (is_controller_) {
            reports_.emplace(
                connection, lane_subject(Lane::Reports, setup.agent, setup.session),
                [this](const Message& message) { on_message(message, std::string(message.reply)); },
                kFirstPatience);
        }
        thread_ = std::thread([this] { run(); });
    }

    ~Impl() {
        // Reports that are taken from now on are not acknowledged any more.
        {
            const std::lock_guard lock(state_->mutex);
            state_->link = nullptr;
        }
        {
            const std::lock_guard lock(mutex_);
            is_ending_ = true;
        }
        changed_.notify_all();
        thread_.join();
        subscription_.reset();
        reports_.reset();
    }

    bool send(Lane lane, Parcel parcel, bool urgent) {
        if (!get_outbox(lane).post(std::move(parcel), urgent)) return false;
        wake();
        return true;
    }

    void on_reconnected() {
        for (auto& outbox : outboxes_)
            if (outbox) outbox->on_reconnected();
        must_renew_ = true;
        wake();
    }

    Nanoseconds get_silence() const { return get_now() - heard_.load(); }

    bool wait_until_taken(Lane lane, Nanoseconds patience) {
        std::unique_lock lock(mutex_);
        return taken_.wait_for(lock, patience, [&] { return get_outbox(lane).is_empty(); });
    }

    const Outbox& get_outbox(Lane lane) const { return *outboxes_[index(lane)]; }
    Outbox& get_outbox(Lane lane) { return *outboxes_[index(lane)]; }

  private:
    static constexpr std::array kLanes{Lane::Down, Lane::Answers, Lane::Reports};
    static std::size_t index(Lane lane) { return static_cast<std::size_t>(lane); }

    /// What outlives the link: parcels may be taken later.
    struct State {
        std::mutex mutex;
        Impl* link = nullptr;
        std::array<std::optional<Inbox>, kLaneCount> inboxes;
        /// Their handlers are at work.
        std::array<std::atomic<bool>, kLaneCount> are_busy{};
    };

    void wake() {
        {
            const std::lock_guard lock(mutex_);
            is_awake_ = true;
        }
        changed_.notify_one();
    }

    /// `delivery`: of a message of the stream, where it is acknowledged.
    void on_message(const Message& message, const std::string& delivery) {
        if (const auto acknowledgement = decode_acknowledgement(message.data);
            acknowledgement && delivery.empty()) {
            heard_ = get_now();
            if (auto& outbox = outboxes_[index(acknowledgement->lane)]) {
                outbox->acknowledge(*acknowledgement, get_now());
                {
                    const std::lock_guard lock(mutex_);
                    is_awake_ = true;
                }
                changed_.notify_one();
                taken_.notify_all();
            }
            return;
        }
        if (const auto frame = decode_frame(message.data)) on_frame(*frame, !delivery.empty());
        // Whatever it was: what is missing comes again by itself.
        if (!delivery.empty()) ReportStream::acknowledge(connection_, delivery);
    }

    void on_frame(const Frame& frame, bool is_from_stream) {
        auto& inbox = state_->inboxes[index(frame.lane)];
        // Reports come through the stream, others never do.
        if (!inbox || (frame.lane == Lane::Reports) != is_from_stream) return;
        heard_ = get_now();
        Inbox::Result result = inbox->add(frame);
        if (result.verdict == Inbox::Verdict::Broken && !is_broken_.exchange(true)) wake();
        if (result.verdict != Inbox::Verdict::Complete) return;
        std::atomic<bool>& is_busy = state_->are_busy[index(frame.lane)];
        is_busy = true;
        events_.receive(frame.lane, std::move(*result.parcel),
                        [state = state_, lane = frame.lane, number = result.number] {
                            const std::lock_guard lock(state->mutex);
                            if (!state->link) return;
                            state->inboxes[index(lane)]->take(number);
                            state->link->must_acknowledge_ = true;
                            state->link->wake();
                        });
        is_busy = false;
    }

    void run() {
        Nanoseconds acknowledge_at = get_now(), look_at = get_now() + kStreamInterval;
        bool has_published = false;
        for (;;) {
            {
                std::unique_lock lock(mutex_);
                if (!has_published)
                    changed_.wait_for(lock, std::max(acknowledge_at - get_now(), Nanoseconds::zero()),
                                      [this] { return is_awake_ || is_ending_; });
                if (is_ending_) return;
                is_awake_ = false;
            }
            if (must_acknowledge_.exchange(false) || get_now() >= acknowledge_at) {
                acknowledge();
                acknowledge_at = get_now() + kAcknowledgeInterval;
            }
            has_published = false;
            for (auto& outbox : outboxes_)
                if (outbox && outbox->pump(get_now())) has_published = true;
            if (reports_ && must_renew_.exchange(false)) {
                look_after_reports([this] { reports_->renew(kStreamPatience); });
            } else if (reports_ && get_now() >= look_at) {
                look_after_reports([this] { reports_->restore(kStreamPatience); });
                look_at = get_now() + kStreamInterval;
            }
            if (is_broken_ && !std::exchange(is_broken_said_, true) && events_.broken)
                events_.broken("the other end sends parcels that do not fit together");
        }
    }

    void acknowledge() {
        for (std::size_t lane = 0; lane < kLaneCount; ++lane) {
            if (!state_->inboxes[lane]) continue;
            // Whoever accepts nothing has not lost what he waits for.
            const bool is_busy = state_->are_busy[lane] || state_->inboxes[lane]->is_full();
            Acknowledgement acknowledgement = state_->inboxes[lane]->get_acknowledgement();
            acknowledgement.is_busy = is_busy;
            connection_.try_publish(back_subject_, encode(acknowledgement));
        }
    }

    /// The server may have been started again without its memory.
    void look_after_reports(const std::function<void()>& look) {
        if (!connection_.is_connected()) return;
        try {
            look();
            failures_ = 0;
        } catch (const BusError& error) {
            // The first one is often a connection that nobody knows yet to be lost.
            if (++failures_ == 2 && events_.warn) events_.warn(error.what());
        }
    }

    Connection& connection_;
    const Setup setup_;
    const bool is_controller_;
    const Events events_;
    std::string back_subject_;  ///< of acknowledgements
    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::array<std::optional<Outbox>, kLaneCount> outboxes_;
    std::atomic<Nanoseconds> heard_;
    std::atomic<bool> must_renew_ = false, must_acknowledge_ = false;
    std::atomic<bool> is_broken_ = false;  ///< what comes
    bool is_broken_said_ = false;
    int failures_ = 0;  ///< to look after the reader of reports, one after the other

    std::mutex mutex_;
    std::condition_variable changed_, taken_;
    bool is_awake_ = true;
    bool is_ending_ = false;

    std::unique_ptr<Subscription> subscription_;
    std::optional<ReportStream> reports_;
    std::thread thread_;
};

SessionLink::SessionLink(Connection& connection, const Setup& setup, Events events)
    : impl_(std::make_unique<Impl>(connection, setup, std::move(events))) {}
SessionLink::~SessionLink() = default;

bool SessionLink::send(Lane lane, Parcel parcel, bool urgent) {
    return impl_->send(lane, std::move(parcel), urgent);
}
void SessionLink::on_reconnected() {
    impl_->on_reconnected();
}
Nanoseconds SessionLink::get_silence() const {
    return impl_->get_silence();
}
bool SessionLink::wait_until_taken(Lane lane, Nanoseconds patience) const {
    return impl_->wait_until_taken(lane, patience);
}
std::size_t SessionLink::get_spooled_bytes(Lane lane) const {
    return impl_->get_outbox(lane).get_spooled_bytes();
}

}  // namespace orv::bus
