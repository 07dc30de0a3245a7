// Ports that live on threads of their own.
#include "run/port_link.h"

#include <gmock/gmock.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/logger.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/task_manager.h"

namespace {

using namespace orv;  // NOLINT: a test
using app::PortLink;

/// Sends numbered messages from a thread of its own until it is destroyed, which waits for the thread.
class ChattyPort : public il::ISoftwarePort {
  public:
    static inline int alive = 0;
    static inline std::atomic<int> sent = 0;

    ChattyPort(Send send, HangUp hang_up, int hang_up_after)
        : thread_([this, send, hang_up, hang_up_after] {
              for (int i = 0; !stop_; ++i) {
                  send({static_cast<std::byte>(i), static_cast<std::byte>(i >> 8)});
                  ++sent;
                  if (i == hang_up_after) hang_up("enough");
                  if (i % 64 == 0) std::this_thread::yield();
              }
          }) {
        ++alive;
    }
    ~ChattyPort() override {
        --alive;
        stop_ = true;
        thread_.join();
    }
    void Receive(const std::vector<std::byte>&) override {}
    void ChannelsChange(const std::function<void()>& change) override { change(); }

  private:
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

class PortLinkTest : public testing::Test {
  protected:
    PortLinkTest() {
        framework::BLLLoggerFactory::GetInstance().SetConsole(false);
        framework::CScriptableCreator creator;
        port_ = dynamic_cast<core::CPort*>(creator.Create(core::CPort::CLASS_ID(), &host_.GetProject()));
    }

    static PortLink::MakePort Chatty(int hang_up_after) {
        return [hang_up_after](const auto& send, const auto& hang_up) {
            return std::make_unique<ChattyPort>(send, hang_up, hang_up_after);
        };
    }
    static framework::CTaskManager& Tasks() { return framework::CTaskManager::Instance(); }
    static void WaitFor(const std::function<bool()>& state) {
        EXPECT_TRUE(Tasks().WaitUntil(state, std::chrono::seconds(60)));
    }
    /// More messages have been sent, which wait for the lock.
    static void LetMessagesQueue() {
        for (const int before = ChattyPort::sent; ChattyPort::sent < before + 100;) std::this_thread::yield();
    }
    /// All that has been sent was handled, and `seen` is as before.
    static void ExpectNoMore(const int& seen) {
        const int before = seen;
        bool is_handled = false;
        Tasks().PostAfter({}, [&is_handled] { is_handled = true; });
        WaitFor([&is_handled] { return is_handled; });
        EXPECT_EQ(seen, before);
    }

    core::CHostApplication host_{{framework::ClockKind::Real}};
    core::CPort* port_ = nullptr;
};

TEST_F(PortLinkTest, MessagesOfAnotherThreadComeInOrderUnderTheLockAndNoneWhenTheLinkIsGone) {
    int seen = 0;
    bool in_order = true, under_lock = true;
    const auto tap = [&](const core::CPort&, const std::vector<std::byte>& message) {
        in_order &= message.at(0) == static_cast<std::byte>(seen);
        under_lock &= Tasks().IsLockHeld();
        ++seen;
    };
    for (int round = 0; round < 5; ++round) {
        seen = 0;
        {
            PortLink link(*port_, Chatty(-1), PortLink::Calls::OnOwnThread, tap, nullptr);
            WaitFor([&] { return seen > 300; });
            LetMessagesQueue();
        }
        ExpectNoMore(seen);
    }
    EXPECT_TRUE(in_order);
    EXPECT_TRUE(under_lock);
}

TEST_F(PortLinkTest, APortThatHangsUpOnItsThreadIsOffline) {
    std::string reason;
    PortLink link(*port_, Chatty(100), PortLink::Calls::OnOwnThread, nullptr,
                  [&reason](const std::string&, const std::string& why) { reason = why; });
    WaitFor([this] { return !port_->IsOnline(); });
    EXPECT_EQ(reason, "enough");
    EXPECT_FALSE(framework::CRpcManager::Instance().IsConnected(port_->GetMessenger()));
}

TEST_F(PortLinkTest, APortThatIsCutIsGone) {
    int seen = 0;
    std::vector<std::string> reasons;
    PortLink link(
        *port_, Chatty(-1), PortLink::Calls::OnOwnThread,
        [&seen](const core::CPort&, const std::vector<std::byte>&) { ++seen; },
        [&reasons](const std::string&, const std::string& why) { reasons.push_back(why); });
    WaitFor([&] { return seen > 300; });
    LetMessagesQueue();
    for (const char* reason : {"mute", "overdue"}) link.Cut(reason);
    EXPECT_EQ(ChattyPort::alive, 0);
    EXPECT_EQ(reasons, std::vector<std::string>{"mute"});
    ExpectNoMore(seen);
    bool is_called = false;
    link.ChannelsChange([&is_called] { is_called = true; });
    EXPECT_TRUE(is_called) << "other ports wait for it";
}

TEST_F(PortLinkTest, APortThatCannotBeMadeIsNotConnected) {
    const auto fail = [](const auto&, const auto&) -> std::unique_ptr<il::ISoftwarePort> {
        throw std::runtime_error("no interface");
    };
    EXPECT_THROW(PortLink(*port_, fail, PortLink::Calls::OnOwnThread, nullptr, nullptr), std::runtime_error);
    EXPECT_FALSE(framework::CRpcManager::Instance().IsConnected(port_->GetMessenger()));
}

}  // namespace
