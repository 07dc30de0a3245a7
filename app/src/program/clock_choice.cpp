#include "clock_choice.h"

#include <algorithm>

#include "orv/ids/core_ids.h"
#include "run/port_location.h"

namespace orv::app {

using framework::ClockKind;

namespace {

bool HasLivePort(const TestFile& file) {
    const auto locations = file.GetValues(ids::Port::Location);
    return std::any_of(locations.begin(), locations.end(),
                       [](const std::string& location) { return ReadLocation(location).IsLive(); });
}

LoadedTest Load(ClockKind clock, const Arguments& arguments, const FileText& text,
                const std::filesystem::path& plugin) {
    auto session = std::make_unique<Session>(clock, plugin);
    TestFile file = session->Parse(text, arguments.settings);
    return {std::move(session), std::move(file)};
}

}  // namespace

LoadedTest LoadTest(const Arguments& arguments, const FileText& text, const std::filesystem::path& plugin) {
    LoadedTest test = Load(arguments.clock.value_or(ClockKind::Virtual), arguments, text, plugin);
    if (arguments.clock || !arguments.run.replay.empty() || !HasLivePort(test.file)) return test;
    // A session's clock is fixed, and only a session can interpret the file. There is one session at a time.
    test.session.reset();
    return Load(ClockKind::Real, arguments, text, plugin);
}

}  // namespace orv::app
