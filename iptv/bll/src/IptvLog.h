// The plug-in's two loggers, and logging of resources.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <source_location>

#include "orv/framework/lazy_text.h"
#include "orv/framework/logger.h"

namespace orv::iptv {

using framework::LogLevelType;

/// "content.mulvane.iptv": traces and details of failures, for developers.
framework::BLLLogger* devLogger();
/// "user.iptv": messages for users.
framework::BLLLogger* userLogger();

/// Writes a resource with its arguments. Nothing is formatted if there is no logger or its level is off.
void LogResource(framework::BLLLogger* logger, LogLevelType level, std::uint32_t id,
                 std::initializer_list<framework::LazyText> arguments,
                 const std::source_location& where = std::source_location::current());
/// Writes a plain text, on the same condition.
void LogText(framework::BLLLogger* logger, LogLevelType level, const framework::LazyText& text,
             const std::source_location& where = std::source_location::current());

/// Writes a debug trace to the developer log.
void Trace(const framework::LazyText& text,
           const std::source_location& where = std::source_location::current());

}  // namespace orv::iptv
