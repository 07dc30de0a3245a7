// Apply: makes the ports match the configuration.
#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "orv/common/delegate.h"
#include "orv/common/ids.h"
#include "orv/framework/validation.h"

namespace orv::framework {

class CScriptable;

/// What a handler gets during an apply.
class ApplyContext {
  public:
    CScriptable* GetCurrentObject() const { return current_; }
    void SetCurrentObject(CScriptable* object) { current_ = object; }

    /// Tells the host that an object's changes have been sent. `failed` marks an object whose changes were
    /// refused: it stays new or modified also when the apply succeeds.
    void AddProcessedObject(CScriptable& object, bool failed);
    /// Handles of the processed objects in order, each once.
    const std::vector<std::uint32_t>& GetProcessedObjects() const { return processed_; }
    const std::vector<std::uint32_t>& GetFailedObjects() const { return failed_; }

  private:
    CScriptable* current_ = nullptr;
    std::vector<std::uint32_t> processed_;
    std::vector<std::uint32_t> failed_;
    std::unordered_set<std::uint32_t> known_;
    std::unordered_set<std::uint32_t> known_failed_;
};

/// A handler that sends the changes of all objects of a class (derived classes included). It throws to fail
/// the apply.
class ApplyObjectHandler {
  public:
    using Function = common::Delegate<void(ApplyContext&)>;

    ApplyObjectHandler(std::string name, std::string category, common::ClassId id, Function function,
                       bool onlyDirtyObjects = false);

    const std::string& GetName() const { return name_; }
    const std::string& GetCategory() const { return category_; }
    common::ClassId GetClassId() const { return class_id_; }
    bool IsForDirtyObjectsOnly() const { return only_dirty_; }
    void Apply(ApplyContext& context) const { function_(context); }

  private:
    std::string name_;
    std::string category_;
    common::ClassId class_id_;
    Function function_;
    bool only_dirty_;
};

enum class ApplyStatus { Started, Succeeded, Failed };
using ApplyStatusDelegate = common::Delegate<void(ApplyStatus, const std::string& errorText)>;

class ApplyToILHandlerRegistry {
  public:
    static ApplyToILHandlerRegistry& Instance();

    /// The caller owns the handler, which must live until the process ends. Duplicates are treated as in
    /// ValidatorRegistry.
    void RegisterOnApplyObjectHandler(const ApplyObjectHandler* handler);
    void RegisterApplyStatusHandler(const ApplyStatusDelegate& handler);

    const std::vector<const ApplyObjectHandler*>& GetHandlers() const { return handlers_; }
    const std::vector<ApplyStatusDelegate>& GetStatusHandlers() const { return status_handlers_; }

  private:
    std::vector<const ApplyObjectHandler*> handlers_;
    std::vector<ApplyStatusDelegate> status_handlers_;
};

/// Registers an apply handler while the library loads.
class StaticRegisterApplyHandler {
  public:
    explicit StaticRegisterApplyHandler(const ApplyObjectHandler* handler);
};

/// One apply of everything below `root`:
///  1. every validator of each object's class and base classes runs; on any error nothing is sent;
///  2. the handlers run in the order of their registration, each for every object of its class; an exception
///     ends the apply there;
///  3. objects' states are settled (new and modified ones become unchanged), objects whose deletion was
///     pending are destroyed, and the lists of removed objects are emptied.
/// Other tasks may run while a handler waits for answers. Objects that they change, create or delete
/// meanwhile keep their states for the next apply. After a failure all states and lists are as before, so
/// that the next apply sends what is still missing. Throws COrvRunTimeError with all texts, one per line.
/// Validation warnings are returned in `context`.
void ApplyToIL(CScriptable& root, ValidationContext& context);

/// Step 3 alone: what a project looks like after an apply (for programs that build one without ports).
void SettleAfterApply(CScriptable& root);

}  // namespace orv::framework
