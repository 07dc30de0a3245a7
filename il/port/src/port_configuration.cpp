#include "orv/il/port_configuration.h"

namespace orv::il {

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

}  // namespace orv::il
