// The inside of the RPC manager.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "orv/tm/message.h"
#include "rpc_manager_connection.h"

namespace orv::framework {

struct CRpcManager::Impl {
    struct Registration {
        std::string messenger;
        std::string name;
        ResponseDelegate delegate;
        void* context = nullptr;
    };

    std::map<std::string, std::shared_ptr<RpcConnection>> connections;
    std::map<int, Registration> registrations;
    int next_registration = 1;
    std::uint64_t next_serial = 1;
    int running_delegates = 0;  ///< response delegates that have not returned yet, on all threads
    std::vector<ErrorMsg> errors;

    std::size_t CountPending() const;
    std::shared_ptr<RpcConnection> Find(const Messenger& messenger) const;
    int Send(const Messenger& messenger, Message& message, PendingRequest request, std::uint32_t timeout_ms);

    // --- What arrives
    // ---------------------------------------------------------------------------------------------
    /// Any thread: reads the bytes, then goes on under the task lock.
    static void OnBytes(const std::weak_ptr<RpcConnection>& connection, std::vector<std::byte> bytes);
    void OnMessage(const std::shared_ptr<RpcConnection>& connection, Message& message);
    void OnUnreadable(const RpcConnection& connection, const std::string& why);
    void OnNotification(const std::shared_ptr<RpcConnection>& connection, Message& message);
    void OnTimeout(RpcConnection& connection, std::uint16_t seq_no, std::uint64_t serial,
                   std::uint32_t timeout_ms);
    void OnClosed(const std::shared_ptr<RpcConnection>& connection, const std::string& reason);

    /// Delivers a response to its requester.
    void Answer(const Messenger& messenger, PendingRequest request, Message& message);
    void AnswerWithFault(const Messenger& messenger, PendingRequest request, int code,
                         const std::string& text);
    void FailAll(RpcConnection& connection, const std::string& reason);
    void AddError(const Messenger& messenger, std::uint32_t seq_no, int code, const std::string& text);
};

}  // namespace orv::framework
