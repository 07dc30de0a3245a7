// Ctrl-C.
#pragma once

namespace orv::app {

/// From now on SIGINT, SIGTERM and SIGHUP are counted, those that come within 300 ms as one; SIGHUP is left
/// alone where it is ignored (nohup). The second one calls `before_end` on a thread of its own and ends the
/// process with status 130 when that has returned, but after a second in any case; the third one ends it at
/// once. A reader of the output that goes away (SIGPIPE) ends nothing. Called once.
void CountInterrupts(void (*before_end)());
int GetInterruptCount();

}  // namespace orv::app
