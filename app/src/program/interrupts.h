// Ctrl-C.
#pragma once

namespace orv::app {

/// From now on SIGINT and SIGTERM are counted; the second one ends the process at once with status 130.
void CountInterrupts();
int GetInterruptCount();

}  // namespace orv::app
