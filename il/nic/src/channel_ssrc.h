// Which RTP stream a channel is.
#pragma once

#include <cstdint>

#include "orv/live/address.h"
#include "orv/nic/live_port.h"

namespace orv::nic {

/// The last 32 bits of the group: 0xe1010001 of 225.1.0.1. The generator's streams have it.
inline std::uint32_t ssrc_of(const live::IpAddress& group) {
    std::uint32_t ssrc = 0;
    for (const std::uint8_t byte : group.GetBytes()) ssrc = ssrc << 8 | byte;
    return ssrc;
}

/// Of a channel, as servers know it.
inline std::uint32_t ssrc_of(const UnicastSettings& settings, std::uint32_t channel_number,
                             const live::IpAddress& group) {
    return settings.ssrc_base ? *settings.ssrc_base + channel_number : ssrc_of(group);
}

}  // namespace orv::nic
