// Requests about hosts that get their addresses from the network.
#include <algorithm>

#include "msgset/hostaddr_1.h"
#include "orv/il/address_sessions.h"
#include "orv/il/port_fault.h"
#include "request_table.h"

namespace orv::il {

using namespace hostaddr_1_bll;  // NOLINT: the requests are what this file is about
using tm::Message;
using Handles = std::vector<std::uint32_t>;

namespace {

/// A response must not be longer than what a peer takes.
constexpr std::uint32_t kMostDescribed = 10'000;

AddressSessions& sessions_of(PortState& port) {
    if (!port.addressing)
        throw PortFault(FaultCode::BadValue, "this port's hosts have no network that gives them addresses");
    return *port.addressing;
}

}  // namespace

void add_address_requests(RequestTable& table) {
    table["hostaddr_1.ConfigAddressing"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<addressBlock_s> blocks;
        parse_req_ConfigAddressing(&request, &blocks);
        sessions_of(port).configure(blocks, port.configuration);
        create_resp_ConfigAddressing(&response);
    };
    table["hostaddr_1.DeleteAddressing"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        parse_req_DeleteAddressing(&request, &handles);
        sessions_of(port).remove(handles);
        create_resp_DeleteAddressing(&response);
    };
    table["hostaddr_1.BindHosts"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        parse_req_BindHosts(&request, &handles);
        sessions_of(port).bind(handles);
        create_resp_BindHosts(&response);
    };
    table["hostaddr_1.ReleaseHosts"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        parse_req_ReleaseHosts(&request, &handles);
        sessions_of(port).release(handles);
        create_resp_ReleaseHosts(&response);
    };
    table["hostaddr_1.GetAddressCounts"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        parse_req_GetAddressCounts(&request, &handles);
        std::vector<addressCounts_s> counts;
        for (const std::uint32_t handle : handles) counts.push_back(sessions_of(port).count(handle));
        create_resp_GetAddressCounts(&response, counts, true);
    };
    table["hostaddr_1.GetHostAddresses"] = [](PortState& port, const Message& request, Message& response) {
        std::uint32_t handle = 0, first = 0, most = 0;
        parse_req_GetHostAddresses(&request, &handle, &first, &most);
        create_resp_GetHostAddresses(
            &response, sessions_of(port).describe(handle, first, std::min(most, kMostDescribed)), true);
    };
}

}  // namespace orv::il
