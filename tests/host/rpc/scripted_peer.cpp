#include "scripted_peer.h"

namespace host_test {

using orv::tm::Message;

ScriptedPeer::ScriptedPeer(std::unique_ptr<orv::framework::ITransport> end) : end_(std::move(end)) {
    end_->SetCallbacks(
        [this](std::vector<std::byte> bytes) {
            const Message message = Message::decode(std::move(bytes));
            const std::uint32_t seq_no = message.header().get_seq_no();
            received.push_back(std::string(name_of(message.get_msg_type())) + " " +
                               message.get_request_name() + " #" + std::to_string(seq_no));
            if (message.get_msg_type() == orv::tm::TMT_REQUEST && on_request) on_request(seq_no);
        },
        [this](const std::string&) { received.push_back("closed"); });
}

void ScriptedPeer::Send(orv::tm::TMT type, const std::string& name, std::uint32_t seq_no,
                        const Message* fault) {
    Message message;
    message.set_msg_type(type);
    message.set_request_name(name);
    message.header().set_seq_no(seq_no);
    if (fault) message.set_fault(fault->get_fault_code(), fault->get_fault_string());
    end_->Send(message.encode());
}

void ScriptedPeer::Respond(std::uint32_t seq_no, const std::string& name) {
    Send(orv::tm::TMT_RESPONSE, name, seq_no, nullptr);
}

void ScriptedPeer::Fault(std::uint32_t seq_no, int code, const std::string& text) {
    Message fault;
    fault.set_fault(code, text);
    Send(orv::tm::TMT_FAULT, "set_1.Do", seq_no, &fault);
}

void ScriptedPeer::Notify(const std::string& name, std::uint32_t seq_no, bool discard_eligible) {
    Message message;
    message.set_msg_type(orv::tm::TMT_REQUEST);
    message.set_request_name(name);
    message.header().set_seq_no(seq_no);
    message.header().set_discard_eligible(discard_eligible);
    end_->Send(message.encode());
}

void ScriptedPeer::SendGarbage() {
    end_->Send({std::byte{0xc1}, std::byte{0xff}, std::byte{0x00}});
}

void AnswerRecorder::OnAnswer(std::uint16_t seq_no, Message* message, void* context) {
    std::string text = std::string(name_of(message->get_msg_type())) + " #" + std::to_string(seq_no);
    if (message->get_msg_type() == orv::tm::TMT_FAULT) {
        text += " " + std::to_string(message->get_fault_code()) + " " + message->get_fault_string();
    }
    answers.push_back(text);
    contexts.push_back(context);
    if (meanwhile) meanwhile();
}

Message MakeRequest(const std::string& name) {
    Message message;
    message.set_msg_type(orv::tm::TMT_REQUEST);
    message.set_request_name(name);
    return message;
}

}  // namespace host_test
