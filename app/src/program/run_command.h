// The command "iptvtest run".
#pragma once

#include <filesystem>

#include "arguments.h"

namespace orv::app {

/// Runs a test file and reports its outcome, also after an error. Returns the exit status.
int RunTest(const Arguments& arguments, const std::filesystem::path& plugin);

}  // namespace orv::app
