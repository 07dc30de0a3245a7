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
constexpr std::chrono::milliseconds kStreamPatience{1'000};
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
        limits.frame_bytes = std::min(limits.frame_bytes, connection.most_bytes() - kSpareBytes);
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
                kStreamPatience * 5);
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
        must_restore_ = true;
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
        const auto frame = decode_frame(message.data);
        // Reports come through the stream, others never do.
        if (!frame || (frame->lane == Lane::Reports) == delivery.empty())
            return acknowledge_delivery(delivery);
        auto& inbox = state_->inboxes[index(frame->lane)];
        if (!inbox) return acknowledge_delivery(delivery);
        heard_ = get_now();
        Inbox::Result result = inbox->add(*frame);
        if (result.verdict != Inbox::Verdict::Complete) return acknowledge_delivery(delivery);
        events_.receive(frame->lane, std::move(*result.parcel),
                        [state = state_, lane = frame->lane, number = result.number, delivery] {
                            const std::lock_guard lock(state->mutex);
                            if (!state->link) return;
                            state->inboxes[index(lane)]->take(number);
                            state->link->acknowledge_delivery(delivery);
                            state->link->must_acknowledge_ = true;
                            state->link->wake();
                        });
    }

    void acknowledge_delivery(const std::string& delivery) {
        if (!delivery.empty()) ReportStream::acknowledge(connection_, delivery);
    }

    void run() {
        Nanoseconds acknowledge_at = get_now(), look_at = get_now() + kStreamInterval;
        for (;;) {
            {
                std::unique_lock lock(mutex_);
                changed_.wait_for(lock, std::max(acknowledge_at - get_now(), Nanoseconds::zero()),
                                  [this] { return is_awake_ || is_ending_; });
                if (is_ending_) return;
                is_awake_ = false;
            }
            if (must_acknowledge_.exchange(false) || get_now() >= acknowledge_at) {
                acknowledge();
                acknowledge_at = get_now() + kAcknowledgeInterval;
            }
            for (auto& outbox : outboxes_)
                if (outbox) outbox->pump(get_now());
            const bool is_late = get_now() >= look_at;
            if (reports_ && (must_restore_.exchange(false) || is_late)) {
                look_at = get_now() + kStreamInterval;
                restore();
            }
        }
    }

    void acknowledge() {
        for (const auto& inbox : state_->inboxes)
            if (inbox) connection_.try_publish(back_subject_, encode(inbox->get_acknowledgement()));
    }

    /// The server may have been started again without its memory.
    void restore() {
        if (!connection_.is_connected()) return;
        try {
            reports_->restore(kStreamPatience);
            is_warned_ = false;
        } catch (const BusError& error) {
            if (!std::exchange(is_warned_, true) && events_.warn) events_.warn(error.what());
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
    std::atomic<bool> must_restore_ = false, must_acknowledge_ = false;
    bool is_warned_ = false;

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
