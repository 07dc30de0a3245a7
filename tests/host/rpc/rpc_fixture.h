// The RPC manager, connected to a scripted peer, with the virtual clock.
#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "host/rpc/scripted_peer.h"
#include "orv/framework/task_manager.h"

namespace host_test {

class RpcTest : public testing::Test {
  protected:
    RpcTest() {
        orv::framework::CTaskManager::Instance().Start(orv::framework::ClockKind::Virtual);
        orv::framework::CTaskManager::Instance().CtmEnter();
        peer.emplace(ConnectTo(port));
    }
    ~RpcTest() override {
        Rpc().Reset();
        peer.reset();
        orv::framework::CTaskManager::Instance().CtmExit();
        orv::framework::CTaskManager::Instance().Stop();
    }

    static orv::framework::CRpcManager& Rpc() { return orv::framework::CRpcManager::Instance(); }
    static void Yield(int milliseconds) { orv::framework::CTaskManager::Instance().CtmYield(milliseconds); }

    /// Returns the far end.
    static std::unique_ptr<orv::framework::ITransport> ConnectTo(const orv::framework::Messenger& messenger) {
        auto [near, far] = orv::framework::MakeInProcessTransport(std::chrono::milliseconds(1));
        Rpc().Connect(messenger, std::move(near));
        return std::move(far);
    }
    int Send(AnswerRecorder& recorder, std::uint32_t timeout_ms = 0, bool report_faults = true) {
        orv::tm::Message request = MakeRequest();
        const auto delegate = recorder.Delegate();
        return Rpc().SendAsyncMessage(port, request, &delegate, &recorder, timeout_ms, report_faults);
    }
    /// Waits, and returns the errors as "#<sequence number> <messenger> <code> <text>".
    static std::vector<std::string> Wait() {
        std::vector<orv::framework::ErrorMsg> errors;
        Rpc().Wait(errors);
        std::vector<std::string> texts;
        for (const auto& error : errors) {
            texts.push_back("#" + std::to_string(error.msg_seq_num) + " " + error.messenger_string + " " +
                            std::to_string(error.fault_code) + " " + error.fault_string);
        }
        return texts;
    }

    const orv::framework::Messenger port{"//127.0.0.1/1/1"};
    std::optional<ScriptedPeer> peer;
    AnswerRecorder recorder;
};

}  // namespace host_test
