// The RPC manager with the real clock, and with a transport that has threads of its own.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>

#include "host/rpc/scripted_peer.h"
#include "orv/framework/task_manager.h"

namespace host_test {
namespace {

using namespace orv::framework;  // NOLINT: tests
using namespace std::chrono_literals;
using orv::tm::Message;

constexpr auto kTooLong = 60s;

CTaskManager& Tasks() {
    return CTaskManager::Instance();
}
CRpcManager& Rpc() {
    return CRpcManager::Instance();
}

class RealRpc : public testing::Test {
  protected:
    RealRpc() {
        Tasks().Start(ClockKind::Real);
        Tasks().CtmEnter();
    }
    ~RealRpc() override {
        Rpc().Reset();
        Tasks().CtmExit();
        Tasks().Stop();
    }
    int Send(AnswerRecorder& recorder, std::uint32_t timeout_ms = 0) {
        Message request = MakeRequest();
        const auto delegate = recorder.Delegate();
        return Rpc().SendAsyncMessage(port_, request, &delegate, nullptr, timeout_ms);
    }

    const Messenger port_{"//127.0.0.1/1/1"};
};

TEST_F(RealRpc, TasksAskAndWaitWhileNotificationsArriveAndEnd) {
    auto [near, far] = MakeInProcessTransport();
    ScriptedPeer peer(std::move(far));
    Rpc().Connect(port_, std::move(near));
    peer.on_request = [&peer](std::uint32_t seq_no) { peer.Respond(seq_no); };

    AnswerRecorder notifications;
    int id = 0;
    Message registration = MakeRequest("set_1.Register");
    ASSERT_EQ(Rpc().RegisterForNotification(port_, registration, "set_1.Event", notifications.Delegate(),
                                            nullptr, &id),
              0);
    notifications.meanwhile = [&] {
        if (notifications.answers.size() != 500) return;
        Message request = MakeRequest("set_1.Deregister");
        EXPECT_EQ(Rpc().DeregisterForNotification(port_, request, id), 0);
    };
    std::thread storm([&peer] {
        for (std::uint32_t i = 1; i <= 1000; ++i) peer.Notify("set_1.Event", i);
    });

    int ended = 0;
    std::deque<AnswerRecorder> recorders(4);
    for (AnswerRecorder& recorder : recorders) {
        Tasks().Post("asker", [&] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(Send(recorder), 0);
                std::vector<ErrorMsg> errors;
                Rpc().Wait(errors);
                EXPECT_TRUE(errors.empty());
                EXPECT_EQ(recorder.answers.size(), static_cast<std::size_t>(round + 1));
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
    Tasks().CtmYield(20);
    EXPECT_EQ(notifications.answers.size(), 500u) << "none after it has ended its registration";
}

TEST_F(RealRpc, TimeOutsComeByThemselves) {
    auto [near, far] = MakeInProcessTransport();
    ScriptedPeer peer(std::move(far));
    Rpc().Connect(port_, std::move(near));
    AnswerRecorder recorder;
    Send(recorder, 20);
    std::vector<ErrorMsg> errors;
    Rpc().Wait(errors);
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(errors[0].fault_code, kFaultTimeout);
}

TEST_F(RealRpc, ANotificationReceiverMayAskAndWait) {
    auto [near, far] = MakeInProcessTransport();
    ScriptedPeer peer(std::move(far));
    Rpc().Connect(port_, std::move(near));
    peer.on_request = [&peer](std::uint32_t seq_no) { peer.Respond(seq_no); };
    AnswerRecorder notifications, answers;
    Message registration = MakeRequest("set_1.Register");
    Rpc().RegisterForNotification(port_, registration, "set_1.Event", notifications.Delegate(), nullptr,
                                  nullptr);
    bool waited = false;
    notifications.meanwhile = [&] {
        Send(answers);
        std::vector<ErrorMsg> errors;
        Rpc().Wait(errors);
        waited = answers.answers.size() == 1;
    };
    peer.Notify("set_1.Event", 1);
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
            Message response;
            response.set_msg_type(orv::tm::TMT_RESPONSE);
            response.set_request_name(request.get_request_name());
            response.header().set_seq_no(request.header().get_seq_no());
            EXPECT_FALSE(Tasks().IsLockHeld());
            receive(response.encode());
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
        Rpc().Connect(port_, std::make_unique<ThreadedTransport>());
        auto recorder = std::make_unique<AnswerRecorder>();
        for (int i = 0; i < 20; ++i) ASSERT_EQ(Send(*recorder), 0);
        if (round % 2 == 0) {
            std::vector<ErrorMsg> errors;
            Rpc().Wait(errors);
            EXPECT_EQ(recorder->answers.size(), 20u);
            EXPECT_TRUE(errors.empty());
        }
        Rpc().Reset();  // with the lock held, while answers arrive
        recorder.reset();
        Tasks().CtmYield(0);
    }
}

TEST_F(RealRpc, ABrokenConnectionEndsInFaults) {
    auto transport = std::make_unique<ThreadedTransport>();
    ThreadedTransport& broken = *transport;
    Rpc().Connect(port_, std::move(transport));
    AnswerRecorder recorder;
    broken.BreakDown();
    Send(recorder);
    std::vector<ErrorMsg> errors;
    Rpc().Wait(errors);
    ASSERT_EQ(recorder.answers.size(), 1u);
    EXPECT_EQ(recorder.answers[0], "fault #1 -2 set_1.Do was not answered: cable cut");
    EXPECT_EQ(errors.size(), 1u);
    EXPECT_FALSE(Rpc().IsConnected(port_));
}

}  // namespace
}  // namespace host_test
