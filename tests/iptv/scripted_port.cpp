#include "scripted_port.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "msgset/iptvcd_1.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/task_manager.h"

namespace testing_aids {

using namespace orv;  // NOLINT: a test
using tm::Message;
using Handles = std::vector<std::uint32_t>;

namespace {

std::string NameOf(std::uint32_t handle) {
    const auto* object = framework::CHandleRegistry::Instance().Find(handle);
    return object ? object->GetName() : std::to_string(handle);
}

template <auto handle, class Record>
Handles FromRecords(const Message& message, void (*parse)(const Message*, std::vector<Record>*)) {
    std::vector<Record> records;
    parse(&message, &records);
    Handles handles;
    for (const Record& record : records) handles.push_back(record.*handle);
    return handles;
}

Handles FromHandles(const Message& message, void (*parse)(const Message*, Handles*)) {
    Handles handles;
    parse(&message, &handles);
    return handles;
}

/// The handles in a request; nothing for other operations.
Handles HandlesOf(const std::string& operation, const Message& message) {
    using namespace iptvcd_1_bll;
    if (operation == "UpdateProfile")
        return FromRecords<&profileConfig_s::profile_handle>(message, parse_req_UpdateProfile);
    if (operation == "UpdateChannelBlock")
        return FromRecords<&channelBlockConfig_s::channel_handle>(message, parse_req_UpdateChannelBlock);
    if (operation == "UpdateSettopBlock")
        return FromRecords<&settopBlockConfig_s::stblock_handle>(message, parse_req_UpdateSettopBlock);
    if (operation == "DeleteProfile") return FromHandles(message, parse_req_DeleteProfile);
    if (operation == "DeleteChannelBlock") return FromHandles(message, parse_req_DeleteChannelBlock);
    if (operation == "DeleteSettopBlock") return FromHandles(message, parse_req_DeleteSettopBlock);
    if (operation == "AttachInterfaces") return FromHandles(message, parse_req_AttachInterfaces);
    if (operation == "DetachInterfaces") return FromHandles(message, parse_req_DetachInterfaces);
    return {};
}

std::string OperationOf(const Message& message) {
    const std::string& name = message.get_request_name();
    return name.starts_with("iptvcd_1.") ? name.substr(name.find('.') + 1) : name;
}

}  // namespace

std::string Summarise(const Message& request) {
    const std::string operation = OperationOf(request);
    std::string text = operation;
    for (const std::uint32_t handle : HandlesOf(operation, request)) {
        const bool is_interface = operation.ends_with("Interfaces");
        text += (text == operation ? " " : ",") + (is_interface ? std::to_string(handle) : NameOf(handle));
    }
    return text;
}

ScriptedPort::ScriptedPort(const core::CPort& port) : name_(port.GetName()) {
    auto [near, far] = framework::MakeInProcessTransport(std::chrono::milliseconds(1));
    end_ = std::move(far);
    end_->SetCallbacks([this](std::vector<std::byte> bytes) { OnBytes(std::move(bytes)); },
                       [](const std::string&) {});
    framework::CRpcManager::Instance().Connect(port.GetMessenger(), std::move(near));
}

ScriptedPort::~ScriptedPort() {
    end_->Close();
}

void ScriptedPort::OnBytes(std::vector<std::byte> bytes) {
    Message request = Message::decode(std::move(bytes));
    if (request.get_msg_type() != tm::TMT_REQUEST) return;
    most_outstanding_ = std::max(most_outstanding_, ++outstanding_);
    summaries_.push_back(Summarise(request));
    if (journal) journal->push_back(name_ + " " + summaries_.back());
    const Answer how = answer ? answer(request) : Answer::Respond;
    Reply(request, how);
    requests_.push_back(std::move(request));
}

void ScriptedPort::Reply(const Message& request, Answer how) {
    Message reply;
    reply.set_request_name(request.get_request_name());
    reply.header().set_seq_no(request.header().get_seq_no());
    reply.set_msg_type(tm::TMT_RESPONSE);
    switch (how) {
        case Answer::Respond:
            break;
        case Answer::Fault:
            reply.set_fault(7, "refused");
            reply.set_msg_type(tm::TMT_FAULT);
            break;
        case Answer::WrongType:
            reply.set_msg_type(tm::TMT_REQUEST);
            reply.header().set_seq_no(++notifications_);
            break;
        case Answer::Nothing:
            return;
        case Answer::Late: {
            auto late = std::make_shared<Message>(std::move(reply));
            framework::CTaskManager::Instance().PostAfter(std::chrono::seconds(45),
                                                          [this, late] { Send(*late); });
            return;
        }
        case Answer::CloseInstead:
            end_->Close();
            return;
    }
    if (thinks.count() == 0) return Send(reply);
    auto later = std::make_shared<Message>(std::move(reply));
    framework::CTaskManager::Instance().PostAfter(thinks, [this, later, alive = std::weak_ptr(alive_)] {
        if (!alive.expired()) Send(*later);
    });
}

void ScriptedPort::Notify(Message& message) {
    message.set_msg_type(tm::TMT_REQUEST);
    message.header().set_seq_no(++notifications_);
    end_->Send(message.encode());
}

void ScriptedPort::Send(const Message& message) {
    --outstanding_;
    end_->Send(message.encode());
}

std::vector<std::string> ScriptedPort::Take() {
    return std::exchange(summaries_, {});
}

const Message& ScriptedPort::Last(const std::string& operation) const {
    const auto found = std::find_if(requests_.rbegin(), requests_.rend(), [&](const Message& request) {
        return OperationOf(request) == operation;
    });
    if (found == requests_.rend()) throw std::runtime_error("the port was not sent " + operation);
    return *found;
}

}  // namespace testing_aids
