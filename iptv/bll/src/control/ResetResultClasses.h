// Clearing the results of a project.
#pragma once

#include <cstdint>
#include <vector>

namespace orv::iptv {

/// Every result of the projects of these handles starts from zero.
void ResetResultClasses(const std::vector<std::uint32_t>& handles);

}  // namespace orv::iptv
