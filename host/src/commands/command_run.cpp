// One run of a command, from Execute to its last state.
#include <fmt/format.h>

#include <set>

#include "log/framework_log.h"
#include "orv/framework/command.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

namespace {

/// The reports of a command's own validation; they concern the command itself.
class CommandContext : public CBaseValidationContext {
  public:
    explicit CommandContext(CCommand& command) : command_(command) {}

  protected:
    CScriptable* GetReportedObject() const override { return &command_; }

  private:
    CCommand& command_;
};

/// Handles of the commands under way.
std::set<std::uint32_t>& Running() {
    static auto* running = new std::set<std::uint32_t>;
    return *running;
}

/// The status text for an exception of a run. Texts of the host's exceptions are meant for users and used
/// unchanged.
std::string DescribeFailure(const CCommand& command, const std::exception_ptr& exception) {
    const std::string& class_name = command.GetMetaClass()->GetName();
    const std::string step = command.GetStep().empty() ? "" : command.GetStep() + ": ";
    try {
        std::rethrow_exception(exception);
    } catch (const common::COrvException& error) {
        if (*error.what() != '\0') return error.what();
        return class_name + " failed without saying why";
    } catch (const std::exception& error) {
        return fmt::format("{} failed: {}{}", class_name, step, error.what());
    } catch (...) {
        return fmt::format("{} failed: {}it threw {}", class_name, step, DescribeException(exception));
    }
}

}  // namespace

void CCommand::Execute(bool async) {
    if (IsUnderWay()) throw common::COrvRunTimeError(Describe() + " is running already");
    Set(ids::Command::ProgressIsCancellable, false);
    Set(ids::Command::ProgressCancelled, false);
    SetProgress(0, 0);
    SetStatus({});
    ChangeState(COMMAND_PENDING);
    if (!async) {
        RunGuarded();
        if (GetCommandState() == COMMAND_FAILED) throw common::COrvRunTimeError(GetStatus());
        return;
    }
    try {
        CTaskManager::Instance().Post(Describe(), [handle = GetHandle()] {
            auto* command = dynamic_cast<CCommand*>(CHandleRegistry::Instance().Find(handle));
            if (command) command->RunGuarded();
        });
    } catch (const common::COrvException& error) {
        SetStatus(error.what());
        ChangeState(COMMAND_FAILED);
        throw;
    }
}

void CCommand::CheckRunnable() {
    std::string reason;
    const bool runnable = DoRunnableValidate(reason);
    if (runnable != runnable_) {
        runnable_ = runnable;
        OnRunnableStateChange(runnable);
    }
    if (!runnable) throw common::COrvRunTimeError(reason.empty() ? Describe() + " cannot run now" : reason);
}

void CCommand::Prepare() {
    if (!DoReset()) throw common::COrvRunTimeError(Describe() + " could not be reset");
    CheckRunnable();

    CommandContext context(*this);
    const bool valid = Validate(context);
    for (const ValidationReport& warning : context.GetWarnings())
        LogWarn([&] { return Describe() + ": " + warning.message; });
    for (const ValidationReport& error : context.GetErrors())
        LogError([&] { return Describe() + ": " + error.message; });
    if (valid && context.GetErrors().empty()) return;
    // A command may have set its own status text; that of a warning is not the reason.
    std::string text = GetStatus();
    for (const ValidationReport& warning : context.GetWarnings())
        if (text == warning.message) text.clear();
    if (text.empty() && !context.GetErrors().empty()) text = context.GetErrors().front().message;
    if (text.empty()) text = Describe() + " is not valid";
    throw common::COrvRunTimeError(text);
}

void CCommand::RunGuarded() {
    const auto start = CTaskManager::Instance().GetNow();
    CommandState outcome = COMMAND_COMPLETED;
    step_.clear();
    try {
        if (GetBool(ids::Command::ProgressCancelled)) {
            outcome = COMMAND_CANCELLED;  // before it began
        } else {
            Prepare();
            ChangeState(COMMAND_RUNNING);
            DoRun();
            if (GetProgressCancelled()) outcome = COMMAND_CANCELLED;
        }
    } catch (...) {
        const std::string text = DescribeFailure(*this, std::current_exception());
        LogError([&] { return Describe() + ": " + text; });
        outcome = COMMAND_FAILED;
        ReportGuarded("status", [&] { SetStatus(text); });
    }
    const auto elapsed =
        std::chrono::duration_cast<std::chrono::milliseconds>(CTaskManager::Instance().GetNow() - start);
    ReportGuarded("elapsed time",
                  [&] { Set(ids::Command::ElapsedTime, static_cast<std::uint64_t>(elapsed.count())); });
    ChangeState(outcome);
}

void CCommand::ReportGuarded(const char* what, const std::function<void()>& report) {
    // A value is stored before delegates are called, so a failing delegate does not stop the command.
    try {
        report();
    } catch (...) {
        LogError([&] {
            return fmt::format("{}: reporting its {} failed: {}", Describe(), what,
                               DescribeException(std::current_exception()));
        });
    }
}

std::vector<CCommand*> CCommand::GetUnderWay(const CScriptable* root) {
    const auto is_below = [root](const CScriptable* object) {
        while (root && object && object != root) object = object->GetParent();
        return object != nullptr;
    };
    std::vector<CCommand*> found;
    for (const std::uint32_t handle : Running()) {
        auto* command = dynamic_cast<CCommand*>(CHandleRegistry::Instance().Find(handle));
        // The handle of one that was destroyed while pending may belong to another object by now.
        if (command && command->IsUnderWay() && is_below(command)) found.push_back(command);
    }
    return found;
}

void CCommand::CancelAll(const CScriptable* root) {
    for (CCommand* command : GetUnderWay(root)) command->Cancel();
    CTaskManager::Instance().WaitUntil([root] { return GetUnderWay(root).empty(); }, std::chrono::hours(24));
}

void CCommand::ChangeState(CommandState to) {
    const CommandState from = GetCommandState();
    if (from == to) return;
    if (to == COMMAND_PENDING || to == COMMAND_RUNNING) {
        Running().insert(GetHandle());
    } else {
        Running().erase(GetHandle());
    }
    ReportGuarded("state", [&] {
        Set(ids::Command::State, static_cast<std::uint8_t>(to));
        OnCommandStateChange(from, to);
    });
    CTaskManager::Instance().Wake();
}

}  // namespace orv::framework
