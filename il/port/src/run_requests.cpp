// Requests that run a test and ask for its notifications.
#include "request_table.h"

namespace orv::il {

using tm::Message;

void add_run_requests(RequestTable& table) {
    using namespace iptvcd_1_bll;  // NOLINT: the requests are what this file is about
    table["iptvcd_1.Start"] = [](PortState& port, const Message& request, Message& response) {
        TestStart test;
        parse_req_Start(&request, &test.config_handle, &test.stb_blocks, &test.start_delay_step);
        port.control.start(port.configuration, test);
        create_resp_Start(&response);
    };
    // Not an error without a test: a Stop may cross the end of a test.
    table["iptvcd_1.Stop"] = [](PortState& port, const Message& request, Message& response) {
        parse_req_Stop(&request);
        port.control.stop();
        create_resp_Stop(&response);
    };
    table["iptvcd_1.Reset"] = [](PortState& port, const Message& request, Message& response) {
        parse_req_Reset(&request);
        port.control.abandon();
        port.configuration.reset_iptv();
        create_resp_Reset(&response);
    };
    table["iptvcd_1.RegisterResultsNotify"] = [](PortState& port, const Message& request, Message& response) {
        RunControl::Registration registration;
        registration.discard_eligible = request.header().get_discard_eligible();
        std::vector<std::uint32_t> blocks;
        parse_req_RegisterResultsNotify(&request, &blocks, &registration.interval_ms);
        for (const std::uint32_t block : blocks) port.configuration.stb_blocks.at(block);
        port.control.register_results(registration, {blocks.begin(), blocks.end()});
        create_resp_RegisterResultsNotify(&response);
    };
    table["iptvcd_1.DeregisterResultsNotify"] = [](PortState& port, const Message& request,
                                                   Message& response) {
        parse_req_DeregisterResultsNotify(&request);
        port.control.deregister_results();
        create_resp_DeregisterResultsNotify(&response);
    };
    table["iptvcd_1.RegisterEOTNotify"] = [](PortState& port, const Message& request, Message& response) {
        RunControl::Registration registration;
        registration.discard_eligible = request.header().get_discard_eligible();
        parse_req_RegisterEOTNotify(&request, &registration.interval_ms);
        port.control.register_end_of_test(registration);
        create_resp_RegisterEOTNotify(&response);
    };
    table["iptvcd_1.DeregisterEOTNotify"] = [](PortState& port, const Message& request, Message& response) {
        parse_req_DeregisterEOTNotify(&request);
        port.control.deregister_end_of_test();
        create_resp_DeregisterEOTNotify(&response);
    };
    table["iptvcd_1.UpdateStreamMap"] = [](PortState& port, const Message& request, Message& response) {
        StreamMap map;
        parse_req_UpdateStreamMap(&request, &map.sources, &map.groups, &map.stream_ids);
        if (map.sources.size() != map.groups.size() ||
            (!map.stream_ids.empty() && map.stream_ids.size() != map.groups.size())) {
            throw PortFault(FaultCode::BadValue, "the lists of the stream map are not equally long");
        }
        port.configuration.stream_map = std::move(map);
        create_resp_UpdateStreamMap(&response);
    };
}

}  // namespace orv::il
