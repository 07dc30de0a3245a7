// Requests about interface stacks. They are stored, and queries are answered from the store.
#include <fmt/format.h>

#include "request_table.h"

namespace orv::il {

using namespace iptvcd_1_bll;   // NOLINT: the requests are what this file is about
using namespace IFSETUP_1_bll;  // NOLINT
using tm::Message;
using Handles = std::vector<std::uint32_t>;
using Stacks = std::vector<NetworkInterfaceStack_s>;

namespace {

InterfaceConfiguration& interfaces_of(PortState& port) {
    return port.configuration.interfaces;
}

void check_lengths(std::size_t handles, std::size_t stacks, std::size_t options) {
    if (handles == stacks && (options == 0 || options == stacks)) return;
    throw PortFault(FaultCode::BadValue, fmt::format("{} handles and {} options for {} interface stacks",
                                                     handles, options, stacks));
}

void store(InterfaceConfiguration& interfaces, const Handles& handles, const Stacks& stacks) {
    for (std::size_t i = 0; i < handles.size(); ++i) interfaces.stacks.put(handles[i], stacks[i]);
    ++interfaces.revision;
}

Stacks stacks_of(PortState& port, const Handles& handles) {
    Stacks stacks;
    for (const std::uint32_t handle : handles) stacks.push_back(interfaces_of(port).stacks.at(handle));
    return stacks;
}

void add_configuring(RequestTable& table) {
    table["iptvcd_1.ConfigInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Stacks stacks;
        iptvcd_1_bll::parse_req_ConfigInterfaces(&request, &stacks);
        InterfaceConfiguration& interfaces = interfaces_of(port);
        Handles handles;
        for (std::size_t i = 0; i < stacks.size(); ++i) {
            do ++interfaces.last_handle;
            while (interfaces.stacks.contains(interfaces.last_handle));
            handles.push_back(interfaces.last_handle);
        }
        store(interfaces, handles, stacks);
        iptvcd_1_bll::create_resp_ConfigInterfaces(&response, handles, true);
    };
    table["iptvcd_1.ConfigInterfacesWithIlHandle"] = [](PortState& port, const Message& request,
                                                        Message& response) {
        Handles handles, options;
        Stacks stacks;
        iptvcd_1_bll::parse_req_ConfigInterfacesWithIlHandle(&request, &handles, &stacks, &options);
        check_lengths(handles.size(), stacks.size(), options.size());
        store(interfaces_of(port), handles, stacks);
        iptvcd_1_bll::create_resp_ConfigInterfacesWithIlHandle(&response);
    };
    table["iptvcd_1.UpdateInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles, options;
        Stacks stacks;
        iptvcd_1_bll::parse_req_UpdateInterfaces(&request, &handles, &stacks, &options);
        check_lengths(handles.size(), stacks.size(), options.size());
        for (const std::uint32_t handle : handles) interfaces_of(port).stacks.at(handle);
        store(interfaces_of(port), handles, stacks);
        iptvcd_1_bll::create_resp_UpdateInterfaces(&response);
    };
    table["iptvcd_1.DeleteInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        iptvcd_1_bll::parse_req_DeleteInterfaces(&request, &handles);
        interfaces_of(port).stacks.remove(handles);
        ++interfaces_of(port).revision;
        iptvcd_1_bll::create_resp_DeleteInterfaces(&response);
    };
}

void add_reading(RequestTable& table) {
    table["iptvcd_1.GetInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        iptvcd_1_bll::parse_req_GetInterfaces(&request, &handles);
        iptvcd_1_bll::create_resp_GetInterfaces(&response, handles, stacks_of(port, handles), true);
    };
    // A record holds its whole stack, so all stacked interfaces are known.
    table["iptvcd_1.GetStackedInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        iptvcd_1_bll::parse_req_GetStackedInterfaces(&request, &handles);
        iptvcd_1_bll::create_resp_GetStackedInterfaces(&response, handles, stacks_of(port, handles), true);
    };
    table["iptvcd_1.GetInterfaceLibParams"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<ifSetupLibParamType_t> types;
        iptvcd_1_bll::parse_req_GetInterfaceLibParams(&request, &types);
        std::vector<ifSetupLibParam_t> parameters;
        for (const ifSetupLibParamType_t type : types)
            parameters.push_back({type, interfaces_of(port).library_parameters[type]});
        iptvcd_1_bll::create_resp_GetInterfaceLibParams(&response, parameters, true);
    };
}

void add_using(RequestTable& table) {
    // Interfaces need not have been configured by a request of this set, and STB blocks may share one.
    table["iptvcd_1.AttachInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        iptvcd_1_bll::parse_req_AttachInterfaces(&request, &handles);
        interfaces_of(port).attached.insert(handles.begin(), handles.end());
        iptvcd_1_bll::create_resp_AttachInterfaces(&response);
    };
    table["iptvcd_1.DetachInterfaces"] = [](PortState& port, const Message& request, Message& response) {
        Handles handles;
        iptvcd_1_bll::parse_req_DetachInterfaces(&request, &handles);
        for (const std::uint32_t handle : handles) interfaces_of(port).attached.erase(handle);
        iptvcd_1_bll::create_resp_DetachInterfaces(&response);
    };
    table["iptvcd_1.SetGroupMembership"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<GroupMemberConfig_s> groups;
        iptvcd_1_bll::parse_req_SetGroupMembership(&request, &groups);
        for (const auto& group : groups) interfaces_of(port).groups[group.handle] = group;
        iptvcd_1_bll::create_resp_SetGroupMembership(&response);
    };
    table["iptvcd_1.SetInterfaceLibParams"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<ifSetupLibParam_t> parameters;
        iptvcd_1_bll::parse_req_SetInterfaceLibParams(&request, &parameters);
        for (const auto& parameter : parameters)
            interfaces_of(port).library_parameters[parameter.type] = parameter.value;
        iptvcd_1_bll::create_resp_SetInterfaceLibParams(&response);
    };
}

}  // namespace

void add_interface_requests(RequestTable& table) {
    add_configuring(table);
    add_reading(table);
    add_using(table);
}

}  // namespace orv::il
