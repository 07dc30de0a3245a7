#include "rpc/rpc_manager_connection.h"
#include "rpc_fixture.h"

namespace {

using namespace host_test;  // NOLINT: a test

PendingRequest Pending(std::uint32_t seq_no, std::uint64_t serial = 0) {
    PendingRequest request;
    request.seq_no = static_cast<std::uint16_t>(seq_no);
    request.serial = serial;
    return request;
}

TEST(RpcConnection, SequenceNumbersWrapAroundOutstandingOnesAndHaveAnEnd) {
    RpcConnection connection(Messenger("//port"), nullptr);
    for (std::uint32_t expected = 1; expected <= 0xffff; ++expected) {
        ASSERT_EQ(connection.NextSeqNo(), expected);
        if (expected == 2 || expected == 0xffff) connection.Add(Pending(expected));
    }
    for (const int next : {1, 3, 4}) EXPECT_EQ(connection.NextSeqNo(), next) << "0 is none, 2 is in use";
    for (int i = 0; i < 0xffff - 2; ++i) connection.Add(Pending(connection.NextSeqNo()));
    EXPECT_EQ(connection.NextSeqNo(), 0);
    EXPECT_TRUE(connection.Take(77).has_value());
    EXPECT_EQ(connection.NextSeqNo(), 77);
}

TEST(RpcConnection, ARequestIsTakenOnceAndByItsOwnSerialNumberOrAllInTheOrderOfSending) {
    RpcConnection connection(Messenger("//port"), nullptr);
    connection.Add(Pending(1, 10));
    EXPECT_FALSE(connection.Take(0x10001).has_value()) << "answers carry 32 bits";
    EXPECT_FALSE(connection.TakeSerial(1, 9).has_value()) << "the time-out of an earlier one of that number";
    EXPECT_TRUE(connection.TakeSerial(1, 10).has_value() && !connection.Take(1).has_value());
    std::vector<int> order;
    std::uint64_t serial = 0;
    for (const int seq_no : {0xffff, 1, 2}) connection.Add(Pending(seq_no, ++serial));
    for (const PendingRequest& request : connection.TakeAll()) order.push_back(request.seq_no);
    EXPECT_THAT(order, ElementsAre(0xffff, 1, 2));
    EXPECT_EQ(connection.GetPendingCount(), 0u);
}

TEST_F(RpcTest, AnswersReachTheDelegateWhateverThePeerDoes) {
    using Peer = ScriptedPeer;
    const std::string lost = "-2 set_1.Do was not answered: the other end closed the connection";
    const std::string timeout = "-1 set_1.Do was not answered within 30000 ms";
    const struct {
        const char* name;
        std::function<void(Peer&, std::uint32_t)> script;
        std::string answer;
        Strings errors;
    } cases[] = {
        {"response", [](Peer& p, auto n) { p.Respond(n); }, "response #1", {}},
        {"fault", [](Peer& p, auto n) { p.Fault(n, 17, "no"); }, "fault #1 17 no", {"#1 //port 17 no"}},
        {"silence", [](Peer&, auto) {}, "fault #1 " + timeout, {"#1 //port " + timeout}},
        {"response twice", [](Peer& p, auto n) { p.Respond(n), p.Respond(n); }, "response #1", {}},
        {"late fault", [](Peer& p, auto n) { p.Respond(n), p.Fault(n, 17, "no"); }, "response #1", {}},
        {"another's first", [](Peer& p, auto n) { p.Respond(n + 1), p.Respond(n); }, "response #1", {}},
        {"beyond 16 bit",
         [](Peer& p, auto n) { p.Fault(n + 0x10000, 1, ""), p.Respond(n); },
         "response #1",
         {}},
        {"lost", [](Peer& p, auto) { p.Close(); }, "fault #1 " + lost, {"#1 //port " + lost}},
        {"response, then lost", [](Peer& p, auto n) { p.Respond(n), p.Close(); }, "response #1", {}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Peer far(ConnectTo(port));
        far.on_request = [&](std::uint32_t seq_no) { c.script(far, seq_no); };
        AnswerRecorder answers;
        EXPECT_EQ(Send(answers), 0);
        EXPECT_THAT(answers.answers, IsEmpty()) << "nothing is delivered before somebody waits";
        EXPECT_EQ(Wait(), c.errors);
        Yield(60'000);
        EXPECT_THAT(answers.answers, ElementsAre(c.answer));
        EXPECT_THAT(answers.contexts, ElementsAre(&answers));
        EXPECT_THAT(Wait(), IsEmpty()) << "errors are handed over once";
        Rpc().Disconnect(port);
    }
}

TEST_F(RpcTest, GarbageIsAnErrorAndTheRequestGoesOnWaitingAndALateAnswerIsDropped) {
    const LogCatcher log;
    peer->on_request = [this](std::uint32_t seq_no) {
        peer->SendGarbage();
        if (seq_no == 1) peer->Respond(seq_no);
    };
    Send(recorder, 100);
    Send(recorder, 100);
    const auto unreadable = HasSubstr("#0 //port -3 an unreadable message came from //port: ");
    EXPECT_THAT(Wait(),
                ElementsAre(unreadable, unreadable, "#2 //port -1 set_1.Do was not answered within 100 ms"));
    peer->Respond(2);
    Yield(5);
    EXPECT_THAT(recorder.answers, ElementsAre("response #1", HasSubstr("fault #2 -1")));
    EXPECT_TRUE(log.Has(LogLevelType::Error, "an unreadable message came from //port"));
    EXPECT_TRUE(log.Has(LogLevelType::Warn, "for sequence number 2 is dropped"));
}

TEST_F(RpcTest, FaultsThatNobodyWantsReportedStillReachTheDelegate) {
    peer->on_request = [this](std::uint32_t seq_no) { peer->Fault(seq_no, 3, "refused"); };
    Send(recorder, 0, false);
    Message request = MakeRequest();
    EXPECT_EQ(Rpc().SendAsyncMessage(port, request, nullptr), 0) << "an answer that nobody is interested in";
    EXPECT_THAT(Wait(), ElementsAre("#2 //port 3 refused"));
    EXPECT_THAT(recorder.answers, ElementsAre("fault #1 3 refused"));
}

TEST_F(RpcTest, WhatCannotBeSentIsRefused) {
    const LogCatcher log;
    const Messenger nobody("//nobody");
    Message request = MakeRequest();
    EXPECT_LT(Rpc().SendAsyncMessage(nobody, request, nullptr), 0);
    EXPECT_TRUE(log.Has(LogLevelType::Error, "set_1.Do to //nobody was not sent: there is no connection"));
    int id = -1;
    EXPECT_LT(Rpc().RegisterForNotification(nobody, request, "x", recorder.Delegate(), nullptr, &id), 0);
    EXPECT_EQ(id, -1);
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
    AnswerAll();
    recorder.meanwhile = [this] {
        if (recorder.answers.size() == 1) throw std::runtime_error("out of order");
        if (recorder.answers.size() == 2) throw -1;
    };
    for (int i = 0; i < 3; ++i) Send(recorder);
    EXPECT_THAT(Wait(), ElementsAre("#1 //port -4 handling the answer to set_1.Do failed: out of order",
                                    "#2 //port -4 handling the answer to set_1.Do failed: the integer -1"));
    EXPECT_EQ(recorder.answers.size(), 3u);
    EXPECT_TRUE(log.Has(LogLevelType::Error, "failed: out of order (from //port)"));
}

TEST_F(RpcTest, ADelegateMayAskOnAndWaitForTheAnswerOrDisconnect) {
    AnswerAll();
    AnswerRecorder inner;
    recorder.meanwhile = [&] {
        Send(inner);
        EXPECT_THAT(Wait(), IsEmpty());
        EXPECT_EQ(inner.answers.size(), recorder.answers.size()) << "the inner wait saw its answer";
    };
    Send(recorder);
    EXPECT_THAT(Wait(), IsEmpty());
    EXPECT_EQ(inner.answers.size(), 1u);
    recorder.meanwhile = [this] { Rpc().Disconnect(port); };
    Send(recorder);
    Send(recorder);
    EXPECT_THAT(Wait(), ElementsAre("#4 //port -2 set_1.Do was not answered: the connection was closed"));
    EXPECT_EQ(recorder.answers.size(), 3u);
}

TEST_F(RpcTest, NothingIsDeliveredAfterTheConnectionsEnd) {
    const std::tuple<const char*, std::function<void()>, std::size_t> cases[] = {
        {"disconnected", [this] { Rpc().Disconnect(port); }, 2},
        {"replaced", [this] { ConnectTo(port); }, 2},
        {"reset", [] { Rpc().Reset(); }, 0}};
    for (const auto& [name, end, faults] : cases) {
        SCOPED_TRACE(name);
        peer = std::make_unique<ScriptedPeer>(ConnectTo(port));
        auto gone = std::make_unique<AnswerRecorder>();
        Register(*gone);
        Send(*gone, 50);
        Send(*gone, 50);
        Yield(1);
        peer->Respond(2);
        peer->Notify("set_1.Event", 1);
        end();
        EXPECT_EQ(gone->answers.size(), faults) << "faults come before the end returns";
        gone.reset();  // a late call would use a destroyed object
        Yield(60'000);
        EXPECT_EQ(Wait().size(), faults == 0 ? 0 : 3u) << "one of them is the registration's";
        EXPECT_EQ(peer->received.back(), "closed");
        Rpc().Disconnect(port);
    }
}

struct RpcNotification : RpcTest {
    RpcNotification() {
        AnswerAll();
        for (AnswerRecorder* each : {&recorder, &second, &third}) ids.push_back(Register(*each));
        Wait();
        peer->received.clear();
    }

    AnswerRecorder second, third;
    std::vector<int> ids;
};

TEST_F(RpcNotification, ReachesThoseRegisteredForItsNameAndIsAcknowledged) {
    AnswerRecorder other;
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

TEST_F(RpcNotification, IsDeliveredOnceAndMissedByItsNumber) {
    const struct {
        std::vector<std::uint32_t> arrive, repeated;
        std::vector<std::string> missing;
    } cases[] = {
        {{1, 2, 3, 4}, {}, {}},
        {{0, 0}, {}, {}},
        {{2}, {}, {"1 before 2"}},
        {{1, 5, 3, 3, 2, 4, 6, 6, 1}, {3, 6, 1}, {"3 before 5"}},
        {{1, 64, 2, 1, 65, 1}, {1}, {"62 before 64"}},  // 1 is beyond the window at last
        {{1, 4'000'000, 2, 3}, {}, {"3999998 before 4000000"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arrive));
        orv::framework::NotificationNumbers numbers;
        std::vector<std::uint32_t> repeated;
        std::vector<std::string> missing;
        for (const std::uint32_t number : c.arrive) {
            const auto arrival = numbers.Take(number);
            if (arrival.is_repeated) repeated.push_back(number);
            if (arrival.missing > 0)
                missing.push_back(std::to_string(arrival.missing) + " before " + std::to_string(number));
        }
        EXPECT_EQ(repeated, c.repeated);
        EXPECT_EQ(missing, c.missing);
    }
    for (const std::uint32_t number : {1, 1, 3}) peer->Notify("set_1.Event", number);
    Yield(5);
    EXPECT_THAT(recorder.answers, ElementsAre("request #1", "request #3"));
    EXPECT_THAT(Wait(), ElementsAre("#3 //port -5 1 notifications of //port are missing, or late, before "
                                    "set_1.Event (number 3)"));
    EXPECT_EQ(peer->received.size(), 3U) << "each is acknowledged";
}

TEST_F(RpcNotification, EndsAtOnceWithTheRegistration) {
    peer->Notify("set_1.Event", 1);
    EXPECT_EQ(Deregister(ids[0]), 0);
    EXPECT_NE(Deregister(ids[0]), 0) << "ended already";
    EXPECT_NE(Deregister(4711), 0);
    EXPECT_THAT(Wait(), IsEmpty());
    EXPECT_THAT(recorder.answers, IsEmpty());
    EXPECT_THAT(peer->received, ElementsAre("request set_1.Deregister #4", "response set_1.Event #1"));
    const int again = Register(recorder);
    EXPECT_NE(again, ids[0]);
    Rpc().Disconnect(port);
    EXPECT_NE(Deregister(again), 0);
}

TEST_F(RpcNotification, AReceiverMayDeregisterItselfAndOthersWithinTheCallbackAndItsFailureStaysWithIt) {
    const LogCatcher log;
    recorder.meanwhile = [&] {
        for (const int id : {ids[0], ids[1]}) EXPECT_EQ(Deregister(id), 0);
        throw std::runtime_error("spoilt");
    };
    peer->Notify("set_1.Event", 1);
    peer->Notify("set_1.Event", 2);
    Yield(5);
    EXPECT_THAT(recorder.answers, ElementsAre("request #1"));
    EXPECT_THAT(second.answers, IsEmpty());
    EXPECT_THAT(third.answers, ElementsAre("request #1", "request #2"));
    EXPECT_THAT(Wait(), ElementsAre("#1 //port -4 handling the notification set_1.Event failed: spoilt"));
    EXPECT_TRUE(log.Has(LogLevelType::Error, "set_1.Event failed: spoilt"));
}

TEST_F(RpcNotification, AStormOfFailuresFillsNoMemory) {
    for (int i = 0; i < 3000; ++i) peer->SendGarbage();
    Yield(5);
    std::vector<ErrorMsg> errors;
    for (int i = 0; i < 2; ++i) Rpc().TakeErrors(errors);
    EXPECT_EQ(errors.size(), 1000u) << "taken once";
}

std::vector<std::byte> Bytes(const std::string& text) {
    const auto* begin = reinterpret_cast<const std::byte*>(text.data());
    return {begin, begin + text.size()};
}

std::string Text(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

struct InProcessTransport : testing::Test {
    InProcessTransport() { Tasks().Start(ClockKind::Virtual); }
    ~InProcessTransport() override {
        left_.reset();
        right_.reset();
        Tasks().Stop();
    }

    void Connect(std::chrono::nanoseconds latency = 0ns) {
        std::tie(left_, right_) = MakeInProcessTransport(latency);
    }
    /// Notes what an end receives: "<end>:<text>@<ms>".
    void Listen(ITransport& end, const std::string& name) {
        end.SetCallbacks(
            [this, name](std::vector<std::byte> bytes) { Note(name + ":" + Text(bytes)); },
            [this, name](const std::string& reason) { Note(name + " closed (" + reason + ")"); });
    }
    void Note(const std::string& what) {
        trace_ += what + "@" + std::to_string(Tasks().GetNow() / 1ms) + " ";
    }

    std::unique_ptr<ITransport> left_, right_;
    std::string trace_;
};

TEST_F(InProcessTransport, CarriesMessagesInOrderAfterTheLatency) {
    Connect(3ms);
    Listen(*left_, "L");
    Listen(*right_, "R");
    EXPECT_TRUE(left_->Send(Bytes("a")) && left_->Send(Bytes("")));
    Tasks().CtmYield(1);
    EXPECT_TRUE(right_->Send(Bytes("c")) && left_->Send(Bytes("b")));
    EXPECT_EQ(trace_, "") << "nothing arrives within Send";
    Tasks().CtmYield(10);
    EXPECT_EQ(trace_, "R:a@3 R:@3 L:c@4 R:b@4 ");
}

TEST_F(InProcessTransport, KeepsWhatComesBeforeTheCallbacks) {
    Connect();
    left_->Send(Bytes("early"));
    left_->Send(Bytes("bird"));
    Tasks().CtmYield(5);
    Listen(*right_, "R");
    EXPECT_EQ(trace_, "") << "nothing arrives within SetCallbacks";
    left_->Send(Bytes("late"));
    Tasks().CtmYield(1);
    EXPECT_EQ(trace_, "R:early@5 R:bird@5 R:late@5 ");
}

TEST_F(InProcessTransport, ClosingEndsBothSides) {
    Connect(2ms);
    Listen(*left_, "L");
    Listen(*right_, "R");
    left_->Send(Bytes("last words"));
    right_->Send(Bytes("too late"));
    for (int i = 0; i < 2; ++i) left_->Close();
    EXPECT_FALSE(left_->Send(Bytes("x")) || right_->Send(Bytes("x")));
    Tasks().CtmYield(10);
    right_->Close();
    left_.reset();
    Tasks().CtmYield(10);
    EXPECT_EQ(trace_, "R:last words@2 R closed (the other end closed the connection)@2 ");
}

TEST_F(InProcessTransport, ACallbackMayCloseItsOwnEndOrThrow) {
    const LogCatcher log;
    Connect();
    Listen(*left_, "L");
    right_->SetCallbacks(
        [this](std::vector<std::byte> bytes) {
            Note("R:" + Text(bytes));
            if (Text(bytes) == "throw") throw std::runtime_error("spoilt");
            if (Text(bytes) == "close") right_.reset();
        },
        nullptr);
    for (const char* text : {"throw", "close", "never"}) left_->Send(Bytes(text));
    Tasks().CtmYield(1);
    EXPECT_EQ(trace_, "R:throw@0 R:close@0 L closed (the other end closed the connection)@0 ");
    EXPECT_TRUE(log.Has(LogLevelType::Error, "spoilt"));
}

}  // namespace
