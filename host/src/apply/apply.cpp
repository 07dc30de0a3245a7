// The handlers of an apply, and one apply: validation, handlers, settling.
#include "orv/framework/apply.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "apply_settle.h"
#include "log/framework_log.h"
#include "orv/common/exceptions.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_locator.h"
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

namespace {

bool apply_is_running = false;  // under the task lock

class RunningApply {
  public:
    RunningApply() {
        // Handlers wait for answers, so a second apply could begin in the middle of the first.
        if (apply_is_running) throw common::COrvRunTimeError("an apply is running already");
        apply_is_running = true;
    }
    ~RunningApply() { apply_is_running = false; }
    RunningApply(const RunningApply&) = delete;
    RunningApply& operator=(const RunningApply&) = delete;
};

void TellStatus(ApplyStatus status, const std::string& text) {
    for (const ApplyStatusDelegate& handler : ApplyToILHandlerRegistry::Instance().GetStatusHandlers()) {
        try {
            handler(status, text);
        } catch (...) {
            LogError([&] {
                return "an apply-status handler failed: " + DescribeException(std::current_exception());
            });
        }
    }
}

/// Handlers treat the RPC manager's error list as the faults of their own requests. Errors
/// from before the first handler sends belong to requests that nothing waited for.
void LogEarlierRpcErrors() {
    std::vector<ErrorMsg> errors;
    CRpcManager::Instance().TakeErrors(errors);
    for (const ErrorMsg& error : errors) {
        LogWarn([&] {
            return fmt::format("before the apply: sequence number {} of {}: fault {}, {}", error.msg_seq_num,
                               error.messenger_string, error.fault_code, error.fault_string);
        });
    }
}

void Validate(CScriptable& root, ValidationContext& context) {
    const std::size_t before = context.GetErrors().size();
    ValidatorRegistry::Instance().ValidateTree(root, context);
    std::string text;
    for (std::size_t i = before; i < context.GetErrors().size(); ++i) {
        text += (i > before ? "\n" : "") + context.GetErrors()[i].message;
    }
    if (context.GetErrors().size() > before) throw common::COrvRunTimeError(text);
}

void RunHandler(const ApplyObjectHandler& handler, CScriptable& root, ApplyContext& context) {
    ScriptableVec objects;
    CScriptableLocator::Instance().GetObjectsEx(objects, handler.GetClassId(), &root);
    std::vector<std::uint32_t> handles;
    for (const CScriptable* object : objects) {
        if (!handler.IsForDirtyObjectsOnly() || object->IsObjectDirty(true))
            handles.push_back(object->GetHandle());
    }
    for (const std::uint32_t handle : handles) {
        // By handle: while a handler waits for answers, objects may go.
        CScriptable* object = CHandleRegistry::Instance().Find(handle);
        if (!object) continue;
        context.SetCurrentObject(object);
        try {
            handler.Apply(context);
        } catch (const common::COrvException&) {
            throw;
        } catch (...) {
            throw common::COrvRunTimeError(fmt::format("apply handler \"{}\" failed: {}", handler.GetName(),
                                                       DescribeException(std::current_exception())));
        }
    }
    context.SetCurrentObject(nullptr);
}

}  // namespace

void ApplyToIL(CScriptable& root, ValidationContext& context) {
    const RunningApply running;
    TellStatus(ApplyStatus::Started, {});
    try {
        LogEarlierRpcErrors();
        const CChangeLog::Moment began = CChangeLog::Instance().TakeMoment();
        Validate(root, context);
        ApplyContext apply;
        for (const ApplyObjectHandler* handler : ApplyToILHandlerRegistry::Instance().GetHandlers()) {
            RunHandler(*handler, root, apply);
        }
        CApplySettler::Settle(root, began,
                              {apply.GetFailedObjects().begin(), apply.GetFailedObjects().end()});
    } catch (...) {
        const std::string text = DescribeException(std::current_exception());
        TellStatus(ApplyStatus::Failed, text);
        throw common::COrvRunTimeError(text);
    }
    TellStatus(ApplyStatus::Succeeded, {});
}

}  // namespace orv::framework
