// The streams that the generators of live ports send.
#pragma once

#include <vector>

#include "orv/core/port.h"
#include "orv/l2l3/stream_block.h"
#include "orv/nic/live_port.h"

namespace orv::app {

/// What the active stream blocks of a port send: streams with the numbers that analyzers know them by. Stream
/// i of a path goes from its host i to its group i, each counted modulo their number, so that every host
/// sends every group once when the numbers have no common divisor. The load of a block is that of each
/// stream; a percentage of the line is shared by them. `line_rate` is in bits per second. Throws
/// COrvRunTimeError as CheckStreams.
std::vector<nic::Stream> PlanStreams(const core::CPort& port, double line_rate);

/// Throws COrvRunTimeError, saying what of a stream block live ports cannot send.
void CheckStreams(const l2l3::CStreamBlock& block);

}  // namespace orv::app
