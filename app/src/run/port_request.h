// Requests to ports whose answers are waited for.
#pragma once

#include <functional>

#include "orv/core/port.h"
#include "orv/tm/message.h"

namespace orv::app {

/// Sends the request, waits for its answer, and has the response read. Throws COrvRunTimeError with the text
/// of a fault, that of a request without an answer among them, and of what `read` throws. Called under the
/// task lock, which it yields.
void AskPort(const core::CPort& port, tm::Message request,
             const std::function<void(const tm::Message& response)>& read = {});

}  // namespace orv::app
