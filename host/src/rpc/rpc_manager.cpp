// The RPC manager's operations: connections, requests, registrations, waiting. See rpc_manager_receive.cpp
// for what arrives.
#include "orv/framework/rpc_manager.h"

#include <fmt/format.h>

#include <utility>

#include "log/framework_log.h"
#include "orv/common/exceptions.h"
#include "orv/framework/task_manager.h"
#include "orv/tm/exceptions.h"
#include "rpc_manager_impl.h"

namespace orv::framework {

namespace {

constexpr std::uint32_t kDefaultTimeoutMs = 30'000;

/// What SendAsyncMessage returns when nothing was sent.
enum SendResult : int { kSent = 0, kNotConnected = -1, kNotEncoded = -2, kTooManyOutstanding = -3 };

}  // namespace

CRpcManager::CRpcManager() : impl_(std::make_shared<Impl>()) {}
CRpcManager::~CRpcManager() = default;

CRpcManager& CRpcManager::Instance() {
    // Never destroyed: threads of transports may still deliver while the process ends.
    static auto* const manager = new CRpcManager;
    return *manager;
}

std::size_t CRpcManager::Impl::CountPending() const {
    std::size_t count = 0;
    for (const auto& [address, connection] : connections) count += connection->GetPendingCount();
    return count;
}

std::shared_ptr<RpcConnection> CRpcManager::Impl::Find(const Messenger& messenger) const {
    const auto found = connections.find(messenger.ToMessengerString());
    return found == connections.end() ? nullptr : found->second;
}

void CRpcManager::Connect(const Messenger& messenger, std::unique_ptr<ITransport> transport) {
    ORV_ASSERT(transport != nullptr, "A connection needs a transport");
    if (const auto old = impl_->Find(messenger)) {
        old->Close();
        impl_->connections.erase(messenger.ToMessengerString());
        impl_->FailAll(*old, "the connection was replaced");
    }
    const auto connection = std::make_shared<RpcConnection>(messenger, std::move(transport));
    impl_->connections[messenger.ToMessengerString()] = connection;
    const std::weak_ptr<RpcConnection> weak = connection;
    connection->GetTransport().SetCallbacks(
        [weak](std::vector<std::byte> bytes) { Impl::OnBytes(weak, std::move(bytes)); },
        // Never at once: the transport may report its end from within a Send.
        [weak](const std::string& reason) {
            CTaskManager::Instance().PostAfter({}, [weak, reason] {
                if (const auto alive = weak.lock()) Instance().impl_->OnClosed(alive, reason);
            });
        });
}

void CRpcManager::Disconnect(const Messenger& messenger) {
    std::erase_if(impl_->registrations,
                  [&](const auto& entry) { return entry.second.messenger == messenger.ToMessengerString(); });
    const auto connection = impl_->Find(messenger);
    if (!connection) return;
    connection->Close();
    impl_->connections.erase(messenger.ToMessengerString());
    impl_->FailAll(*connection, "the connection was closed");
}

bool CRpcManager::IsConnected(const Messenger& messenger) const {
    return impl_->Find(messenger) != nullptr;
}

void CRpcManager::Reset() {
    impl_->registrations.clear();
    impl_->errors.clear();
    for (const auto& [address, connection] : std::exchange(impl_->connections, {})) {
        connection->Close();
        connection->TakeAll();
    }
    CTaskManager::Instance().Wake();
}

int CRpcManager::Impl::Send(const Messenger& messenger, Message& message, PendingRequest request,
                            std::uint32_t timeout_ms) {
    const auto refuse = [&](SendResult result, const std::string& why) {
        LogError([&] {
            return fmt::format("request {} to {} was not sent: {}", message.get_request_name(),
                               messenger.ToMessengerString(), why);
        });
        return static_cast<int>(result);
    };
    const auto connection = Find(messenger);
    if (!connection) return refuse(kNotConnected, "there is no connection");
    request.seq_no = connection->NextSeqNo();
    if (request.seq_no == 0) return refuse(kTooManyOutstanding, "65535 requests are outstanding");

    message.header().set_seq_no(request.seq_no);
    std::vector<std::byte> bytes;
    try {
        bytes = message.encode();
    } catch (const tm::Tm_exception& error) {
        return refuse(kNotEncoded, error.what());
    }

    request.request_name = message.get_request_name();
    request.serial = next_serial++;
    if (timeout_ms == 0) timeout_ms = kDefaultTimeoutMs;
    request.timer = CTaskManager::Instance().PostAfter(
        std::chrono::milliseconds(timeout_ms),
        [weak = std::weak_ptr(connection), seq_no = request.seq_no, serial = request.serial, timeout_ms] {
            const auto alive = weak.lock();
            if (alive) Instance().impl_->OnTimeout(*alive, seq_no, serial, timeout_ms);
        });
    const std::uint16_t seq_no = request.seq_no;
    connection->Add(std::move(request));
    if (!connection->GetTransport().Send(std::move(bytes))) {
        connection->Take(seq_no);
        return refuse(kNotConnected, "the connection is closed");
    }
    return kSent;
}

int CRpcManager::SendAsyncMessage(const Messenger& messenger, Message& message,
                                  const ResponseDelegate* delegate, void* context, std::uint32_t timeoutMs,
                                  bool reportFaults) {
    PendingRequest request;
    if (delegate) request.delegate = *delegate;
    request.context = context;
    request.report_faults = reportFaults;
    return impl_->Send(messenger, message, std::move(request), timeoutMs);
}

int CRpcManager::RegisterForNotification(const Messenger& messenger, Message& message,
                                         const std::string& name, const ResponseDelegate& delegate,
                                         void* context, int* registrationId, NotificationRatePolicy) {
    ORV_ASSERT(delegate, "Notifications need a delegate");
    const int id = impl_->next_registration++;
    PendingRequest request;
    request.registration = id;
    const int result = impl_->Send(messenger, message, std::move(request), 0);
    if (result != kSent) return result;
    impl_->registrations[id] = {messenger.ToMessengerString(), name, delegate, context};
    if (registrationId) *registrationId = id;
    return kSent;
}

int CRpcManager::DeregisterForNotification(const Messenger& messenger, Message& message, int registrationId) {
    if (impl_->registrations.erase(registrationId) == 0) {
        LogWarn(
            [&] { return fmt::format("there is no notification registration {} to end", registrationId); });
        return -1;
    }
    // Nothing waits for this answer, so its fault is not an error.
    PendingRequest request;
    request.report_faults = false;
    return impl_->Send(messenger, message, std::move(request), 0);
}

void CRpcManager::TakeErrors(std::vector<ErrorMsg>& errors) {
    errors.insert(errors.end(), std::make_move_iterator(impl_->errors.begin()),
                  std::make_move_iterator(impl_->errors.end()));
    impl_->errors.clear();
}

}  // namespace orv::framework
