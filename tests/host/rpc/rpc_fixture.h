// The RPC manager, and a scripted far end of a connection with a recorder of answers.
#pragma once

#include <memory>

#include "host/aids.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/transport.h"
#include "orv/tm/message.h"

namespace host_test {

using orv::tm::Message;

inline Message MakeMessage(orv::tm::TMT type, const std::string& name, std::uint32_t seq_no = 0) {
    Message message;
    message.set_msg_type(type);
    message.set_request_name(name);
    message.header().set_seq_no(seq_no);
    return message;
}

inline Message MakeRequest(const std::string& name = "set_1.Do") {
    return MakeMessage(orv::tm::TMT_REQUEST, name);
}

inline std::string Describe(const Message& message, std::uint32_t seq_no, const std::string& name = "") {
    return std::string(name_of(message.get_msg_type())) + name + " #" + std::to_string(seq_no);
}

/// Sends what it is told to, and notes what it receives as "<type> <name> #<sequence number>".
struct ScriptedPeer {
    explicit ScriptedPeer(std::unique_ptr<ITransport> end) : end_(std::move(end)) {
        end_->SetCallbacks(
            [this](std::vector<std::byte> bytes) {
                const Message message = Message::decode(std::move(bytes));
                const std::uint32_t seq_no = message.header().get_seq_no();
                received.push_back(Describe(message, seq_no, " " + message.get_request_name()));
                if (message.get_msg_type() == orv::tm::TMT_REQUEST && on_request) on_request(seq_no);
            },
            [this](const std::string&) { received.push_back("closed"); });
    }

    void Respond(std::uint32_t seq_no, const std::string& name = "set_1.Do") {
        end_->Send(MakeMessage(orv::tm::TMT_RESPONSE, name, seq_no).encode());
    }
    void Fault(std::uint32_t seq_no, int code, const std::string& text) {
        Message fault = MakeMessage(orv::tm::TMT_FAULT, "set_1.Do", seq_no);
        fault.set_fault(code, text);
        end_->Send(fault.encode());
    }
    void Notify(const std::string& name, std::uint32_t seq_no, bool discard_eligible = false) {
        Message message = MakeMessage(orv::tm::TMT_REQUEST, name, seq_no);
        message.header().set_discard_eligible(discard_eligible);
        end_->Send(message.encode());
    }
    void SendGarbage() { end_->Send({std::byte{0xc1}, std::byte{0xff}, std::byte{0x00}}); }
    void Close() { end_->Close(); }

    /// Called for each request with its sequence number; the default does not answer.
    std::function<void(std::uint32_t seq_no)> on_request;
    Strings received;

  private:
    std::unique_ptr<ITransport> end_;
};

/// Notes what its delegate is called with as "<type> #<sequence number> <fault code> <fault text>".
struct AnswerRecorder {
    ResponseDelegate Delegate() { return ResponseDelegate::To<&AnswerRecorder::OnAnswer>(this); }

    Strings answers;
    std::vector<void*> contexts;
    /// Called within the delegate.
    std::function<void()> meanwhile;

  private:
    void OnAnswer(std::uint16_t seq_no, Message* message, void* context) {
        std::string text = Describe(*message, seq_no);
        if (message->get_msg_type() == orv::tm::TMT_FAULT)
            text += " " + std::to_string(message->get_fault_code()) + " " + message->get_fault_string();
        answers.push_back(text);
        contexts.push_back(context);
        if (meanwhile) meanwhile();
    }
};

/// The RPC manager, connected to a scripted peer.
struct RpcTest : testing::Test {
    explicit RpcTest(ClockKind clock = ClockKind::Virtual) {
        Tasks().Start(clock);
        Tasks().CtmEnter();
        peer = std::make_unique<ScriptedPeer>(ConnectTo(port));
    }
    ~RpcTest() override {
        Rpc().Reset();
        peer.reset();
        Tasks().CtmExit();
        Tasks().Stop();
    }

    static CRpcManager& Rpc() { return CRpcManager::Instance(); }
    static void Yield(int milliseconds) { Tasks().CtmYield(milliseconds); }

    /// Returns the far end.
    static std::unique_ptr<ITransport> ConnectTo(const Messenger& messenger) {
        auto [near, far] = MakeInProcessTransport(1ms);
        Rpc().Connect(messenger, std::move(near));
        return std::move(far);
    }
    void AnswerAll() {
        peer->on_request = [this](std::uint32_t seq_no) { peer->Respond(seq_no); };
    }
    int Send(AnswerRecorder& recorder, std::uint32_t timeout_ms = 0, bool report_faults = true) {
        Message request = MakeRequest();
        const auto delegate = recorder.Delegate();
        return Rpc().SendAsyncMessage(port, request, &delegate, &recorder, timeout_ms, report_faults);
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
    /// Waits, and returns the errors as "#<sequence number> <messenger> <code> <text>".
    static Strings Wait() {
        std::vector<ErrorMsg> errors;
        Rpc().Wait(errors);
        Strings texts;
        for (const auto& error : errors)
            texts.push_back("#" + std::to_string(error.msg_seq_num) + " " + error.messenger_string + " " +
                            std::to_string(error.fault_code) + " " + error.fault_string);
        return texts;
    }

    const Messenger port{"//port"};
    std::unique_ptr<ScriptedPeer> peer;
    AnswerRecorder recorder;
};

}  // namespace host_test
