// A scripted far end of a connection, and a recorder of answers.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/framework/rpc_manager.h"
#include "orv/framework/transport.h"
#include "orv/tm/message.h"

namespace host_test {

/// Sends what it is told to, and notes what it receives as "<type> <name> #<sequence number>".
class ScriptedPeer {
  public:
    explicit ScriptedPeer(std::unique_ptr<orv::framework::ITransport> end);

    void Respond(std::uint32_t seq_no, const std::string& name = "set_1.Do");
    void Fault(std::uint32_t seq_no, int code, const std::string& text);
    void Notify(const std::string& name, std::uint32_t seq_no, bool discard_eligible = false);
    void SendGarbage();
    void Close() { end_->Close(); }

    /// Called for each request with its sequence number; the default does not answer.
    std::function<void(std::uint32_t seq_no)> on_request;
    std::vector<std::string> received;

  private:
    void Send(orv::tm::TMT type, const std::string& name, std::uint32_t seq_no,
              const orv::tm::Message* fault);

    std::unique_ptr<orv::framework::ITransport> end_;
};

/// Notes what its delegate is called with as "<type> #<sequence number> <fault code> <fault text>".
class AnswerRecorder {
  public:
    orv::framework::ResponseDelegate Delegate() {
        return orv::framework::ResponseDelegate::To<&AnswerRecorder::OnAnswer>(this);
    }

    std::vector<std::string> answers;
    std::vector<void*> contexts;
    /// Called within the delegate.
    std::function<void()> meanwhile;

  private:
    void OnAnswer(std::uint16_t seq_no, orv::tm::Message* message, void* context);
};

orv::tm::Message MakeRequest(const std::string& name = "set_1.Do");

}  // namespace host_test
