// The host's own commands: apply, set relatives, wait.
#include <fmt/format.h>

#include "find_project.h"
#include "log/framework_log.h"
#include "orv/framework/apply.h"
#include "orv/framework/command.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/relation_helper.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

ClassId CApplyToILCommand::CLASS_ID() {
    return ids::ApplyToILCommand::CLASS;
}

void CApplyToILCommand::DoRun() {
    CScriptable* project = FindProject(*this);
    if (!project) throw common::COrvRunTimeError(Describe() + ": there is no project to apply");
    ValidationContext context;
    ApplyToIL(*project, context);
    for (const ValidationReport& warning : context.GetWarnings()) {
        LogWarn([&] { return fmt::format("{}: {}", warning.object, warning.message); });
    }
}

ClassId CSetRelativesCommand::CLASS_ID() {
    return ids::SetRelativesCommand::CLASS;
}

void CSetRelativesCommand::DoRun() {
    const auto find = [this](std::uint32_t handle, const char* property) {
        CScriptable* object = CHandleRegistry::Instance().Find(handle);
        if (!object) {
            throw common::COrvRunTimeError(
                fmt::format("{}: {} {} names no object", Describe(), property, handle));
        }
        return object;
    };
    CScriptable* source = find(GetU32(ids::SetRelativesCommand::SrcObjectHandle), "SrcObjectHandle");
    const std::string& relation = GetString(ids::SetRelativesCommand::RelationName);
    RelationType type;
    if (!CRelationHelper::Instance().ParseRelation(relation, type.type, type.direction)) {
        throw common::COrvRunTimeError(fmt::format("{}: there is no relation \"{}\"", Describe(), relation));
    }
    ScriptableVec relatives;
    for (const std::uint32_t handle : GetCollection<std::uint32_t>(ids::SetRelativesCommand::RelativeList)) {
        relatives.push_back(find(handle, "RelativeList:"));
    }
    if (!GetBool(ids::SetRelativesCommand::Append)) return source->SetObjects(relatives, type);

    std::vector<std::uint32_t> added;
    for (const CScriptable* relative : relatives) {
        if (!source->ContainsObject(*relative, type)) added.push_back(relative->GetHandle());
    }
    std::string error;
    if (!CRelationHelper::Instance().AddRelation(source, relation, added, error)) {
        throw common::COrvRunTimeError(Describe() + ": " + error);
    }
}

ClassId CWaitCommand::CLASS_ID() {
    return ids::WaitCommand::CLASS;
}

void CWaitCommand::DoRun() {
    Set(ids::Command::ProgressIsCancellable, true);
    CTaskManager::Instance().WaitUntil([this] { return GetProgressCancelled(); },
                                       std::chrono::seconds(GetU32(ids::WaitCommand::WaitTime)));
}

namespace {

ORV_REGISTER_CLASS(CApplyToILCommand);
ORV_REGISTER_CLASS(CSetRelativesCommand);
ORV_REGISTER_CLASS(CWaitCommand);

}  // namespace

}  // namespace orv::framework
