// Ctrl-C.
#pragma once

#include <functional>

namespace orv::app {

/// Starts to count SIGINT, SIGTERM and SIGHUP; signals within 300 ms count as one. SIGHUP stays ignored if it
/// is (nohup). The second signal calls `break_off` on a separate thread. The first one does so if
/// `has_nothing_to_end` is still true after 120 ms, because some work does not check for interrupts and takes
/// long, such as configuring ports with a million streams. The process then ends with the status that
/// `break_off` returns, or with status 130 if that takes more than one second. The third signal ends it at
/// once with status 130. A closed output pipe (SIGPIPE) does not end the process. Call once.
void CountInterrupts(std::function<bool()> has_nothing_to_end, std::function<int()> break_off);
int GetInterruptCount();

}  // namespace orv::app
