// The RPC manager with the real clock, and with a transport that has threads of its own.
#include <atomic>
#include <condition_variable>
#include <deque>
#include <thread>

#include "rpc_fixture.h"

namespace host_test {
namespace {

class RealRpc : public RpcTest {
  protected:
    RealRpc() : RpcTest(ClockKind::Real) {}
};

TEST_F(RealRpc, TasksAskAndWaitWhileNotificationsArriveAndEnd) {
    AnswerAll();
    AnswerRecorder notifications;
    const int id = Register(notifications);
    notifications.meanwhile = [&] {
        EXPECT_TRUE(notifications.answers.size() != 500 || Deregister(id) == 0);
    };
    std::thread storm([this] {
        for (std::uint32_t i = 1; i <= 1000; ++i) peer->Notify("set_1.Event", i);
    });

    int ended = 0;
    std::deque<AnswerRecorder> recorders(4);
    for (AnswerRecorder& recorder : recorders) {
        Tasks().Post("asker", [&] {
            for (std::size_t round = 1; round <= 50; ++round) {
                EXPECT_EQ(Send(recorder), 0);
                EXPECT_THAT(Wait(), IsEmpty());
                EXPECT_EQ(recorder.answers.size(), round);
            }
            ++ended;
        });
    }
    EXPECT_TRUE(
        Tasks().WaitUntil([&] { return ended == 4 && notifications.answers.size() >= 500; }, kTooLong));
    {
        CtmReverseLock reverse;
        storm.join();
    }
    Send(recorder);
    Wait();  // the answer comes behind all notifications
    EXPECT_EQ(notifications.answers.size(), 500u) << "none after it has ended its registration";
}

TEST_F(RealRpc, TimeOutsComeByThemselves) {
    Send(recorder, 20);
    EXPECT_THAT(Wait(), ElementsAre(testing::StartsWith("#1 //port " + std::to_string(kFaultTimeout))));
}

TEST_F(RealRpc, ANotificationReceiverMayAskAndWait) {
    AnswerAll();
    AnswerRecorder notifications;
    Register(notifications);
    bool waited = false;
    notifications.meanwhile = [&] {
        Send(recorder);
        Wait();
        waited = recorder.answers.size() == 1;
    };
    peer->Notify("set_1.Event", 1);
    EXPECT_TRUE(Tasks().WaitUntil([&waited] { return waited; }, kTooLong));
}

/// A transport whose callbacks come on its own thread, as those of a network connection do. Answers every
/// request.
class ThreadedTransport : public ITransport {
  public:
    ~ThreadedTransport() override { Close(); }

    bool Send(std::vector<std::byte> message) override {
        const std::lock_guard guard(mutex_);
        if (closed_) return false;
        requests_.push_back(std::move(message));
        changed_.notify_one();
        return true;
    }
    void SetCallbacks(Receive receive, Closed closed) override {
        thread_ = std::thread([this, receive, closed] { Run(receive, closed); });
    }
    void Close() override {
        {
            const std::lock_guard guard(mutex_);
            closed_ = true;
            changed_.notify_one();
        }
        if (thread_.joinable()) thread_.join();
    }
    void BreakDown() {
        const std::lock_guard guard(mutex_);
        broken_ = true;
        changed_.notify_one();
    }

  private:
    void Run(const Receive& receive, const Closed& closed) {
        std::unique_lock guard(mutex_);
        for (;;) {
            changed_.wait(guard, [this] { return closed_ || broken_ || !requests_.empty(); });
            if (closed_) return;
            if (broken_) {
                guard.unlock();
                return closed("cable cut");
            }
            Message request = Message::decode(std::move(requests_.front()));
            requests_.pop_front();
            guard.unlock();
            EXPECT_FALSE(Tasks().IsLockHeld());
            receive(
                MakeMessage(orv::tm::TMT_RESPONSE, request.get_request_name(), request.header().get_seq_no())
                    .encode());
            guard.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::vector<std::byte>> requests_;
    bool closed_ = false;
    bool broken_ = false;
    std::thread thread_;
};

TEST_F(RealRpc, ClosingATransportWithThreadsDoesNotDeadlock) {
    for (int round = 0; round < 50; ++round) {
        Rpc().Connect(port, std::make_unique<ThreadedTransport>());
        auto recorder = std::make_unique<AnswerRecorder>();
        for (int i = 0; i < 20; ++i) ASSERT_EQ(Send(*recorder), 0);
        if (round % 2 == 0) {
            EXPECT_THAT(Wait(), IsEmpty());
            EXPECT_EQ(recorder->answers.size(), 20u);
        }
        Rpc().Reset();  // with the lock held, while answers arrive
        recorder.reset();
        Tasks().CtmYield(0);
    }
}

TEST_F(RealRpc, ABrokenConnectionEndsInFaults) {
    auto transport = std::make_unique<ThreadedTransport>();
    ThreadedTransport& broken = *transport;
    Rpc().Connect(port, std::move(transport));
    broken.BreakDown();
    Send(recorder);
    EXPECT_EQ(Wait().size(), 1u);
    EXPECT_THAT(recorder.answers, ElementsAre("fault #1 -2 set_1.Do was not answered: cable cut"));
    EXPECT_FALSE(Rpc().IsConnected(port));
}

}  // namespace
}  // namespace host_test
