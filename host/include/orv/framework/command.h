// Commands: objects that do something when they are executed.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "orv/framework/scriptable.h"
#include "orv/framework/validation.h"

namespace orv::framework {

/// Base of all commands. A command is validated, run, and ends completed, failed (with a status text that
/// says why) or cancelled.
class CCommand : public CScriptable {
  public:
    /// Values of the property State.
    enum CommandState : std::uint8_t {
        COMMAND_IDLE = 0,
        COMMAND_PENDING = 1,
        COMMAND_RUNNING = 2,
        COMMAND_COMPLETED = 3,
        COMMAND_FAILED = 4,
        COMMAND_CANCELLED = 5,
    };
    /// Options of ProcessInputHandleVec, to be joined with |.
    enum InputOption : std::uint32_t { INPUT_ALL = 0, INPUT_SKIP_INACTIVE_ROOTS = 1 };

    CCommand();
    ~CCommand() override;
    static ClassId CLASS_ID();

    /// Validates and runs the command. `async` false: within this call; throws COrvRunTimeError with the
    /// status text when the command fails, also when it failed with something else than an exception of the
    /// host (an integer, say). `async` true: as a task of its own, and the outcome is in the command's state
    /// and status.
    void Execute(bool async);
    /// Asks a running command to end; only one that has made itself cancellable sees it.
    void Cancel();
    /// Asks every command that is under way at or below `root` (null: anywhere) to end, and yields until they
    /// have.
    static void CancelAll(const CScriptable* root = nullptr);
    /// Commands at or below `root` (null: anywhere, also those without parent) that are waiting for their
    /// turn or running.
    static std::vector<CCommand*> GetUnderWay(const CScriptable* root = nullptr);
    bool GetProgressCancelled() const;
    void SetProgress(std::uint32_t done, std::uint32_t total);

    CommandState GetCommandState() const;
    std::string GetStatus() const;
    void SetStatus(const std::string& text);
    /// What the command is doing, see SetStep; empty when it has not said.
    const std::string& GetStep() const { return step_; }

    /// Turns input handles into objects of a class, each once, in the order of the handles: an object of the
    /// class represents itself, any other (a port, the project) all objects of the class below it. A
    /// handle that names nothing is an error that names it. INPUT_SKIP_INACTIVE_ROOTS leaves out handles
    /// whose object is not active.
    void ProcessInputHandleVec(ClassId id, const std::vector<std::uint32_t>& handles, ScriptableVec& objects,
                               std::uint32_t options = INPUT_ALL) const;

    bool CanSave() const override;
    bool OnInit() override;
    bool PerformOperation(const std::string& operation, const std::string& argument,
                          std::string& result) override;

    // --- Virtual operations of commands, in the order of their slots
    /// Reports what is wrong; false prevents the command from running.
    virtual bool Validate(CBaseValidationContext& context);
    /// Does the work. Throws to fail.
    virtual void DoRun();
    /// Called before every run; false makes the command fail.
    virtual bool DoReset();
    virtual void OnCommandStateChange(CommandState from, CommandState to);
    virtual void DoDelete();
    /// Appends the paths of files that the command reads.
    virtual void DoGetRequiredInputFilePaths(std::vector<std::string>& paths) const;
    virtual void OnChildAdded(CScriptable& child);
    virtual void OnRunnableStateChange(bool runnable);
    virtual bool DoRunnableValidate(std::string& reason) const;

    /// False while the command runs.
    bool CanDelete() const override;
    void Delete() override;
    void OnRelationModified(RelationType type, CScriptable& object, bool added) override;

  protected:
    /// Says what the run is about to do, and on what ("Test configuration", "Port 1"; the latter may be
    /// empty): the status names it when the run fails with something that does not explain itself, an integer
    /// say. Forgotten when the next run begins.
    void SetStep(const std::string& what, const std::string& where = {});

  private:
    void RunGuarded();
    void Prepare();
    void CheckRunnable();
    bool IsUnderWay() const;
    void ChangeState(CommandState to);
    void ReportGuarded(const char* what, const std::function<void()>& report);

    bool runnable_ = true;
    std::string step_;
};

/// Runs an apply of the project.
class CApplyToILCommand : public CCommand {
  public:
    static ClassId CLASS_ID();
    void DoRun() override;
};

/// Makes a list of objects the ones related to an object by a named relation (or adds them).
class CSetRelativesCommand : public CCommand {
  public:
    static ClassId CLASS_ID();
    void DoRun() override;
};

/// Waits a number of seconds.
class CWaitCommand : public CCommand {
  public:
    static ClassId CLASS_ID();
    void DoRun() override;
};

}  // namespace orv::framework
