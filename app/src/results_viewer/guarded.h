// Errors of commands that read results databases.
#pragma once

#include <functional>
#include <iosfwd>
#include <string>

namespace orv::app {

/// Line by line: the line breaks are trusted, the contents are not. Returns `status`.
int PrintResultsError(std::ostream& err, const std::string& text, int status);

/// Does `work`; an error goes to `err`. Returns the exit status: 0, 2 after a ResultsError, 3 after a
/// ResultsFailure or without enough memory.
int RunGuarded(std::ostream& err, const std::function<void()>& work);

}  // namespace orv::app
