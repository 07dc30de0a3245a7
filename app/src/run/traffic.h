// What the generators of ports send.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/core/port.h"
#include "orv/l2l3/stream_block.h"

namespace orv::app {

bool IsGeneratorRunning(const core::CPort& port);

/// The stream blocks of a port that are active, whether or not its generator runs.
std::vector<const l2l3::CStreamBlock*> GetActiveStreamBlocks(const core::CPort& port);

/// Limit for the streams of all active stream blocks of a test together. Each takes about a kilobyte while
/// the streams are sent to the ports.
inline constexpr std::uint64_t kMostStreamsOfTest = std::uint64_t{1} << 20;

/// Why a stream block has too many streams to number them; empty if it has not. Call before its addresses are
/// expanded.
std::string FindStreamCountProblem(const l2l3::CStreamBlock& block);

}  // namespace orv::app
