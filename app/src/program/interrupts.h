// Ctrl-C.
#pragma once

#include <functional>

namespace orv::app {

/// From now on SIGINT, SIGTERM and SIGHUP are counted, those that come within 300 ms as one; SIGHUP is left
/// alone where it is ignored (nohup). The second one calls `break_off` on a thread of its own, and so does
/// the first one where `has_nothing_to_end` still holds after 120 ms: work that checks for nothing else, such
/// as telling ports of a million streams, takes long. The process ends with the status that it returns,
/// after one second at the latest; the third one ends it at once, both with status 130. A closed
/// output pipe (SIGPIPE) does not end the process. Called once.
void CountInterrupts(std::function<bool()> has_nothing_to_end, std::function<int()> break_off);
int GetInterruptCount();

}  // namespace orv::app
