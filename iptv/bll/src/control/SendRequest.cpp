#include "control/SendRequest.h"

#include "FindByHandle.h"
#include "IptvLog.h"
#include "orv/core/port.h"
#include "orv/tm/message.h"

namespace orv::iptv {

int SendRequest(const core::CPort& port, Message& message, const framework::ResponseDelegate& delegate) {
    void* const context = reinterpret_cast<void*>(static_cast<std::uintptr_t>(port.GetHandle()));
    return framework::CRpcManager::Instance().SendAsyncMessage(port.GetMessenger(), message, &delegate,
                                                               context, 0, false);
}

void LogFault(const Message& answer, void* port_handle) {
    if (answer.get_msg_type() != tm::TMT_FAULT) return;
    const auto handle = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(port_handle));
    const auto* port = FindByHandle<core::CPort>(handle);
    LogText(devLogger(), LogLevelType::Error, [&] {
        return (port ? port->GetName() : std::string("A port")) + " did not carry out " +
               answer.get_request_name() + ": " + answer.get_fault_string();
    });
}

}  // namespace orv::iptv
