#include "orv/nic/live_port.h"

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>

#include <array>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "clock_bridge.h"
#include "complaints.h"
#include "link_sink.h"
#include "live_world.h"
#include "mailbox.h"
#include "orv/il/port_core.h"
#include "packet_link.h"
#include "stream_sender.h"
#include "wake_pacer.h"
#include "work_queue.h"

namespace orv::nic {

namespace {

/// Most timers that expire before frames are handed to the interface.
constexpr int kMostTimers = 64;
constexpr il::Time kHousekeeping = il::kSecond;

/// If there is something to do as soon as that, received frames are read together with it.
constexpr il::Time kSoon = il::kMillisecond;

/// A link that did not take all frames is retried after that time.
constexpr il::Time kSendAgain = 200'000;
/// How long the last frames have to leave: at 10 Mbit/s, the leaves of ten thousand STBs.
constexpr il::Time kLongestGoodbye = il::kSecond;
/// Between some hosts that give back their addresses and the next ones, and for all of them: thirty thousand.
constexpr il::Time kGiveBackInterval = 10 * il::kMillisecond;
constexpr il::Time kLongestGivingBack = 60 * il::kSecond;

}  // namespace

class LivePort::Impl {
  public:
    Impl(Setup setup, Send send, HangUp hang_up, Complain complain)
        : setup_(std::move(setup)),
          link_(setup_.interface),
          sink_(link_),
          sender_(link_, clock_, figures_),
          world_(setup_,
                 {work_, sink_, figures_, link_.get_mtu(), complain,
                  [this](const Listening& listening) { link_.listen(listening); }},
                 [this] { look_for_complaints(); }),
          complaints_(std::move(complain)),
          hang_up_(std::move(hang_up)),
          core_(
              std::in_place, setup_.name, setup_.faults, setup_.seed, world_, work_,
              // When the end of a test is reported, its figures are complete.
              [this, send = std::move(send)](std::vector<std::byte> bytes) {
                  publish();
                  send(std::move(bytes));
              },
              hang_up_),
          thread_([this] { run(); }) {}

    ~Impl() {
        is_ending_ = true;
        mailbox_.post([] {});
        thread_.join();
    }

    void receive(std::vector<std::byte> bytes) {
        if (is_over_) return;
        mailbox_.post([this, bytes = std::move(bytes)] {
            core_->receive(bytes);
            // Before a test starts, because it takes time.
            if (const auto hosts = world_.know_hosts(core_->configuration().interfaces))
                link_.make_room(*hosts);
        });
    }

    std::future<void> set_streams(std::vector<Stream> streams) {
        auto begun = std::make_shared<std::promise<void>>();
        mailbox_.post([this, begun, streams = std::move(streams)]() mutable {
            begun_ = std::move(begun);
            if (streams.empty()) look_for_complaints();
            const std::size_t too_long = sender_.set(std::move(streams), get_monotonic_time());
            if (too_long > 0) complaints_.on_too_long(too_long, link_.get_mtu());
        });
        return begun->get_future();
    }

    LiveFigures get_figures() const {
        const std::lock_guard lock(mutex_);
        return published_;
    }

  private:
    void run() {
        keep_time();
        try {
            while (!is_ending_) turn();
        } catch (const std::exception& error) {
            hang_up_(error.what());
        }
        is_over_ = true;
        say_goodbye();
        look_for_complaints();
        publish();
    }

    /// Finishes requested work before the end; the destructor of a run leaves its groups.
    void say_goodbye() {
        try {
            mailbox_.work_off();
        } catch (const std::exception& error) {
            hang_up_(error.what());
        }
        core_.reset();
        // Servers do not answer: they are given the time to take it.
        const il::Time latest = get_monotonic_time() + kLongestGivingBack;
        while (world_.give_back_some()) {
            if (get_monotonic_time() >= latest) {
                complaints_.on_addresses_kept();
                break;
            }
            link_.flush();
            std::this_thread::sleep_for(Nanoseconds(kGiveBackInterval));
        }
        sender_.set({}, 0);
        const il::Time until = get_monotonic_time() + kLongestGoodbye;
        for (link_.flush(); link_.get_backlog() > 0 && get_monotonic_time() < until; link_.flush())
            std::this_thread::sleep_for(Nanoseconds(kSendAgain));
        if (link_.get_backlog() > 0) complaints_.on_left_behind(link_.get_backlog());
    }

