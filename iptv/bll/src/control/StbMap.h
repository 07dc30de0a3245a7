// Which STB blocks a test has, and on which ports.
#pragma once

#include <cstdint>
#include <vector>

#include "running/RunningTest.h"

namespace orv::iptv {

/// Sorts the active blocks by port, in their order; ports that are in the map already keep their entries,
/// emptied. `onlineOnly`: ports that are offline take no part, unless the system tests without hardware. A
/// block without device or port is left out, and logged.
void CreateStbMap(StbPortMap& map, const std::vector<std::uint32_t>& stbBlocks, bool onlineOnly);

}  // namespace orv::iptv
