// The command sequence of a test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/framework/command.h"

namespace orv::framework {

class CTask;

/// Runs its child commands one after the other. One per host, a child of the system object.
class CSequencer : public CScriptable {
  public:
    enum SequencerState : std::uint8_t {
        SEQUENCER_IDLE = 0,
        SEQUENCER_RUNNING = 1,
        SEQUENCER_COMPLETED = 2,
        SEQUENCER_FAILED = 3,
        SEQUENCER_STOPPED = 4,
    };

    CSequencer();
    ~CSequencer() override;
    static ClassId CLASS_ID();
    /// The system's sequencer, made on first use. Throws COrvLogicError without a system object.
    static CSequencer& Instance();

    /// Empties the sequence; `destroy`: the commands are destroyed, otherwise they go back under the project.
    /// Throws COrvRunTimeError while the sequence runs, and when a command that is to be destroyed, or one
    /// below it, is under way (naming it); nothing has changed then.
    void Clear(bool destroy);
    /// Appends commands in the given order; they become children of the sequencer. Throws COrvRunTimeError
    /// naming the handle that is no command, and then appends none.
    void InsertCommands(std::vector<std::uint32_t>& commandHandles);
    std::vector<CCommand*> GetCommands() const;

    /// Runs the sequence as a task; a command that fails ends it, one that is not active is left out. Throws
    /// COrvRunTimeError when it runs already.
    void Start();
    /// Ends the sequence: the running command is cancelled, later ones do not run. Returns at once. A command
    /// that yields checks this at once, at each call.
    void Stop();
    /// Yields until the sequence has ended. Throws COrvLogicError when nothing is left that could end it
    /// (which can only happen with the virtual clock).
    void WaitForEnd();
    SequencerState GetSequencerState() const;
    bool IsStopping() const { return stopping_; }
    /// Why the sequence failed: the failed command's name and status.
    std::string GetErrorText() const;

    bool IsSingleton() const override { return true; }

  private:
    void Run(const std::vector<std::uint32_t>& commandHandles);
    void RunAll(const std::vector<std::uint32_t>& commandHandles);
    void End(SequencerState state, const std::string& errorText);

    bool stopping_ = false;
    CTask* task_ = nullptr;  ///< that runs the sequence
};

/// Runs its child commands a number of times (property IterationCount, 0: until stopped).
class CSequencerLoopCommand : public CCommand {
  public:
    CSequencerLoopCommand();
    ~CSequencerLoopCommand() override;
    static ClassId CLASS_ID();
    void DoRun() override;
    void OnCommandStateChange(CommandState from, CommandState to) override;

  private:
    void RunOnce();
};

}  // namespace orv::framework
