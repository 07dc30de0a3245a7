#include "port_configuration.h"

#include <fmt/format.h>

namespace orv::il {

namespace {

/// A peer's word must not make the port use all memory.
constexpr std::uint32_t kMostStbs = 1 << 20;
constexpr std::uint32_t kMostChannels = 1 << 16;  ///< channel numbers have 16 bits

}  // namespace

void PortConfiguration::reset_iptv() {
    tests.clear();
    profiles.clear();
    channel_blocks.clear();
    stb_blocks.clear();
    stream_map = {};
    const std::uint64_t next_revision = interfaces.revision + 1;
    interfaces = {};
    interfaces.revision = next_revision;
}

void PortConfiguration::reset_hardware() {
    receive_filter = {};
    port_sets.clear();
}

void check(const iptvcd_1_bll::channelBlockConfig_s& block) {
    if (block.channel_count == 0 || block.channel_count > kMostChannels) {
        throw PortFault(FaultCode::BadValue,
                        fmt::format("channel block {} has {} channels; 1 to {} are possible",
                                    block.channel_handle, block.channel_count, kMostChannels));
    }
}

void check(const iptvcd_1_bll::settopBlockConfig_s& block, const PortConfiguration& configuration) {
    const auto refuse = [&block](const std::string& why) {
        throw PortFault(FaultCode::BadValue, fmt::format("STB block {}: {}", block.stblock_handle, why));
    };
    if (block.settop_count == 0 || block.settop_count > kMostStbs)
        refuse(fmt::format("{} STBs; 1 to {} are possible", block.settop_count, kMostStbs));
    if (!block.ppp_index.empty() && block.ppp_index.size() < block.settop_count)
        refuse(fmt::format("{} PPP sessions for {} STBs", block.ppp_index.size(), block.settop_count));
    configuration.profiles.at(block.profile_handle);
}

}  // namespace orv::il
