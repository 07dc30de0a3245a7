// Requests of a test start, whose answers nobody waits for.
#pragma once

#include <cstdint>

#include "orv/framework/rpc_manager.h"

namespace orv::core {
class CPort;
}

namespace orv::iptv {

using tm::Message;

/// Sends a request to a port, and returns what the RPC manager does. The delegate gets the port's handle as
/// context. A fault does not fail the apply that follows.
int SendRequest(const core::CPort& port, Message& message, const framework::ResponseDelegate& delegate);

/// A fault among the answers becomes an error in the log that names port and request.
void LogFault(const Message& answer, void* port_handle);

/// Tells of an answer what its handler does not: a port that refuses what it is sent runs another test than
/// the user wants.
template <auto handler>
void LogFaultAndHandle(std::uint16_t sequence, Message* answer, void* port_handle) {
    LogFault(*answer, port_handle);
    handler(sequence, answer, port_handle);
}

}  // namespace orv::iptv
