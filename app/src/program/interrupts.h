// Ctrl-C.
#pragma once

namespace orv::app {

/// From now on SIGINT and SIGTERM are counted, those that come within 300 ms as one; the second one ends the
/// process at once with status 130.
void CountInterrupts();
int GetInterruptCount();

}  // namespace orv::app
