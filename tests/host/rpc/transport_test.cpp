#include "orv/framework/transport.h"

#include "host/aids.h"

namespace host_test {
namespace {

std::vector<std::byte> Bytes(const std::string& text) {
    const auto* begin = reinterpret_cast<const std::byte*>(text.data());
    return {begin, begin + text.size()};
}

std::string Text(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

class InProcessTransport : public testing::Test {
  protected:
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
    EXPECT_TRUE(left_->Send(Bytes("a")));
    EXPECT_TRUE(left_->Send(Bytes("")));
    Tasks().CtmYield(1);
    EXPECT_TRUE(right_->Send(Bytes("c")));
    EXPECT_TRUE(left_->Send(Bytes("b")));
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
    EXPECT_FALSE(left_->Send(Bytes("x")));
    EXPECT_FALSE(right_->Send(Bytes("x")));
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
}  // namespace host_test
