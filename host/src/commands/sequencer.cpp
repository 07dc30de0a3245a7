// The sequencer, and the command that repeats others.
#include "orv/framework/sequencer.h"

#include <fmt/format.h>

#include <algorithm>

#include "find_project.h"
#include "log/framework_log.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/singletons.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

namespace {

CCommand* FindCommand(std::uint32_t handle) {
    return dynamic_cast<CCommand*>(CHandleRegistry::Instance().Find(handle));
}

/// Exceptions of a sequence name the command.
void ExecuteInSequence(CCommand& command) {
    const std::string name = command.GetName();
    try {
        command.Execute(false);
    } catch (const common::COrvException& error) {
        throw common::COrvRunTimeError(name + ": " + error.what());
    }
}

/// Limit of loop iterations that take no time.
constexpr int kMostIdle = 250;

ORV_REGISTER_CLASS(CSequencer);
ORV_REGISTER_CLASS(CSequencerLoopCommand);

}  // namespace

CSequencer::CSequencer() = default;
CSequencer::~CSequencer() = default;

ClassId CSequencer::CLASS_ID() {
    return ids::Sequencer::CLASS;
}

CSequencer& CSequencer::Instance() {
    if (auto* sequencer = dynamic_cast<CSequencer*>(FindSingleton(CLASS_ID()))) return *sequencer;
    CScriptable* system = FindSingleton(ids::System::CLASS);
    if (!system) throw common::COrvLogicError("the sequencer needs a running host");
    return CScriptableCreator().Make<CSequencer>(system);
}

CSequencer::SequencerState CSequencer::GetSequencerState() const {
    return static_cast<SequencerState>(GetU8(ids::Sequencer::State));
}

std::string CSequencer::GetErrorText() const {
    return GetString(ids::Sequencer::ErrorText);
}

std::vector<CCommand*> CSequencer::GetCommands() const {
    ScriptableVec children;
    GetObjects(children, CCommand::CLASS_ID(), common::kParentChild);
    std::vector<CCommand*> commands;
    for (CScriptable* child : children) {
        auto* command = dynamic_cast<CCommand*>(child);
        if (command && !command->IsDeleted()) commands.push_back(command);
    }
    return commands;
}

void CSequencer::Clear(bool destroy) {
    if (GetSequencerState() == SEQUENCER_RUNNING) {
        throw common::COrvRunTimeError("the sequence cannot be emptied while it runs");
    }
    CScriptable* project = destroy ? nullptr : FindProject(*this);
    if (!destroy && !project)
        throw common::COrvRunTimeError("there is no project to take the sequence's commands");
    if (const auto under_way = CCommand::GetUnderWay(this); destroy && !under_way.empty()) {
        throw common::COrvRunTimeError("the sequence cannot be emptied while " +
                                       under_way.front()->Describe() + " is under way");
    }
    for (CCommand* command : GetCommands()) {
        std::string error;
        if (destroy) {
            command->Delete();
        } else if (!project->AddObject(*command, common::kParentChild, &error)) {
            throw common::COrvRunTimeError(error);
        }
    }
}

void CSequencer::InsertCommands(std::vector<std::uint32_t>& commandHandles) {
    std::vector<CCommand*> commands;
    for (const std::uint32_t handle : commandHandles) {
        CCommand* command = FindCommand(handle);
        if (!command) throw common::COrvRunTimeError(fmt::format("the handle {} names no command", handle));
        const bool twice = std::find(commands.begin(), commands.end(), command) != commands.end();
        if (twice || command->GetParent() == this) {
            throw common::COrvRunTimeError(
                fmt::format("{} (handle {}) is in the sequence already", command->Describe(), handle));
        }
        commands.push_back(command);
    }
    for (CCommand* command : commands) {
        std::string error;
        if (!AddObject(*command, common::kParentChild, &error)) throw common::COrvRunTimeError(error);
    }
}

void CSequencer::Start() {
    if (GetSequencerState() == SEQUENCER_RUNNING) throw common::COrvRunTimeError("the sequence runs already");
    std::vector<std::uint32_t> handles;
    for (const CCommand* command : GetCommands()) handles.push_back(command->GetHandle());
    CTaskManager::Instance().Post("sequencer", [own = GetHandle(), handles] {
        auto* sequencer = dynamic_cast<CSequencer*>(CHandleRegistry::Instance().Find(own));
        if (sequencer) sequencer->Run(handles);
    });
    stopping_ = false;
    SetT<std::string>(ids::Sequencer::ErrorText, {});
    Set(ids::Sequencer::State, static_cast<std::uint8_t>(SEQUENCER_RUNNING));
}

void CSequencer::Stop() {
    if (GetSequencerState() != SEQUENCER_RUNNING) return;
    stopping_ = true;
    if (CCommand* current = FindCommand(GetU32(ids::Sequencer::CurrentCommand))) current->Cancel();
    CTaskManager::Instance().CutYield(task_);
}

void CSequencer::WaitForEnd() {
    const auto ended = [this] { return GetSequencerState() != SEQUENCER_RUNNING; };
    if (!CTaskManager::Instance().WaitUntil(ended, CTaskManager::Nanoseconds::max())) {
        throw common::COrvLogicError("the sequence waits for something that will not happen");
    }
}

void CSequencer::Run(const std::vector<std::uint32_t>& commandHandles) {
    task_ = CTaskManager::Instance().CtmGetCurrentTask();
    try {
        RunAll(commandHandles);
        End(stopping_ ? SEQUENCER_STOPPED : SEQUENCER_COMPLETED, {});
    } catch (...) {
        End(SEQUENCER_FAILED, DescribeException(std::current_exception()));
    }
}

void CSequencer::RunAll(const std::vector<std::uint32_t>& commandHandles) {
    for (const std::uint32_t handle : commandHandles) {
        if (stopping_) return;
        CCommand* command = FindCommand(handle);  // an earlier command may have removed it
        if (!command || command->GetParent() != this || !command->GetActive()) continue;
        Set(ids::Sequencer::CurrentCommand, handle);
        ExecuteInSequence(*command);
    }
}

void CSequencer::End(SequencerState state, const std::string& errorText) {
    Set(ids::Sequencer::CurrentCommand, std::uint32_t{0});
    SetT<std::string>(ids::Sequencer::ErrorText, errorText);
    task_ = nullptr;
    // The command that failed has logged why.
    if (!errorText.empty()) LogDebug([&] { return "the sequence failed: " + errorText; });
    Set(ids::Sequencer::State, static_cast<std::uint8_t>(state));
    CTaskManager::Instance().Wake();
}

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
        // A loop of commands that take no time must yield so that it can be stopped: on the virtual clock
        // timers would never expire. Loops of usual length keep their times.
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
        CCommand* command = FindCommand(handle);
        if (!command || command->GetParent() != this || command->IsDeleted() || !command->GetActive())
            continue;
        ExecuteInSequence(*command);
    }
}

}  // namespace orv::framework
