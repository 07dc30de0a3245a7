// Where output goes.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <optional>

namespace orv::app {

/// Characters in a line of the terminal that a file descriptor writes to; none when it is no terminal, or one
/// that does not tell.
std::optional<std::size_t> GetTerminalWidth(int file);

}  // namespace orv::app
