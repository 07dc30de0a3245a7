#include "orv/framework/rpc_manager.h"

#include <gmock/gmock.h>

#include "host/log/log_catcher.h"
#include "host/rpc/rpc_fixture.h"

namespace host_test {
namespace {

using namespace orv::framework;  // NOLINT: tests
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Strings = std::vector<std::string>;

TEST_F(RpcTest, AnswersReachTheDelegateWhateverThePeerDoes) {
    using Peer = ScriptedPeer;
    const std::string lost = "set_1.Do was not answered: the other end closed the connection";
    const std::string timeout = "set_1.Do was not answered within 30000 ms";
    const struct {
        const char* name;
        std::function<void(Peer&, std::uint32_t)> script;
        Strings answers;
        Strings errors;
    } cases[] = {
        {"response", [](Peer& p, auto n) { p.Respond(n); }, {"response #1"}, {}},
        {"fault", [](Peer& p, auto n) { p.Fault(n, 17, "no"); }, {"fault #1 17 no"}, {"#1 //port 17 no"}},
        {"silence", [](Peer&, auto) {}, {"fault #1 -1 " + timeout}, {"#1 //port -1 " + timeout}},
        {"response twice", [](Peer& p, auto n) { p.Respond(n), p.Respond(n); }, {"response #1"}, {}},
        {"fault after response",
         [](Peer& p, auto n) { p.Respond(n), p.Fault(n, 17, "no"); },
         {"response #1"},
         {}},
        {"other sequence number first",
         [](Peer& p, auto n) { p.Respond(n + 1), p.Respond(n); },
         {"response #1"},
         {}},
        {"sequence number beyond 16 bit",
         [](Peer& p, auto n) { p.Respond(n + 0x10000), p.Respond(n); },
         {"response #1"},
         {}},
        {"connection lost",
         [](Peer& p, auto) { p.Close(); },
         {"fault #1 -2 " + lost},
         {"#1 //port -2 " + lost}},
        {"response, then connection lost",
         [](Peer& p, auto n) { p.Respond(n), p.Close(); },
         {"response #1"},
         {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const Messenger messenger{"//port"};
        Peer far(ConnectTo(messenger));
        far.on_request = [&](std::uint32_t seq_no) { c.script(far, seq_no); };
        AnswerRecorder answers;
        const auto delegate = answers.Delegate();
        Message request = MakeRequest();
        EXPECT_EQ(Rpc().SendAsyncMessage(messenger, request, &delegate, &answers), 0);
        EXPECT_THAT(answers.answers, IsEmpty()) << "nothing is delivered before somebody waits";
        EXPECT_EQ(Wait(), c.errors);
        Yield(60'000);
        EXPECT_EQ(answers.answers, c.answers);
        EXPECT_THAT(answers.contexts, ElementsAre(&answers));
        EXPECT_THAT(Wait(), IsEmpty()) << "errors are handed over once";
        Rpc().Disconnect(messenger);
    }
}

TEST_F(RpcTest, GarbageIsAnErrorAndTheRequestGoesOnWaiting) {
    const LogCatcher log;
    peer->on_request = [this](std::uint32_t seq_no) {
        peer->SendGarbage();
        if (seq_no == 1) peer->Respond(seq_no);
    };
    Send(recorder, 100);
    Send(recorder, 100);
    const Strings errors = Wait();
    ASSERT_EQ(errors.size(), 3u);
    EXPECT_THAT(errors[0],
                HasSubstr("#0 //127.0.0.1/1/1 -3 an unreadable message came from //127.0.0.1/1/1: "));
    EXPECT_EQ(errors[2], "#2 //127.0.0.1/1/1 -1 set_1.Do was not answered within 100 ms");
    EXPECT_THAT(recorder.answers, ElementsAre("response #1", HasSubstr("fault #2 -1")));
    EXPECT_TRUE(log.Has(LogLevelType::Error, "an unreadable message came from //127.0.0.1/1/1"));
}

TEST_F(RpcTest, ALateAnswerIsDroppedAndLogged) {
    const LogCatcher log;
    Send(recorder, 10);
    EXPECT_EQ(Wait().size(), 1u);
    peer->Respond(1);
    Yield(5);
    EXPECT_EQ(recorder.answers.size(), 1u);
    EXPECT_TRUE(log.Has(LogLevelType::Warn, "for sequence number 1 is dropped"));
}

TEST_F(RpcTest, FaultsThatNobodyWantsReportedStillReachTheDelegate) {
    peer->on_request = [this](std::uint32_t seq_no) { peer->Fault(seq_no, 3, "refused"); };
    Send(recorder, 0, false);
    Message request = MakeRequest();
    EXPECT_EQ(Rpc().SendAsyncMessage(port, request, nullptr), 0) << "an answer that nobody is interested in";
    EXPECT_THAT(Wait(), ElementsAre("#2 //127.0.0.1/1/1 3 refused"));
    EXPECT_THAT(recorder.answers, ElementsAre("fault #1 3 refused"));
}

TEST_F(RpcTest, WhatCannotBeSentIsRefused) {
    const LogCatcher log;
    Message request = MakeRequest();
    EXPECT_LT(Rpc().SendAsyncMessage(Messenger("//nobody"), request, nullptr), 0);
    EXPECT_TRUE(
        log.Has(LogLevelType::Error, "request set_1.Do to //nobody was not sent: there is no connection"));
    Message unspeakable = MakeRequest(std::string("set_1.\0Do", 9));
    EXPECT_LT(Rpc().SendAsyncMessage(port, unspeakable, nullptr), 0);
    peer->Close();
    EXPECT_LT(Send(recorder), 0);
    Yield(10);
    EXPECT_FALSE(Rpc().IsConnected(port));
    EXPECT_THAT(recorder.answers, IsEmpty());
    EXPECT_THAT(Wait(), IsEmpty());
}

TEST_F(RpcTest, AThrowingDelegateIsAnErrorForWhoeverWaits) {
    const LogCatcher log;
    peer->on_request = [this](std::uint32_t seq_no) { peer->Respond(seq_no); };
    recorder.meanwhile = [this] {
        if (recorder.answers.size() == 1) throw std::runtime_error("out of order");
        if (recorder.answers.size() == 2) throw -1;
    };
    for (int i = 0; i < 3; ++i) Send(recorder);
    EXPECT_THAT(Wait(),
                ElementsAre("#1 //127.0.0.1/1/1 -4 handling the answer to set_1.Do failed: out of order",
                            "#2 //127.0.0.1/1/1 -4 handling the answer to set_1.Do failed: the integer -1"));
    EXPECT_EQ(recorder.answers.size(), 3u);
    EXPECT_TRUE(log.Has(LogLevelType::Error, "failed: out of order (from //127.0.0.1/1/1)"));
}

TEST_F(RpcTest, ADelegateMayAskOnAndWaitForTheAnswer) {
    peer->on_request = [this](std::uint32_t seq_no) { peer->Respond(seq_no); };
    AnswerRecorder inner;
    recorder.meanwhile = [&] {
        Send(inner);
        EXPECT_THAT(Wait(), IsEmpty());
        EXPECT_EQ(inner.answers.size(), recorder.answers.size()) << "the inner wait saw its answer";
    };
    Send(recorder);
    EXPECT_THAT(Wait(), IsEmpty());
    EXPECT_EQ(recorder.answers.size(), 1u);
    EXPECT_EQ(inner.answers.size(), 1u);
}

TEST_F(RpcTest, NothingIsDeliveredAfterTheConnectionsEnd) {
    const struct {
        const char* name;
        std::function<void()> end;
        std::size_t faults;
    } cases[] = {
        {"disconnected", [this] { Rpc().Disconnect(port); }, 2},
        {"replaced", [this] { ConnectTo(port); }, 2},
        {"reset", [] { Rpc().Reset(); }, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        peer.emplace(ConnectTo(port));
        auto gone = std::make_unique<AnswerRecorder>();
        int id = 0;
        Message registration = MakeRequest("set_1.Register");
        ASSERT_EQ(
            Rpc().RegisterForNotification(port, registration, "set_1.Event", gone->Delegate(), nullptr, &id),
            0);
        Send(*gone, 50);
        Send(*gone, 50);
        Yield(1);
        peer->Respond(2);
        peer->Notify("set_1.Event", 1);
        c.end();
        EXPECT_EQ(gone->answers.size(), c.faults) << "faults come before the end returns";
        gone.reset();  // a late call would use a destroyed object
        Yield(60'000);
        EXPECT_EQ(Wait().size(), c.faults == 0 ? 0 : 3u) << "one of them is the registration's";
        EXPECT_EQ(peer->received.back(), "closed");
        Rpc().Disconnect(port);
    }
}

TEST_F(RpcTest, ADelegateMayDisconnect) {
    peer->on_request = [this](std::uint32_t seq_no) { peer->Respond(seq_no); };
    recorder.meanwhile = [this] { Rpc().Disconnect(port); };
    Send(recorder);
    Send(recorder);
    EXPECT_THAT(Wait(),
                ElementsAre("#2 //127.0.0.1/1/1 -2 set_1.Do was not answered: the connection was closed"));
    EXPECT_EQ(recorder.answers.size(), 2u);
}

TEST_F(RpcTest, PortsHaveSequenceNumbersOfTheirOwn) {
    const Messenger other{"//127.0.0.1/1/2"};
    ScriptedPeer second(ConnectTo(other));
    AnswerRecorder of_second;
    const auto delegate = of_second.Delegate();
    Message request = MakeRequest();
    Send(recorder, 100);
    Rpc().SendAsyncMessage(other, request, &delegate, nullptr, 100);
    Yield(2);
    EXPECT_EQ(request.header().get_seq_no(), 1u);
    second.Respond(1);
    EXPECT_THAT(Wait(), ElementsAre(HasSubstr("#1 //127.0.0.1/1/1 -1")));
    EXPECT_THAT(of_second.answers, ElementsAre("response #1"));
    Rpc().Disconnect(other);
}

}  // namespace
}  // namespace host_test
