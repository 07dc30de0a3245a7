// What the generators of ports send.
#pragma once

#include <vector>

#include "orv/core/port.h"
#include "orv/l2l3/stream_block.h"

namespace orv::app {

bool IsGeneratorRunning(const core::CPort& port);

/// The stream blocks of a port that are active, whether or not its generator runs.
std::vector<const l2l3::CStreamBlock*> GetActiveStreamBlocks(const core::CPort& port);

/// Why a stream block has too many streams to number them; empty when it has not. To be asked before its
/// addresses are expanded.
std::string FindStreamCountProblem(const l2l3::CStreamBlock& block);

}  // namespace orv::app
