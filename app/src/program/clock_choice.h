// The clock of a run for which the user has not chosen one.
#pragma once

#include <filesystem>
#include <memory>

#include "arguments.h"
#include "run/session.h"

namespace orv::app {

/// A session, and the test that is to run in it.
struct LoadedTest {
    std::unique_ptr<Session> session;
    TestFile file;
};

/// Reads the test file of the arguments in a session with the clock that the arguments ask for, or else with
/// the one that the file's ports need: live ones the real clock, others the virtual one. A recording is
/// played back without a network, on the virtual clock.
LoadedTest LoadTest(const Arguments& arguments, const FileText& text, const std::filesystem::path& plugin);

}  // namespace orv::app
