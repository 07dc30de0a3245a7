// The section "live" of a test file: how the hosts of live ports behave.
#pragma once

#include "mistake.h"
#include "orv/nic/live_port.h"
#include "source_tree.h"

namespace orv::app {

// RFC 3376 section 8.1: 0 is never used, and queries have three bits for it.
inline constexpr std::uint8_t kLeastRobustness = 1;
inline constexpr std::uint8_t kMostRobustness = 7;

/// Reads the section; mistakes go to the list.
nic::MembershipSettings ReadLiveSection(const SourceNode& node, MistakeList& mistakes);

}  // namespace orv::app
