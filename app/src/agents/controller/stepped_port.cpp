#include "agents/controller/stepped_port.h"

#include <fmt/format.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

#include "agents/protocol/step.h"
#include "orv/tm/message_head.h"

namespace orv::app {

namespace {

constexpr std::chrono::milliseconds kLook{100};
/// A port that the user does not want to wait for.
constexpr std::chrono::seconds kStepPatience{2};
/// Nobody has as many timers at one moment: time would stand still.
constexpr std::uint32_t kMostStepsAtOnce = 100'000;

}  // namespace

class SteppedPort::Impl {
  public:
    Impl(std::shared_ptr<AgentSession> session, std::uint16_t port, il::ITimeline& timeline,
         GetStreams get_streams, Send send, HangUp hang_up)
        : session_(std::move(session)),
          port_(port),
          timeline_(timeline),
          get_streams_(std::move(get_streams)),
          send_(std::move(send)),
          hang_up_(std::move(hang_up)) {
        session_->Attach(port_, {[this](bus::Lane, bus::Parcel parcel, const bus::SessionLink::Take& take) {
                                     OnParcel(parcel);
                                     take();
                                 },
                                 [this](const std::string& reason) { OnEnd(reason); }});
    }

    ~Impl() {
        session_->Detach(port_);
        for (const auto& [timer, id] : timers_) timeline_.Cancel(id);
        if (!is_over_) session_->Send(MakeTextParcel(ParcelKind::HungUp, port_, "the connection was closed"));
    }

    void Take(Step step) {
        if (is_over_) return;
        step.number = ++steps_;
        step.now = timeline_.GetNow();
        session_->Send(MakeParcel(ParcelKind::Step, port_, Encode(step)));
        try {
            CountStep(step.now);
            for (StepAction& action : WaitForIt().actions) Do(action);
        } catch (const ProtocolError& error) {
            End(fmt::format("{}; what it would have reported after notification {} is lost", error.what(),
                            notifications_));
        }
    }

    const il::StreamsOnAir& GetStreamsNow() const { return get_streams_(); }

  private:
    void CountStep(std::chrono::nanoseconds now) {
        steps_at_once_ = now == latest_ ? steps_at_once_ + 1 : 0;
        latest_ = now;
        if (steps_at_once_ > kMostStepsAtOnce)
            throw ProtocolError(Describe("takes no end of steps at one moment"));
    }

    std::string Describe(const std::string& what) const {
        return fmt::format("agent \"{}\" {}", session_->GetAgent(), what);
    }

    /// Throws ProtocolError if the session ends before, the agent answers something else, or nobody wants to
    /// wait for it.
    StepDone WaitForIt() {
        using Clock = std::chrono::steady_clock;
        std::vector<std::byte> bytes;
        {
            std::unique_lock lock(mutex_);
            const auto until = Clock::now() + session_->GetLease();
            std::optional<Clock::time_point> interrupted_until;
            while (!changed_.wait_for(lock, kLook, [this] { return done_ || end_; })) {
                if (Clock::now() > until)
                    throw ProtocolError(Describe(
                        fmt::format("has not taken a step within {} s", session_->GetLease().count())));
                if (!session_->IsInterrupted()) continue;
                if (!interrupted_until) interrupted_until = Clock::now() + kStepPatience;
                if (Clock::now() < *interrupted_until) continue;
                // All ports of the session, which would each wait as long.
                lock.unlock();
                session_->Abandon("was taking a step when the test was interrupted");
                lock.lock();
            }
            if (!done_) throw ProtocolError(*end_);
            bytes = std::move(*done_);
            done_.reset();
        }
        StepDone done = ReadStepDone(bytes);
        if (done.number != steps_) throw ProtocolError("the agent took another step");
        return done;
    }

    void Do(StepAction& action) {
        switch (action.kind) {
            case StepAction::Kind::Send:
                if (const auto head = tm::read_message_head(action.data);
                    head && head->type == tm::TMT_REQUEST)
                    ++notifications_;
                return send_(std::move(action.data));
            case StepAction::Kind::HangUp:
                return End({reinterpret_cast<const char*>(action.data.data()), action.data.size()});
            case StepAction::Kind::Post:
                if (timers_.contains(action.timer)) throw ProtocolError(Describe("set a timer twice"));
                timers_[action.timer] = timeline_.PostAfter(action.delay, [this, timer = action.timer] {
                    timers_.erase(timer);
                    Take({.event = Step::Event::Timer, .timer = timer});
                });
                return;
            case StepAction::Kind::Cancel:
                if (const auto timer = timers_.extract(action.timer)) timeline_.Cancel(timer.mapped());
                return;
        }
    }

    void End(const std::string& reason) {
        if (!std::exchange(is_over_, true)) hang_up_(reason);
    }

    void OnParcel(bus::Parcel& parcel) {
        {
            const std::lock_guard lock(mutex_);
            if (static_cast<ParcelKind>(parcel.kind) == ParcelKind::StepDone) {
                done_ = std::move(parcel.data);
            } else if (static_cast<ParcelKind>(parcel.kind) == ParcelKind::HungUp) {
                end_ = GetText(parcel);
            }
        }
        changed_.notify_all();
    }

    void OnEnd(const std::string& reason) {
        {
            const std::lock_guard lock(mutex_);
            end_ = reason;
        }
        changed_.notify_all();
    }

    const std::shared_ptr<AgentSession> session_;
    const std::uint16_t port_;
    il::ITimeline& timeline_;
    const GetStreams get_streams_;
    const Send send_;
    const HangUp hang_up_;
    std::uint64_t steps_ = 0;
    std::chrono::nanoseconds latest_{};
    std::uint32_t steps_at_once_ = 0;
    std::uint64_t notifications_ = 0;                ///< sent by the port
    std::map<std::uint64_t, std::uint64_t> timers_;  ///< the port's, to ids of the timeline
    bool is_over_ = false;

    std::mutex mutex_;  ///< of the following members, which the session's threads set
    std::condition_variable changed_;
    std::optional<std::vector<std::byte>> done_;
    std::optional<std::string> end_;
};

SteppedPort::SteppedPort(std::shared_ptr<AgentSession> session, std::uint16_t port, il::ITimeline& timeline,
                         GetStreams get_streams, Send send, HangUp hang_up)
    : impl_(std::make_unique<Impl>(std::move(session), port, timeline, std::move(get_streams),
                                   std::move(send), std::move(hang_up))) {}
SteppedPort::~SteppedPort() = default;

void SteppedPort::Receive(const std::vector<std::byte>& bytes) {
    impl_->Take({.event = Step::Event::Receive, .data = bytes});
}

void SteppedPort::ChannelsChange(const std::function<void()>& change) {
    change();
    const std::string streams = ToJson(impl_->GetStreamsNow().GetPaths());
    const auto bytes = std::as_bytes(std::span(streams));
    impl_->Take({.event = Step::Event::OnAir, .data = {bytes.begin(), bytes.end()}});
}

}  // namespace orv::app
