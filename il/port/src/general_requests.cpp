// Requests about a port's hardware. A software port has no resources to list.
#include "msgset/HwGeneral_1.h"
#include "request_table.h"

namespace orv::il {

using tm::Message;

void add_general_requests(RequestTable& table) {
    using namespace HwGeneral_1_bll;  // NOLINT: the requests are what this file is about
    table["HwGeneral_1.GetResourcesInfo"] = [](PortState&, const Message& request, Message& response) {
        parse_req_GetResourcesInfo(&request);
        create_resp_GetResourcesInfo(&response, {}, true);
    };
    table["HwGeneral_1.GetCutThruRxFilterEnables"] = [](PortState& port, const Message& request,
                                                        Message& response) {
        parse_req_GetCutThruRxFilterEnables(&request);
        create_resp_GetCutThruRxFilterEnables(&response, port.configuration.receive_filter, true);
    };
    table["HwGeneral_1.SetCutThruRxFilterEnables"] = [](PortState& port, const Message& request,
                                                        Message& response) {
        parse_req_SetCutThruRxFilterEnables(&request, &port.configuration.receive_filter);
        create_resp_SetCutThruRxFilterEnables(&response);
    };
    table["HwGeneral_1.Reset"] = [](PortState& port, const Message& request, Message& response) {
        HwGeneral_1_bll::parse_req_Reset(&request);
        port.configuration.reset_hardware();
        HwGeneral_1_bll::create_resp_Reset(&response);
    };
    table["HwGeneral_1.UpdatePortSets"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<PortSet_s> sets;
        parse_req_UpdatePortSets(&request, &sets);
        for (const PortSet_s& set : sets) port.configuration.port_sets[set.handle] = set;
        create_resp_UpdatePortSets(&response, true, true);
    };
    table["HwGeneral_1.DeletePortSets"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<std::uint16_t> handles;
        parse_req_DeletePortSets(&request, &handles);
        bool all = true;  // for the response; existing ones are removed in any case
        for (const std::uint16_t handle : handles) all &= port.configuration.port_sets.erase(handle) > 0;
        create_resp_DeletePortSets(&response, all, true);
    };
}

}  // namespace orv::il
