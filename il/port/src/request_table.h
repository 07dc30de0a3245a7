// Maps requests to their handlers.
#pragma once

#include <map>
#include <string>

#include "orv/il/address_sessions.h"
#include "orv/il/port_configuration.h"
#include "orv/tm/message.h"
#include "run_control.h"

namespace orv::il {

/// What a request may change.
struct PortState {
    PortConfiguration& configuration;
    RunControl& control;
    AddressSessions* addressing;  ///< null if the world gives no addresses
};

/// Carries a request out and makes `response` the answer, but for its name and number. Throws Tm_exception
/// for members that are not those of the request, PortFault for what the port refuses; then nothing has
/// changed.
using RequestHandler = void (*)(PortState& port, const tm::Message& request, tm::Message& response);
using RequestTable = std::map<std::string, RequestHandler>;

void add_configuration_requests(RequestTable& table);
void add_run_requests(RequestTable& table);
void add_interface_requests(RequestTable& table);
void add_general_requests(RequestTable& table);
void add_address_requests(RequestTable& table);

}  // namespace orv::il
