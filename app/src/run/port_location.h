// Where the far end of a port is.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "orv/core/port.h"

namespace orv::app {

/// Before the name of a Linux network interface: the set-top boxes of the port live there.
inline constexpr std::string_view kLiveScheme = "linux://";

/// The interface of a live port, as its location gives it; nothing for a simulated port.
std::optional<std::string> GetLiveInterface(const core::CPort& port);

/// Why a location is invalid; empty if it is valid. Does not check whether the interface exists.
std::string FindLocationProblem(const std::string& location);

}  // namespace orv::app
