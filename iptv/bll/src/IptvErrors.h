// The patterns in which the plug-in reports what went wrong. Each logs and then throws or reports.
#pragma once

#include <source_location>
#include <string>

#include "orv/framework/lazy_text.h"

namespace orv::framework {
class CBaseValidationContext;
}

namespace orv::iptv {

/// What the texts of thrown errors begin with.
extern const std::string iptvAutomationObjErrMsg;
extern const std::string iptvAutomationRpcErrMsg;
extern const std::string iptvAutomationMemErrMsg;

/// An object that the configuration must contain was not found, or is of another class.
struct LookupFailure {
    const char* object;     ///< what was sought: "MulticastGroup"
    const char* from;       ///< where it was sought from: "ChannelBlock"
    const char* operation;  ///< who sought it: "CIptvChannelBlock::ValidateChannelBlock"
};

/// Developer log (details) and user log (summary).
void LogLookupFailure(const LookupFailure& failure,
                      const std::source_location& where = std::source_location::current());

/// Logs, and throws COrvRunTimeError with the object prefix and the detail.
[[noreturn]] void ThrowLookupFailure(const LookupFailure& failure, const std::string& detail,
                                     const std::source_location& where = std::source_location::current());

/// The same inside a validator: `report` also becomes an error of the context, between logging and throwing.
[[noreturn]] void ThrowLookupFailure(const LookupFailure& failure, framework::CBaseValidationContext& context,
                                     const std::string& report, const std::string& detail,
                                     const std::source_location& where = std::source_location::current());

/// An object could not be created: logs `what`.
void LogCreationFailure(const framework::LazyText& what,
                        const std::source_location& where = std::source_location::current());

/// Logs, and throws COrvRunTimeError with the memory prefix and `class_name` with a full stop.
[[noreturn]] void ThrowCreationFailure(const framework::LazyText& what, const std::string& class_name,
                                       const std::source_location& where = std::source_location::current());

/// The source of a validation report: path and line without separator.
std::string SourceTag(const std::source_location& where);

/// Reports the violation of a rule. Validation goes on.
void ReportError(framework::CBaseValidationContext& context, const std::string& message,
                 const std::source_location& where = std::source_location::current());

}  // namespace orv::iptv
