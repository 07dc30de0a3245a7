// How the start-test command reports what is wrong with a test.
#pragma once

#include <cstdint>
#include <source_location>

namespace orv::framework {
class CBaseValidationContext;
class CCommand;
}  // namespace orv::framework

namespace orv::iptv {

/// Reports an error with the text of a resource, which becomes the command's status as well. False, for the
/// caller to return.
bool RefuseTest(framework::CCommand& command, framework::CBaseValidationContext& context, std::uint32_t id,
                const std::source_location& where = std::source_location::current());

/// Reports a warning with the text of a resource, which becomes the command's status and goes to the user log
/// as well.
void WarnOfTest(framework::CCommand& command, framework::CBaseValidationContext& context, std::uint32_t id,
                const std::source_location& where = std::source_location::current());

}  // namespace orv::iptv
