// The process among others: signals and precedence.
#pragma once

#include <signal.h>

#include <initializer_list>

namespace orv::lab {

/// Blocks signals and gives them a handler. Returns the mask to wait with: they come only then.
sigset_t CatchSignals(std::initializer_list<int> signals, void (*handler)(int));

/// Frames leave on time also on a busy machine, as far as this process is privileged.
void KeepTime();

}  // namespace orv::lab
