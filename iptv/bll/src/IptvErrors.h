// How the plug-in reports errors: each function logs, then throws or adds a validation report.
#pragma once

#include <source_location>
#include <string>

#include "orv/framework/lazy_text.h"

namespace orv::framework {
class CBaseValidationContext;
}

namespace orv::iptv {

/// Prefixes of the texts of thrown errors.
extern const std::string iptvAutomationObjErrMsg;
extern const std::string iptvAutomationRpcErrMsg;
extern const std::string iptvAutomationMemErrMsg;

/// A required object was not found, or is of another class.
struct LookupFailure {
    const char* object;     ///< the missing object: "MulticastGroup"
    const char* from;       ///< the object that should refer to it: "ChannelBlock"
    const char* operation;  ///< the operation that needs it: "CIptvChannelBlock::ValidateChannelBlock"
};

/// Developer log (details) and user log (summary).
void LogLookupFailure(const LookupFailure& failure,
                      const std::source_location& where = std::source_location::current());

/// Logs, and throws COrvRunTimeError with the object prefix and the detail.
[[noreturn]] void ThrowLookupFailure(const LookupFailure& failure, const std::string& detail,
                                     const std::source_location& where = std::source_location::current());

/// The same for validators: between logging and throwing, `report` is added to the context as an error.
[[noreturn]] void ThrowLookupFailure(const LookupFailure& failure, framework::CBaseValidationContext& context,
                                     const std::string& report, const std::string& detail,
                                     const std::source_location& where = std::source_location::current());

/// Logs that `what` could not be created.
void LogCreationFailure(const framework::LazyText& what,
                        const std::source_location& where = std::source_location::current());

/// Logs, and throws COrvRunTimeError with the memory prefix and `class_name` with a full stop.
[[noreturn]] void ThrowCreationFailure(const framework::LazyText& what, const std::string& class_name,
                                       const std::source_location& where = std::source_location::current());

/// The source of a validation report: path and line without separator.
std::string SourceTag(const std::source_location& where);

/// Reports a broken rule. Validation continues.
void ReportError(framework::CBaseValidationContext& context, const std::string& message,
                 const std::source_location& where = std::source_location::current());

}  // namespace orv::iptv
