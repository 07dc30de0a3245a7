// The program.
#pragma once

namespace orv::app {

/// Executes a command line; returns the exit status.
int RunProgram(int argc, const char* const* argv);

}  // namespace orv::app
