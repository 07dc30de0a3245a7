#include "port_request.h"

#include <fmt/format.h>

#include <chrono>
#include <exception>
#include <string>

#include "orv/common/exceptions.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/task_manager.h"

namespace orv::app {

namespace {

/// Waits for the response to a request.
class Answer {
  public:
    using Read = std::function<void(const tm::Message&)>;
    explicit Answer(const Read& read) : read_(read) {}

    framework::ResponseDelegate GetDelegate() {
        return framework::ResponseDelegate::To<&Answer::OnAnswer>(this);
    }
    /// The RPC manager itself responds to a request that times out.
    void Wait() {
        auto& tasks = framework::CTaskManager::Instance();
        while (!tasks.WaitUntil([this] { return has_come_; }, std::chrono::hours(1))) {
        }
        if (!fault_.empty()) throw common::COrvRunTimeError(fault_);
    }

  private:
    void OnAnswer(std::uint16_t, tm::Message* message, void*) {
        has_come_ = true;
        if (message->get_msg_type() == tm::TMT_FAULT) {
            fault_ = fmt::format("{} (fault {})", message->get_fault_string(), message->get_fault_code());
        } else if (read_) {
            try {
                read_(*message);
            } catch (const std::exception& error) {
                fault_ = error.what();
            }
        }
    }

    bool has_come_ = false;
    std::string fault_;
    const Read& read_;
};

}  // namespace

void AskPort(const core::CPort& port, tm::Message request,
             const std::function<void(const tm::Message& response)>& read) {
    Answer answer(read);
    const framework::ResponseDelegate delegate = answer.GetDelegate();
    constexpr std::uint32_t kDefaultTimeout = 0;
    if (framework::CRpcManager::Instance().SendAsyncMessage(port.GetMessenger(), request, &delegate, nullptr,
                                                            kDefaultTimeout, false) != 0)
        throw common::COrvRunTimeError("it cannot be sent");
    answer.Wait();
}

}  // namespace orv::app
