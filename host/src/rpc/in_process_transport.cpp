// Transports: what they have in common, and the two ends of a connection within the process.
#include <deque>
#include <mutex>
#include <optional>

#include "log/framework_log.h"
#include "orv/framework/task_manager.h"
#include "orv/framework/transport.h"

namespace orv::framework {

ITransport::~ITransport() = default;

namespace {

constexpr const char* kClosedByPeer = "the other end closed the connection";

/// What has arrived at an end: a message, or (nothing) that the other end has closed.
using Arrival = std::optional<std::vector<std::byte>>;

/// Shared by the two ends and by the deliveries under way, so that each may go first.
struct Link {
    struct End {
        ITransport::Receive receive;
        ITransport::Closed closed;
        std::deque<Arrival> arrived;
        bool is_open = true;
    };

    explicit Link(std::chrono::nanoseconds link_latency) : latency(link_latency) {}

    const std::chrono::nanoseconds latency;
    std::mutex mutex;  ///< never held while a callback runs
    End ends[2];
};

/// Hands an end what has arrived. Runs under the task lock, and so does Close where it forbids callbacks:
/// after Close no callback of the end is running or will run.
void Deliver(const std::shared_ptr<Link>& link, int index) {
    Link::End& end = link->ends[index];
    for (;;) {
        std::unique_lock guard(link->mutex);
        if (!end.is_open || !end.receive || end.arrived.empty()) return;
        Arrival arrival = std::move(end.arrived.front());
        end.arrived.pop_front();
        // Copies: a callback may close its own end.
        const ITransport::Receive receive = end.receive;
        const ITransport::Closed closed = end.closed;
        if (!arrival) end.is_open = false;
        guard.unlock();
        try {
            if (arrival) {
                receive(std::move(*arrival));
            } else if (closed) {
                closed(kClosedByPeer);
            }
        } catch (...) {
            LogError(
                [&] { return "receiving a message failed: " + DescribeException(std::current_exception()); });
        }
    }
}

/// Sends a message. The mutex is held while it is posted, so that the order of two senders is the
/// same in flight as on arrival. False when the task manager takes no more work.
bool SendLocked(const std::shared_ptr<Link>& link, int to, Arrival arrival) {
    auto carried = std::make_shared<Arrival>(std::move(arrival));
    const auto id = CTaskManager::Instance().PostAfter(link->latency, [link, to, carried] {
        {
            const std::lock_guard guard(link->mutex);
            link->ends[to].arrived.push_back(std::move(*carried));
        }
        Deliver(link, to);
    });
    return id != 0;
}

class InProcessTransport : public ITransport {
  public:
    InProcessTransport(std::shared_ptr<Link> link, int index) : link_(std::move(link)), index_(index) {}
    ~InProcessTransport() override { CloseEnd(); }

    bool Send(std::vector<std::byte> message) override {
        const std::lock_guard guard(link_->mutex);
        if (!link_->ends[index_].is_open || !link_->ends[1 - index_].is_open) return false;
        return SendLocked(link_, 1 - index_, std::move(message));
    }

    void SetCallbacks(Receive receive, Closed closed) override {
        const std::lock_guard guard(link_->mutex);
        link_->ends[index_].receive = std::move(receive);
        link_->ends[index_].closed = std::move(closed);
        if (link_->ends[index_].arrived.empty()) return;
        CTaskManager::Instance().PostAfter({}, [link = link_, index = index_] { Deliver(link, index); });
    }

    void Close() override { CloseEnd(); }

  private:
    void CloseEnd() {
        const CtmLock lock;  // waits for a callback that runs just now on another thread
        // What the callbacks hold is let go without the mutex.
        Receive receive;
        Closed closed;
        std::deque<Arrival> arrived;
        const std::lock_guard guard(link_->mutex);
        Link::End& end = link_->ends[index_];
        if (end.is_open) {
            end.is_open = false;
            if (link_->ends[1 - index_].is_open) SendLocked(link_, 1 - index_, std::nullopt);
        }
        receive.swap(end.receive);
        closed.swap(end.closed);
        arrived.swap(end.arrived);
    }

    std::shared_ptr<Link> link_;
    int index_;
};

}  // namespace

std::pair<std::unique_ptr<ITransport>, std::unique_ptr<ITransport>> MakeInProcessTransport(
    std::chrono::nanoseconds latency) {
    auto link = std::make_shared<Link>(latency);
    return {std::make_unique<InProcessTransport>(link, 0), std::make_unique<InProcessTransport>(link, 1)};
}

}  // namespace orv::framework
