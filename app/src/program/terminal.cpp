#include "terminal.h"

#include <sys/ioctl.h>

namespace orv::app {

std::optional<std::size_t> GetTerminalWidth(int file) {
    winsize size{};
    if (!isatty(file) || ioctl(file, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
    return size.ws_col;
}

}  // namespace orv::app
