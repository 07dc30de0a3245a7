// The clock of a run for which the user has not chosen one.
#pragma once

#include <filesystem>

namespace orv::app {

/// True when a location in the test file is that of a live port. The clock is needed before the file can be
/// checked, so this looks at the text only; what cannot be read has none.
bool MentionsLivePort(const std::filesystem::path& file);

}  // namespace orv::app
