// State, cancellation and virtual operations of commands. See command_run.cpp for how one runs.
#include "orv/framework/command.h"

#include <fmt/format.h>

#include <unordered_set>

#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

CCommand::CCommand() = default;
CCommand::~CCommand() = default;

ClassId CCommand::CLASS_ID() {
    return ids::Command::CLASS;
}

CCommand::CommandState CCommand::GetCommandState() const {
    return static_cast<CommandState>(GetU8(ids::Command::State));
}

bool CCommand::IsUnderWay() const {
    return GetCommandState() == COMMAND_PENDING || GetCommandState() == COMMAND_RUNNING;
}

std::string CCommand::GetStatus() const {
    return GetString(ids::Command::Status);
}
void CCommand::SetStatus(const std::string& text) {
    SetT<std::string>(ids::Command::Status, text);
}

void CCommand::SetProgress(std::uint32_t done, std::uint32_t total) {
    Set(ids::Command::ProgressMax, total);
    Set(ids::Command::Progress, done);
}

void CCommand::SetStep(const std::string& what, const std::string& where) {
    step_ = where.empty() ? what : what + " on " + where;
}

void CCommand::Cancel() {
    if (!IsUnderWay()) return;
    Set(ids::Command::ProgressCancelled, true);
    ScriptableVec children;
    GetObjects(children, CLASS_ID(), common::kParentChild);
    for (CScriptable* child : children) {
        if (auto* command = dynamic_cast<CCommand*>(child)) command->Cancel();
    }
    CTaskManager::Instance().Wake();
}

bool CCommand::GetProgressCancelled() const {
    return GetBool(ids::Command::ProgressIsCancellable) && GetBool(ids::Command::ProgressCancelled);
}

void CCommand::ProcessInputHandleVec(ClassId id, const std::vector<std::uint32_t>& handles,
                                     ScriptableVec& objects, std::uint32_t options) const {
    std::unordered_set<std::uint32_t> roots;
    std::unordered_set<const CScriptable*> taken;
    for (const std::uint32_t handle : handles) {
        if (!roots.insert(handle).second) continue;
        const CScriptable* root = CHandleRegistry::Instance().Find(handle);
        if (!root) {
            throw common::COrvRunTimeError(
                fmt::format("{}: the input handle {} names no object", Describe(), handle));
        }
        if ((options & INPUT_SKIP_INACTIVE_ROOTS) && !root->GetActive()) continue;
        ScriptableVec found;
        if (root->IsTypeOf(id)) {
            found.push_back(const_cast<CScriptable*>(root));
        } else {
            CScriptableLocator::Instance().GetObjectsEx(found, id, root,
                                                        CScriptableLocator::LOCATE_SKIP_DELETED);
        }
        for (CScriptable* object : found) {
            if (taken.insert(object).second) objects.push_back(object);
        }
    }
}

bool CCommand::CanSave() const {
    return true;
}
bool CCommand::OnInit() {
    return CScriptable::OnInit();
}
bool CCommand::CanDelete() const {
    return !IsUnderWay() && CScriptable::CanDelete();
}

void CCommand::Delete() {
    // A pending one is simply not found when it is due.
    if (GetCommandState() == COMMAND_RUNNING) {
        throw common::COrvRunTimeError(Describe() + " is running and cannot be destroyed");
    }
    DoDelete();
    CScriptable::Delete();
}

void CCommand::OnRelationModified(RelationType type, CScriptable& object, bool added) {
    if (type == common::kParentChild && added) OnChildAdded(object);
    CScriptable::OnRelationModified(type, object, added);
}

bool CCommand::PerformOperation(const std::string& operation, const std::string& argument,
                                std::string& result) {
    if (operation == "execute") {
        if (!argument.empty() && argument != "async") {
            throw common::COrvRunTimeError(fmt::format(
                "{}: \"execute\" takes no argument or \"async\", not \"{}\"", Describe(), argument));
        }
        Execute(!argument.empty());
    } else if (operation == "cancel") {
        Cancel();
    } else {
        return CScriptable::PerformOperation(operation, argument, result);
    }
    result = GetStatus();
    return true;
}

bool CCommand::Validate(CBaseValidationContext&) {
    return true;
}
void CCommand::DoRun() {}
bool CCommand::DoReset() {
    return true;
}
void CCommand::OnCommandStateChange(CommandState, CommandState) {}
void CCommand::DoDelete() {}
void CCommand::DoGetRequiredInputFilePaths(std::vector<std::string>&) const {}
void CCommand::OnChildAdded(CScriptable&) {}
void CCommand::OnRunnableStateChange(bool) {}
bool CCommand::DoRunnableValidate(std::string&) const {
    return true;
}

}  // namespace orv::framework
