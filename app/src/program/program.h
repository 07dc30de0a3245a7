// The program.
#pragma once

namespace orv::app {

/// Carries a command line out; returns the exit status.
int RunProgram(int argc, const char* const* argv);

}  // namespace orv::app
