// The streams that the generators of live ports send.
#pragma once

#include <vector>

#include "orv/core/port.h"
#include "orv/l2l3/stream_block.h"
#include "orv/nic/live_port.h"

namespace orv::app {

/// What the active stream blocks of a port send: streams with the ids by which analyzers distinguish them.
/// Stream i of a path goes from its host i to its group i, each counted modulo their number, so that every
/// host sends every group once when the numbers have no common divisor. Each stream has the load of its
/// block; a load in percent of the line rate is divided among the streams. `line_rate` is in bits per second.
/// Throws COrvRunTimeError like CheckStreams.
std::vector<nic::Stream> PlanStreams(const core::CPort& port, double line_rate);

/// Throws COrvRunTimeError with the reason if live ports cannot send the stream block.
void CheckStreams(const l2l3::CStreamBlock& block);

}  // namespace orv::app
