// The host's own log texts.
#pragma once

#include <exception>
#include <source_location>
#include <string>

namespace orv::framework {

/// Write to the logger "framework". Where the level decides whether a costly text is built, callers ask
/// IsDebugLogged first.
void LogDebug(const std::string& text, const std::source_location& where = std::source_location::current());
void LogWarn(const std::string& text, const std::source_location& where = std::source_location::current());
void LogError(const std::string& text, const std::source_location& where = std::source_location::current());
bool IsDebugLogged();

/// What an exception says, whatever its type: its own text, "the integer -1", "an exception of unknown type".
std::string DescribeException(const std::exception_ptr& exception);

}  // namespace orv::framework
