// Properties of the terminal.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <optional>

namespace orv::app {

/// Characters per line of the terminal that a file descriptor writes to; no value if it is not a terminal, or
/// if the width is unknown.
std::optional<std::size_t> GetTerminalWidth(int file);

}  // namespace orv::app
