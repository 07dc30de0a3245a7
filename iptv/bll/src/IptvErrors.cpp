#include "IptvErrors.h"

#include "IptvLog.h"
#include "IptvResources.h"
#include "orv/common/exceptions.h"
#include "orv/framework/validation.h"

namespace orv::iptv {

using common::COrvRunTimeError;

const std::string iptvAutomationObjErrMsg = " BAD OBJECT ERROR: Error accessing Config Objects. ";
const std::string iptvAutomationRpcErrMsg = " BAD RPC MESSAGE ERROR: Error in BLL-IL communication. ";
const std::string iptvAutomationMemErrMsg = " BAD ALLOCATION ERROR: Error in Memory Allocation. ";

void LogLookupFailure(const LookupFailure& failure, const std::source_location& where) {
    LogResource(devLogger(), LogLevelType::Error, resource::kBadObjectError,
                {failure.object, failure.from, failure.operation}, where);
    LogResource(userLogger(), LogLevelType::Fatal, resource::kBadObjectErrorForUser, {""}, where);
}

void ThrowLookupFailure(const LookupFailure& failure, const std::string& detail,
                        const std::source_location& where) {
    LogLookupFailure(failure, where);
    throw COrvRunTimeError(iptvAutomationObjErrMsg + detail, true);
}

void ThrowLookupFailure(const LookupFailure& failure, framework::CBaseValidationContext& context,
                        const std::string& report, const std::string& detail,
                        const std::source_location& where) {
    LogLookupFailure(failure, where);
    ReportError(context, report, where);
    throw COrvRunTimeError(iptvAutomationObjErrMsg + detail, true);
}

void LogCreationFailure(const framework::LazyText& what, const std::source_location& where) {
    LogResource(devLogger(), LogLevelType::Error, resource::kMemoryAllocationError, {what}, where);
}

void ThrowCreationFailure(const framework::LazyText& what, const std::string& class_name,
                          const std::source_location& where) {
    LogCreationFailure(what, where);
    throw COrvRunTimeError(iptvAutomationMemErrMsg + class_name + ".", true);
}

std::string SourceTag(const std::source_location& where) {
    return where.file_name() + std::to_string(where.line());
}

void ReportError(framework::CBaseValidationContext& context, const std::string& message,
                 const std::source_location& where) {
    context.AddError(SourceTag(where), message);
}

}  // namespace orv::iptv