    /// Real-time scheduling, if permitted, so that joins leave on time. Nothing else needs more privileges
    /// than packet sockets.
    static void keep_time() {
        ::prctl(PR_SET_TIMERSLACK, 1);
        sched_param priority{};
        priority.sched_priority = 1;
        ::pthread_setschedparam(::pthread_self(), SCHED_RR, &priority);
    }

    void turn() {
        il::Time now = get_monotonic_time();
        work_.run_due(now, kMostTimers);
        if (is_due(sender_.next(), now)) sender_.run(now);
        link_.flush();
        if (begun_ && sender_.has_begun()) {
            publish();
            std::exchange(begun_, nullptr)->set_value();
        }
        if (is_due(housekeeping_, now)) keep_house(now);
        const bool is_behind = is_due(work_.next(), now) || is_due(sender_.next(), now);
        if (!is_behind && !has_more_) wait();
        clock_.begin_reading();
        has_more_ = !link_.receive([this](const SeenFrame& frame) {
            if (!frame.is_outgoing) ++figures_.frames_received;
            world_.on_seen(frame, clock_.read(frame.stamp));
        });
        clock_.end_reading(!has_more_);
        mailbox_.work_off();
        link_.flush();
        publish();
    }

    static bool is_due(il::Time time, il::Time now) { return time != il::kNever && time <= now; }

    void keep_house(il::Time now) {
        housekeeping_ = now + kHousekeeping;
        link_.check();
        figures_.frames_dropped += link_.take_dropped();
    }

    void look_for_complaints() {
        figures_.frames_dropped += link_.take_dropped();
        complaints_.look(figures_);
    }

    /// Until there is something to do: a timer, a frame, or mail.
    void wait() {
        il::Time now = get_monotonic_time();
        if (now < pacer_.get_earliest()) {
            sleep(pacer_.get_earliest() - now, false);
            now = get_monotonic_time();
        }
        il::Time until = housekeeping_;
        for (const il::Time next : {work_.next(), sender_.next()})
            if (next != il::kNever) until = std::min(until, next);
        if (link_.get_backlog() > 0) until = std::min(until, now + kSendAgain);
        if (until > now) sleep(until - now, until - now > kSoon);
        pacer_.on_wake(get_monotonic_time());
    }

    void sleep(il::Time time, bool watches_frames) {
        const timespec timeout{time / il::kSecond, time % il::kSecond};
        std::array waited{pollfd{mailbox_.get_descriptor(), POLLIN, 0},
                          pollfd{link_.get_descriptor(), POLLIN, 0}};
        ::ppoll(waited.data(), watches_frames ? 2 : 1, &timeout, nullptr);
        if ((waited[1].revents & (POLLERR | POLLHUP)) != 0) link_.check();
    }

    void publish() {
        const std::lock_guard lock(mutex_);
        published_ = figures_;
    }

    const Setup setup_;
    PacketLink link_;
    LinkSink sink_;
    ClockBridge clock_;
    WorkQueue work_;
    Mailbox mailbox_;
    LiveFigures figures_;  ///< used by the port's thread
    mutable std::mutex mutex_;
    LiveFigures published_;
    StreamSender sender_;
    std::shared_ptr<std::promise<void>> begun_;  ///< until every stream has
    LiveWorld world_;
    Complaints complaints_;
    HangUp hang_up_;
    WakePacer pacer_;
    bool has_more_ = false;  ///< frames to receive
    il::Time housekeeping_ = 0;
    std::optional<il::PortCore> core_;
    std::atomic<bool> is_ending_ = false;
    std::atomic<bool> is_over_ = false;  ///< the thread must end
    std::thread thread_;                 ///< last member, because it uses all others
};

LivePort::LivePort(Setup setup, Send send, HangUp hang_up, Complain complain)
    : impl_(std::make_unique<Impl>(std::move(setup), std::move(send), std::move(hang_up),
                                   std::move(complain))) {}

LivePort::~LivePort() = default;

void LivePort::Receive(const std::vector<std::byte>& bytes) {
    impl_->receive(bytes);
}

std::future<void> LivePort::SetStreams(std::vector<Stream> streams) {
    return impl_->set_streams(std::move(streams));
}

LiveFigures LivePort::GetFigures() const {
    return impl_->get_figures();
}

}  // namespace orv::nic
