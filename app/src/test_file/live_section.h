// The section "live" of a test file: how the hosts of live ports behave.
#pragma once

#include <string>
#include <vector>

#include "live_settings.h"
#include "mistake.h"
#include "source_tree.h"

namespace orv::app {

// RFC 3376 section 8.1: 0 is never used, and queries have three bits for it.
inline constexpr std::uint8_t kLeastRobustness = 1;
inline constexpr std::uint8_t kMostRobustness = 7;

/// By value: "AUTOMATIC" of 0.
const std::vector<std::string>& GetSbitNames();

/// Reads the section; mistakes go to the list.
LiveSettings ReadLiveSection(const SourceNode& node, MistakeList& mistakes);

}  // namespace orv::app
