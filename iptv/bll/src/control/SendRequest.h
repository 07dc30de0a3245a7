// Requests of a test start. Nothing waits for their responses.
#pragma once

#include <cstdint>

#include "orv/framework/rpc_manager.h"

namespace orv::core {
class CPort;
}

namespace orv::iptv {

using tm::Message;

/// Sends a request to a port and returns the RPC manager's result. The delegate gets the port's handle as
/// context. A fault does not fail the apply that follows.
int SendRequest(const core::CPort& port, Message& message, const framework::ResponseDelegate& delegate);

/// Logs an error that names port and request when the answer is a fault.
void LogFault(const Message& answer, void* port_handle);

/// Logs faults before the handler is called: a port that refuses a request does not run the test that the
/// user wants.
template <auto handler>
void LogFaultAndHandle(std::uint16_t sequence, Message* answer, void* port_handle) {
    LogFault(*answer, port_handle);
    handler(sequence, answer, port_handle);
}

}  // namespace orv::iptv
