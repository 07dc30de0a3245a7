// The command that repeats others.
#include "orv/framework/handle_registry.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

namespace {

/// So many iterations may pass without any time passing.
constexpr int kMostIdle = 250;

const StaticRegisterClass<CSequencerLoopCommand> registration{ids::SequencerLoopCommand::CLASS};

}  // namespace

CSequencerLoopCommand::CSequencerLoopCommand() = default;
CSequencerLoopCommand::~CSequencerLoopCommand() = default;

ClassId CSequencerLoopCommand::CLASS_ID() {
    return ids::SequencerLoopCommand::CLASS;
}

void CSequencerLoopCommand::OnCommandStateChange(CommandState from, CommandState to) {
    if (to == COMMAND_PENDING) Set(ids::SequencerLoopCommand::CurrentIteration, std::uint32_t{0});
    CCommand::OnCommandStateChange(from, to);
}

void CSequencerLoopCommand::DoRun() {
    Set(ids::Command::ProgressIsCancellable, true);
    CTaskManager& tasks = CTaskManager::Instance();
    auto last = tasks.GetNow();
    int idle = 0;
    const std::uint32_t count = GetU32(ids::SequencerLoopCommand::IterationCount);
    for (std::uint32_t iteration = 1; count == 0 || iteration <= count; ++iteration) {
        if (GetProgressCancelled()) return;
        Set(ids::SequencerLoopCommand::CurrentIteration, iteration);
        SetProgress(iteration, count);
        RunOnce();
        if (GetProgressCancelled()) return;
        // Whoever is to stop a loop of commands that take no time must get some: on the virtual clock timers
        // would never fall due. Loops of usual length keep their times.
        idle = tasks.GetNow() == last ? idle + 1 : 0;
        tasks.CtmYield(count == 0 || idle >= kMostIdle ? 1 : 0);
        if (idle >= kMostIdle) idle = 0;
        last = tasks.GetNow();
    }
}

void CSequencerLoopCommand::RunOnce() {
    ScriptableVec children;
    GetObjects(children, CCommand::CLASS_ID(), common::kParentChild);
    std::vector<std::uint32_t> handles;
    for (const CScriptable* child : children) handles.push_back(child->GetHandle());
    for (const std::uint32_t handle : handles) {
        if (GetProgressCancelled()) return;
        auto* command = dynamic_cast<CCommand*>(CHandleRegistry::Instance().Find(handle));
        if (!command || command->GetParent() != this || command->IsDeleted() || !command->GetActive())
            continue;
        const std::string name = command->GetName();
        try {
            command->Execute(false);
        } catch (const common::COrvException& error) {
            throw common::COrvRunTimeError(name + ": " + error.what());
        }
    }
}

}  // namespace orv::framework
