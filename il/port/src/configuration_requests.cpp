// Requests about test configurations, profiles, channel blocks and STB blocks.
#include <fmt/format.h>

#include <algorithm>

#include "request_table.h"

namespace orv::il {

using namespace iptvcd_1_bll;  // NOLINT: the requests are what this file is about
using tm::Message;
using Handles = std::vector<std::uint32_t>;

namespace {

constexpr std::uint32_t kMostChannels = 1 << 16;  ///< channel numbers have 16 bits

// Throw PortFault for values that no port could work with. An STB block may name channel blocks that the port
// does not have: their channels are not viewed.
void check(const channelBlockConfig_s& block) {
    if (block.channel_count == 0 || block.channel_count > kMostChannels) {
        throw PortFault(FaultCode::BadValue,
                        fmt::format("channel block {} has {} channels; 1 to {} are possible",
                                    block.channel_handle, block.channel_count, kMostChannels));
    }
}

void check(const settopBlockConfig_s& block, const PortConfiguration& configuration) {
    const auto refuse = [&block](const std::string& why) {
        throw PortFault(FaultCode::BadValue, fmt::format("STB block {}: {}", block.stblock_handle, why));
    };
    if (block.settop_count == 0 || block.settop_count > kMostStbs)
        refuse(fmt::format("{} STBs; 1 to {} are possible", block.settop_count, kMostStbs));
    if (!block.ppp_index.empty() && block.ppp_index.size() < block.settop_count)
        refuse(fmt::format("{} PPP sessions for {} STBs", block.ppp_index.size(), block.settop_count));
    configuration.profiles.at(block.profile_handle);
}

template <void (*parse)(const Message*, std::uint32_t*)>
std::uint32_t handle_of(const Message& request) {
    std::uint32_t handle = 0;
    parse(&request, &handle);
    return handle;
}

template <void (*parse)(const Message*, Handles*)>
Handles handles_of(const Message& request) {
    Handles handles;
    parse(&request, &handles);
    return handles;
}

void add_test_configurations(RequestTable& table) {
    table["iptvcd_1.UpdateConfig"] = [](PortState& port, const Message& request, Message& response) {
        testConfig_s config;
        parse_req_UpdateConfig(&request, &config);
        port.configuration.tests.put(config.config_handle, config);
        create_resp_UpdateConfig(&response);
    };
    table["iptvcd_1.GetConfig"] = [](PortState& port, const Message& request, Message& response) {
        const testConfig_s& c = port.configuration.tests.at(handle_of<parse_req_GetConfig>(request));
        create_resp_GetConfig(&response, c.test_type, c.test_env, c.test_duration, c.join_fail_threshold,
                              c.vlan_outer, c.vlan_inner, c.ppp_enable, c.udp_port_type, c.udp_port,
                              c.udp_protocol, c.vlan_sub_filter, c.max_sbit_delay, c.min_sbit_delay,
                              c.mcast_join_trigger, c.unicast_leave_trigger, c.ext_hdr_check_enable,
                              c.ext_hdr_check_pattern_period, true);
    };
    table["iptvcd_1.DeleteConfig"] = [](PortState& port, const Message& request, Message& response) {
        port.configuration.tests.remove({handle_of<parse_req_DeleteConfig>(request)});
        create_resp_DeleteConfig(&response);
    };
}

void add_profiles(RequestTable& table) {
    table["iptvcd_1.UpdateProfile"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<profileConfig_s> profiles;
        parse_req_UpdateProfile(&request, &profiles);
        for (const auto& profile : profiles) port.configuration.profiles.put(profile.profile_handle, profile);
        create_resp_UpdateProfile(&response);
    };
    table["iptvcd_1.GetProfile"] = [](PortState& port, const Message& request, Message& response) {
        const profileConfig_s& p = port.configuration.profiles.at(handle_of<parse_req_GetProfile>(request));
        create_resp_GetProfile(
            &response, p.save_timestamps, p.aggregate_latencies, p.unicast_only, p.unicast_stay,
            p.zap_behavior, p.zap_direction, p.zap_interval_type, p.zap_changes_before_view, p.view_duration,
            p.leave_to_join_delay, p.leave_to_leave_delay, p.mcast_join_trigger_delay,
            p.unicast_leave_trigger_delay, p.join_latency_threshold, p.leave_latency_threshold,
            p.unicast_join_threshold, p.unicast_leave_threshold, true);
    };
    table["iptvcd_1.DeleteProfile"] = [](PortState& port, const Message& request, Message& response) {
        port.configuration.profiles.remove(handles_of<parse_req_DeleteProfile>(request));
        create_resp_DeleteProfile(&response);
    };
}

void add_channel_blocks(RequestTable& table) {
    table["iptvcd_1.UpdateChannelBlock"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<channelBlockConfig_s> blocks;
        parse_req_UpdateChannelBlock(&request, &blocks);
        for (const auto& block : blocks) check(block);
        for (const auto& block : blocks) port.configuration.channel_blocks.put(block.channel_handle, block);
        create_resp_UpdateChannelBlock(&response);
    };
    table["iptvcd_1.GetChannelBlock"] = [](PortState& port, const Message& request, Message& response) {
        const channelBlockConfig_s& b =
            port.configuration.channel_blocks.at(handle_of<parse_req_GetChannelBlock>(request));
        create_resp_GetChannelBlock(&response, b.channel_count, b.channel_number_start, b.channel_number_step,
                                    b.channel_initial_start, b.channel_initial_step, b.channel_ip_start,
                                    b.channel_ip_step, b.filterMode, b.source_list, b.fcc_multicast_udp_port,
                                    true);
    };
    table["iptvcd_1.DeleteChannelBlock"] = [](PortState& port, const Message& request, Message& response) {
        port.configuration.channel_blocks.remove(handles_of<parse_req_DeleteChannelBlock>(request));
        create_resp_DeleteChannelBlock(&response);
    };
}

void add_stb_blocks(RequestTable& table) {
    table["iptvcd_1.UpdateSettopBlock"] = [](PortState& port, const Message& request, Message& response) {
        std::vector<settopBlockConfig_s> blocks;
        parse_req_UpdateSettopBlock(&request, &blocks);
        for (const auto& block : blocks) check(block, port.configuration);
        for (const auto& block : blocks) port.configuration.stb_blocks.put(block.stblock_handle, block);
        create_resp_UpdateSettopBlock(&response);
    };
    table["iptvcd_1.GetSettopBlock"] = [](PortState& port, const Message& request, Message& response) {
        const settopBlockConfig_s& b =
            port.configuration.stb_blocks.at(handle_of<parse_req_GetSettopBlock>(request));
        create_resp_GetSettopBlock(&response, b.profile_handle, b.igmp_version, b.channel_handle,
                                   b.settop_count, b.vlan_tag, b.vlan_step, b.vlan_inner_tag,
                                   b.vlan_inner_step, b.start_delay_step, b.vif_handle, b.min_buffer_level,
                                   b.fcc_server_address, b.fcc_server_port, b.udp_source_port,
                                   b.udp_source_port_step, b.ppp_index, true);
    };
    table["iptvcd_1.DeleteSettopBlock"] = [](PortState& port, const Message& request, Message& response) {
        port.configuration.stb_blocks.remove(handles_of<parse_req_DeleteSettopBlock>(request));
        create_resp_DeleteSettopBlock(&response);
    };
    // Adds a channel block to an STB block; one that it already views keeps its position.
    table["iptvcd_1.AssignChannelBlock"] = [](PortState& port, const Message& request, Message& response) {
        std::uint32_t block = 0, channels = 0;
        parse_req_AssignChannelBlock(&request, &block, &channels);
        Handles& viewed = port.configuration.stb_blocks.at(block).channel_handle;
        port.configuration.channel_blocks.at(channels);
        if (std::find(viewed.begin(), viewed.end(), channels) == viewed.end()) viewed.push_back(channels);
        create_resp_AssignChannelBlock(&response);
    };
    table["iptvcd_1.AssignProfile"] = [](PortState& port, const Message& request, Message& response) {
        std::uint32_t block = 0, profile = 0;
        parse_req_AssignProfile(&request, &block, &profile);
        port.configuration.profiles.at(profile);
        port.configuration.stb_blocks.at(block).profile_handle = profile;
        create_resp_AssignProfile(&response);
    };
}

}  // namespace

void add_configuration_requests(RequestTable& table) {
    add_test_configurations(table);
    add_profiles(table);
    add_channel_blocks(table);
    add_stb_blocks(table);
}

}  // namespace orv::il
