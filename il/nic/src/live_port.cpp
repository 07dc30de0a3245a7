#include "orv/nic/live_port.h"

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/prctl.h>

#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "clock_bridge.h"
#include "complaints.h"
#include "live_world.h"
#include "mailbox.h"
#include "packet_link.h"
#include "port_core.h"
#include "stream_sender.h"
#include "work_queue.h"

namespace orv::nic {

namespace {

/// Timers that go off before frames are handed to the interface.
constexpr int kMostTimers = 16;
constexpr il::Time kHousekeeping = il::kSecond;

/// Frames of hosts go out with the next flush.
class LinkSink : public FrameSink {
  public:
    explicit LinkSink(PacketLink& link) : link_(link) {}

    bool send(std::span<const std::byte> frame) override {
        std::span<std::byte> room = link_.room();
        if (room.empty()) {  // behind the packets of a generator, perhaps
            link_.flush();
            room = link_.room();
        }
        if (room.size() < frame.size()) return false;
        std::memcpy(room.data(), frame.data(), frame.size());
        link_.commit(frame.size());
        return true;
    }

  private:
    PacketLink& link_;
};

}  // namespace

class LivePort::Impl {
  public:
    Impl(Setup setup, Send send, HangUp hang_up, Complain complain)
        : setup_(std::move(setup)),
          link_(setup_.interface),
          sink_(link_),
          sender_(link_, clock_, figures_),
          world_(setup_, work_, sink_, figures_, [this] { look_for_complaints(); }),
          complaints_(std::move(complain)),
          hang_up_(std::move(hang_up)),
          core_(
              std::in_place, setup_.name, setup_.faults, setup_.seed, world_, work_,
              // Who has heard of the end of a test finds all of it in the figures.
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
        mailbox_.post([this, bytes = std::move(bytes)] {
            core_->receive(bytes);
            world_.know_hosts(core_->configuration().interfaces);
        });
    }

    void set_streams(std::vector<Stream> streams) {
        mailbox_.post([this, streams = std::move(streams)]() mutable {
            if (streams.empty()) look_for_complaints();
            has_streams_ = !streams.empty();
            sender_.set(std::move(streams), get_monotonic_time());
        });
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
        // The run of a test leaves its groups when it goes.
        try {
            core_.reset();
            link_.flush();
        } catch (const std::exception&) {  // the interface has gone, and with it all memberships
        }
        publish();
    }

    /// Joins are to leave at their time. Real-time scheduling is for those who may have it; nothing else
    /// needs more than packet sockets do.
    static void keep_time() {
        ::prctl(PR_SET_TIMERSLACK, 1);
        sched_param priority{};
        priority.sched_priority = 1;
        ::pthread_setschedparam(::pthread_self(), SCHED_RR, &priority);
    }

    void turn() {
        il::Time now = get_monotonic_time();
        for (int done = 0; done < kMostTimers && is_due(work_.next(), now); ++done) work_.run_next();
        if (is_due(sender_.next(), now)) sender_.run(now);
        flush();
        if (is_due(housekeeping_, now)) keep_house(now);
        wait();
        clock_.measure();
        link_.receive([this](const SeenFrame& frame) {
            if (!frame.is_outgoing) ++figures_.frames_received;
            world_.on_seen(frame, clock_.to_monotonic(frame.stamp));
        });
        mailbox_.work_off();
        flush();
        publish();
    }

    static bool is_due(il::Time time, il::Time now) { return time != il::kNever && time <= now; }

    /// The kernel does not say which frames it has refused: nearly all of them are those of streams.
    void flush() {
        (has_streams_ ? figures_.stream_packets_unsent : figures_.frames_unsent) += link_.flush();
    }

    void keep_house(il::Time now) {
        housekeeping_ = now + kHousekeeping;
        figures_.frames_dropped += link_.take_dropped();
    }

    void look_for_complaints() {
        figures_.frames_dropped += link_.take_dropped();
        complaints_.look(figures_);
    }

    void wait() {
        il::Time until = housekeeping_;
        for (const il::Time next : {work_.next(), sender_.next()})
            if (next != il::kNever) until = std::min(until, next);
        const il::Time left = std::max<il::Time>(until - get_monotonic_time(), 0);
        const timespec timeout{left / il::kSecond, left % il::kSecond};
        std::array waited{pollfd{link_.get_descriptor(), POLLIN, 0},
                          pollfd{mailbox_.get_descriptor(), POLLIN, 0}};
        ::ppoll(waited.data(), waited.size(), &timeout, nullptr);
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
    LiveFigures figures_;  ///< of the port's thread
    mutable std::mutex mutex_;
    LiveFigures published_;
    StreamSender sender_;
    LiveWorld world_;
    Complaints complaints_;
    HangUp hang_up_;
    bool has_streams_ = false;
    il::Time housekeeping_ = 0;
    std::optional<il::PortCore> core_;
    std::atomic<bool> is_ending_ = false;
    std::thread thread_;  ///< the last one: it uses all the others
};

LivePort::LivePort(Setup setup, Send send, HangUp hang_up, Complain complain)
    : impl_(std::make_unique<Impl>(std::move(setup), std::move(send), std::move(hang_up),
                                   std::move(complain))) {}

LivePort::~LivePort() = default;

void LivePort::Receive(const std::vector<std::byte>& bytes) {
    impl_->receive(bytes);
}

void LivePort::SetStreams(std::vector<Stream> streams) {
    impl_->set_streams(std::move(streams));
}

LiveFigures LivePort::GetFigures() const {
    return impl_->get_figures();
}

}  // namespace orv::nic
