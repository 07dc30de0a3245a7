// What arrives from messengers, what does not arrive in time, and waiting for it.
#include <fmt/format.h>

#include <exception>
#include <utility>

#include "log/framework_log.h"
#include "orv/framework/task_manager.h"
#include "rpc_manager_impl.h"

namespace orv::framework {

namespace {

/// A port that sends only garbage must not fill the memory while the errors are not fetched.
constexpr std::size_t kMaxErrors = 1000;

/// Response delegates that wait on this thread until what they wait for is done.
thread_local int delegates_of_this_thread = 0;

}  // namespace

void CRpcManager::Impl::AddError(const Messenger& messenger, std::uint32_t seq_no, int code,
                                 const std::string& text) {
    if (errors.size() >= kMaxErrors) return;
    errors.push_back({seq_no, messenger.ToMessengerString(), code, text});
    if (errors.size() == kMaxErrors) LogWarn("the list of RPC errors is full; later ones are left out");
}

void CRpcManager::Impl::OnBytes(const std::weak_ptr<RpcConnection>& connection,
                                std::vector<std::byte> bytes) {
    std::shared_ptr<Message> message;
    std::string why;
    try {
        message = std::make_shared<Message>(Message::decode(std::move(bytes)));
    } catch (const std::exception& error) {  // anything: this may be a thread of the transport
        why = error.what();
    }
    const auto go_on = [connection, message, why] {
        const auto alive = connection.lock();
        if (!alive || !alive->IsOpen()) return;
        Impl& impl = *Instance().impl_;
        if (message) {
            impl.OnMessage(alive, *message);
        } else {
            impl.OnUnreadable(*alive, why);
        }
    };
    if (CTaskManager::Instance().IsLockHeld()) return go_on();
    CTaskManager::Instance().PostAfter({}, go_on);
}

void CRpcManager::Impl::OnUnreadable(const RpcConnection& connection, const std::string& why) {
    const std::string text = fmt::format("an unreadable message came from {}: {}",
                                         connection.GetMessenger().ToMessengerString(), why);
    LogError(text);
    AddError(connection.GetMessenger(), 0, kFaultUnreadable, text);
}

void CRpcManager::Impl::OnMessage(const std::shared_ptr<RpcConnection>& connection, Message& message) {
    if (message.get_msg_type() == tm::TMT_REQUEST) return OnNotification(connection, message);
    const std::uint32_t seq_no = message.header().get_seq_no();
    auto request = connection->Take(seq_no);
    if (!request) {
        return LogWarn([&] {
            return fmt::format(
                "a {} of {} for sequence number {} is dropped: no request of that number waits "
                "for one",
                message.get_msg_type() == tm::TMT_FAULT ? "fault" : "response",
                connection->GetMessenger().ToMessengerString(), seq_no);
        });
    }
    Answer(connection->GetMessenger(), std::move(*request), message);
}

void CRpcManager::Impl::Answer(const Messenger& messenger, PendingRequest request, Message& message) {
    const auto registration = registrations.find(request.registration);
    // A fault of the port about a registration goes to the registered delegate.
    if (message.get_msg_type() == tm::TMT_FAULT && message.get_fault_code() >= 0 &&
        registration != registrations.end()) {
        request.delegate = registration->second.delegate;
        request.context = registration->second.context;
    } else if (message.get_msg_type() == tm::TMT_FAULT && request.report_faults) {
        AddError(messenger, request.seq_no, message.get_fault_code(), message.get_fault_string());
    }
    if (request.delegate) {
        ++running_delegates;
        ++delegates_of_this_thread;
        try {
            request.delegate(request.seq_no, &message, request.context);
        } catch (...) {
            const std::string text = fmt::format("handling the answer to {} failed: {}", request.request_name,
                                                 DescribeException(std::current_exception()));
            LogError([&] { return fmt::format("{} (from {})", text, messenger.ToMessengerString()); });
            AddError(messenger, request.seq_no, kFaultDelegateFailed, text);
        }
        --delegates_of_this_thread;
        --running_delegates;
    }
    CTaskManager::Instance().Wake();
}

void CRpcManager::Impl::AnswerWithFault(const Messenger& messenger, PendingRequest request, int code,
                                        const std::string& text) {
    LogWarn([&] {
        return fmt::format("request {} to {}: {}", request.request_name, messenger.ToMessengerString(), text);
    });
    Message fault;
    fault.set_msg_type(tm::TMT_FAULT);
    fault.set_request_name(request.request_name);
    fault.header().set_seq_no(request.seq_no);
    fault.set_fault(code, text);
    Answer(messenger, std::move(request), fault);
}

void CRpcManager::Impl::OnTimeout(RpcConnection& connection, std::uint16_t seq_no, std::uint64_t serial,
                                  std::uint32_t timeout_ms) {
    auto request = connection.TakeSerial(seq_no, serial);
    if (!request) return;
    const std::string text =
        fmt::format("{} was not answered within {} ms", request->request_name, timeout_ms);
    AnswerWithFault(connection.GetMessenger(), std::move(*request), kFaultTimeout, text);
}

void CRpcManager::Impl::OnClosed(const std::shared_ptr<RpcConnection>& connection,
                                 const std::string& reason) {
    if (!connection->IsOpen()) return;
    LogWarn([&] {
        return fmt::format("the connection to {} is lost: {}", connection->GetMessenger().ToMessengerString(),
                           reason);
    });
    connection->Close();
    connections.erase(connection->GetMessenger().ToMessengerString());
    FailAll(*connection, reason);
}

void CRpcManager::Impl::FailAll(RpcConnection& connection, const std::string& reason) {
    std::vector<PendingRequest> all = connection.TakeAll();
    // All at once: while one of the delegates waits, the others' requests are still outstanding.
    running_delegates += static_cast<int>(all.size());
    delegates_of_this_thread += static_cast<int>(all.size());
    for (PendingRequest& request : all) {
        const std::string text = fmt::format("{} was not answered: {}", request.request_name, reason);
        AnswerWithFault(connection.GetMessenger(), std::move(request), kFaultConnectionLost, text);
        --running_delegates;
        --delegates_of_this_thread;
    }
    CTaskManager::Instance().Wake();
}

void CRpcManager::Impl::OnNotification(const std::shared_ptr<RpcConnection>& connection, Message& message) {
    const std::string& address = connection->GetMessenger().ToMessengerString();
    // First, since a delegate may take its time, or end the connection.
    if (!message.header().get_discard_eligible()) {
        Message acknowledgement;
        acknowledgement.set_msg_type(tm::TMT_RESPONSE);
        acknowledgement.set_request_name(message.get_request_name());
        acknowledgement.header().set_seq_no(message.header().get_seq_no());
        connection->GetTransport().Send(acknowledgement.encode());
    }

    // What a port reports is counted once, and what is lost on the way is named.
    const std::uint32_t number = message.header().get_seq_no();
    const auto arrival = connection->GetNotificationNumbers().Take(number);
    if (arrival.is_repeated) {
        LogWarn([&] { return fmt::format("notification {} of {} came twice", number, address); });
        return;
    }
    if (arrival.missing > 0) {
        const std::string text =
            fmt::format("{} notifications of {} are missing, or late, before {} (number {})", arrival.missing,
                        address, message.get_request_name(), number);
        LogError(text);
        AddError(connection->GetMessenger(), number, kFaultMissing, text);
    }

    std::vector<int> receivers;
    for (const auto& [id, registration] : registrations) {
        if (registration.messenger == address && registration.name == message.get_request_name()) {
            receivers.push_back(id);
        }
    }
    if (receivers.empty()) {
        LogDebug([&] {
            return fmt::format("nobody is registered for {} from {}", message.get_request_name(), address);
        });
    }
    for (const int id : receivers) {
        const auto found = registrations.find(id);
        if (found == registrations.end()) continue;  // ended by one before it
        const Registration registration = found->second;
        try {
            registration.delegate(static_cast<std::uint16_t>(message.header().get_seq_no()), &message,
                                  registration.context);
        } catch (...) {
            const std::string text = fmt::format("handling the notification {} failed: {}", registration.name,
                                                 DescribeException(std::current_exception()));
            LogError([&] { return fmt::format("{} (from {})", text, address); });
            AddError(connection->GetMessenger(), message.header().get_seq_no(), kFaultDelegateFailed, text);
        }
    }
}

void CRpcManager::Wait(std::vector<ErrorMsg>& errors) {
    // A wait within a delegate cannot wait for that delegate's own end.
    const int own = delegates_of_this_thread;
    CTaskManager::Instance().WaitUntil(
        [this, own] { return impl_->CountPending() == 0 && impl_->running_delegates <= own; },
        CTaskManager::Nanoseconds::max());
    TakeErrors(errors);
}

}  // namespace orv::framework
