// Registration of apply handlers, and what they are given.
#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "orv/common/exceptions.h"
#include "orv/framework/apply.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/static_registration.h"

namespace orv::framework {

void ApplyContext::AddProcessedObject(CScriptable& object, bool failed) {
    const std::uint32_t handle = object.GetHandle();
    if (known_.insert(handle).second) processed_.push_back(handle);
    if (failed && known_failed_.insert(handle).second) failed_.push_back(handle);
}

ApplyObjectHandler::ApplyObjectHandler(std::string name, std::string category, common::ClassId id,
                                       Function function, bool onlyDirtyObjects)
    : name_(std::move(name)),
      category_(std::move(category)),
      class_id_(id),
      function_(function),
      only_dirty_(onlyDirtyObjects) {
    ORV_ASSERT(function_, "An apply handler needs a function");
}

ApplyToILHandlerRegistry& ApplyToILHandlerRegistry::Instance() {
    static ApplyToILHandlerRegistry registry;
    return registry;
}

void ApplyToILHandlerRegistry::RegisterOnApplyObjectHandler(const ApplyObjectHandler* handler) {
    ORV_ASSERT(handler != nullptr, "There is an apply handler to register");
    const bool doubled =
        std::any_of(handlers_.begin(), handlers_.end(), [handler](const ApplyObjectHandler* other) {
            return other->GetCategory() == handler->GetCategory() && other->GetName() == handler->GetName() &&
                   other->GetClassId() == handler->GetClassId();
        });
    if (doubled) {
        throw common::COrvLogicError(
            fmt::format("the apply handler \"{}\" of category \"{}\" is registered twice for class {:#x}",
                        handler->GetName(), handler->GetCategory(), handler->GetClassId().GetValue()));
    }
    handlers_.push_back(handler);
}

void ApplyToILHandlerRegistry::RegisterApplyStatusHandler(const ApplyStatusDelegate& handler) {
    ORV_ASSERT(handler, "There is an apply-status handler to register");
    status_handlers_.push_back(handler);
}

StaticRegisterApplyHandler::StaticRegisterApplyHandler(const ApplyObjectHandler* handler) {
    CStaticRegistration::Run(
        [handler] { ApplyToILHandlerRegistry::Instance().RegisterOnApplyObjectHandler(handler); });
}

}  // namespace orv::framework
