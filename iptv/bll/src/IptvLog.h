// The plug-in's two loggers, and logging of resources.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <source_location>

#include "orv/framework/lazy_text.h"
#include "orv/framework/logger.h"

namespace orv::iptv {

using framework::LogLevelType;

/// "content.mulvane.iptv": traces and the details of failures, for whoever maintains the plug-in.
framework::BLLLogger* devLogger();
/// "user.iptv": what a user should know.
framework::BLLLogger* userLogger();

/// Writes a resource with its arguments. Nothing is formatted when the logger is missing or off for the
/// level.
void LogResource(framework::BLLLogger* logger, LogLevelType level, std::uint32_t id,
                 std::initializer_list<framework::LazyText> arguments,
                 const std::source_location& where = std::source_location::current());
/// Writes a plain text, under the same guard.
void LogText(framework::BLLLogger* logger, LogLevelType level, const framework::LazyText& text,
             const std::source_location& where = std::source_location::current());

/// A debug trace on the developer log.
void Trace(const framework::LazyText& text,
           const std::source_location& where = std::source_location::current());

}  // namespace orv::iptv
