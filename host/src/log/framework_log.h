// The host's own log texts.
#pragma once

#include <exception>
#include <source_location>
#include <string>

#include "orv/framework/lazy_text.h"

namespace orv::framework {

/// Write to the logger "framework".
void LogDebug(const LazyText& text, const std::source_location& where = std::source_location::current());
void LogWarn(const LazyText& text, const std::source_location& where = std::source_location::current());
void LogError(const LazyText& text, const std::source_location& where = std::source_location::current());

/// The text of an exception of any type: its own text, "the integer -1", "an exception of unknown type".
std::string DescribeException(const std::exception_ptr& exception);

}  // namespace orv::framework
