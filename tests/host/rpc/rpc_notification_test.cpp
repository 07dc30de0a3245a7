#include <gmock/gmock.h>

#include "host/log/log_catcher.h"
#include "host/rpc/rpc_fixture.h"

namespace host_test {
namespace {

using namespace orv::framework;  // NOLINT: tests
using testing::ElementsAre;
using testing::IsEmpty;

class RpcNotification : public RpcTest {
  protected:
    RpcNotification() {
        peer->on_request = [this](std::uint32_t seq_no) { peer->Respond(seq_no, "set_1.Register"); };
    }

    int Register(AnswerRecorder& receiver, const std::string& name = "set_1.Event") {
        Message request = MakeRequest("set_1.Register");
        int id = -1;
        EXPECT_EQ(Rpc().RegisterForNotification(port, request, name, receiver.Delegate(), &receiver, &id), 0);
        return id;
    }
    int Deregister(int id) {
        Message request = MakeRequest("set_1.Deregister");
        return Rpc().DeregisterForNotification(port, request, id);
    }
};

TEST_F(RpcNotification, ReachesThoseRegisteredForItsNameAndIsAcknowledged) {
    AnswerRecorder second, other;
    Register(recorder);
    Register(second);
    Register(other, "set_1.Other");
    Wait();
    peer->received.clear();

    peer->Notify("set_1.Event", 70001);
    peer->Notify("set_1.Event", 8, true);
    peer->Notify("set_1.event", 9);
    Yield(5);
    EXPECT_THAT(recorder.answers, ElementsAre("request #4465", "request #8")) << "delegates see 16 bits";
    EXPECT_EQ(second.answers, recorder.answers);
    EXPECT_THAT(recorder.contexts, ElementsAre(&recorder, &recorder));
    EXPECT_THAT(other.answers, IsEmpty());
    EXPECT_THAT(peer->received, ElementsAre("response set_1.Event #70001", "response set_1.event #9"))
        << "one that may be discarded is not acknowledged; one for nobody is";
}

TEST_F(RpcNotification, OnlyFromThePortItIsRegisteredWith) {
    const Messenger other{"//127.0.0.1/1/2"};
    ScriptedPeer second(ConnectTo(other));
    Register(recorder);
    second.Notify("set_1.Event", 1);
    Yield(5);
    EXPECT_THAT(recorder.answers, IsEmpty());
    Rpc().Disconnect(other);
}

TEST_F(RpcNotification, EndsAtOnceWithTheRegistration) {
    const int id = Register(recorder);
    Wait();
    peer->Notify("set_1.Event", 1);
    EXPECT_EQ(Deregister(id), 0);
    EXPECT_NE(Deregister(id), 0) << "ended already";
    EXPECT_NE(Deregister(4711), 0);
    EXPECT_THAT(Wait(), IsEmpty());
    EXPECT_THAT(recorder.answers, IsEmpty());
    EXPECT_THAT(peer->received, ElementsAre("request set_1.Register #1", "request set_1.Deregister #2",
                                            "response set_1.Event #1"));
    const int again = Register(recorder);
    EXPECT_NE(again, id);
    Rpc().Disconnect(port);
    EXPECT_NE(Deregister(again), 0);
}

TEST_F(RpcNotification, ARegistrationThatCannotBeSentDoesNotExist) {
    Message request = MakeRequest();
    int id = -1;
    EXPECT_LT(
        Rpc().RegisterForNotification(Messenger("//nobody"), request, "x", recorder.Delegate(), nullptr, &id),
        0);
    EXPECT_EQ(id, -1);
}

TEST_F(RpcNotification, AReceiverMayDeregisterItselfAndOthersWithinTheCallback) {
    AnswerRecorder second, third;
    const int first_id = Register(recorder);
    const int second_id = Register(second);
    Register(third);
    Wait();
    recorder.meanwhile = [&] {
        EXPECT_EQ(Deregister(first_id), 0);
        EXPECT_EQ(Deregister(second_id), 0);
    };
    peer->Notify("set_1.Event", 1);
    peer->Notify("set_1.Event", 2);
    Yield(5);
    EXPECT_THAT(recorder.answers, ElementsAre("request #1"));
    EXPECT_THAT(second.answers, IsEmpty());
    EXPECT_THAT(third.answers, ElementsAre("request #1", "request #2"));
}

TEST_F(RpcNotification, AThrowingReceiverDoesNotKeepItFromOthers) {
    const LogCatcher log;
    AnswerRecorder second;
    Register(recorder);
    Register(second);
    Wait();
    recorder.meanwhile = [] { throw std::runtime_error("spoilt"); };
    peer->Notify("set_1.Event", 5);
    Yield(5);
    EXPECT_EQ(second.answers.size(), 1u);
    EXPECT_THAT(Wait(),
                ElementsAre("#5 //127.0.0.1/1/1 -4 handling the notification set_1.Event failed: spoilt"));
    EXPECT_TRUE(log.Has(LogLevelType::Error, "set_1.Event failed: spoilt"));
}

TEST_F(RpcNotification, AStormOfFailuresFillsNoMemory) {
    for (int i = 0; i < 3000; ++i) peer->SendGarbage();
    Yield(5);
    std::vector<ErrorMsg> errors;
    Rpc().TakeErrors(errors);
    EXPECT_EQ(errors.size(), 1000u);
    Rpc().TakeErrors(errors);
    EXPECT_EQ(errors.size(), 1000u) << "taken once";
}

TEST_F(RpcNotification, AReceiverThatWaitsGetsTheNextOneWithinItsWait) {
    Register(recorder);
    Wait();
    std::vector<std::size_t> depth;
    recorder.meanwhile = [&] {
        if (recorder.answers.size() < 3) Yield(10);
        depth.push_back(recorder.answers.size());
    };
    for (std::uint32_t i = 1; i <= 3; ++i) peer->Notify("set_1.Event", i);
    Yield(100);
    EXPECT_THAT(recorder.answers, ElementsAre("request #1", "request #2", "request #3"));
    EXPECT_THAT(depth, ElementsAre(3, 3, 3));
}

}  // namespace
}  // namespace host_test
