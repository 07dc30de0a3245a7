// How many streams the analyzer of a port can tell apart.
#pragma once

#include <cstdint>
#include <vector>

namespace orv::iptv {

/// Streams that the port's analyzer can tell apart, -1 when that is not known.
std::int32_t GetCardLimitOnStreams(std::uint32_t port);

/// Logs an error for developers when the blocks of a port may receive more streams than its analyzer can tell
/// apart. `testType`: ids::TestType. Missing objects throw COrvRunTimeError.
void CheckForCardLimitOnStreams(const std::vector<std::uint32_t>& stbBlocks, std::uint32_t port,
                                std::uint8_t testType);

}  // namespace orv::iptv
