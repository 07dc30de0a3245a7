#include "watchdog.h"

#include <fmt/format.h>

#include <exception>

#include "find_objects.h"
#include "orv/common/exceptions.h"
#include "orv/core/project.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

using framework::CCommand;
using framework::CHandleRegistry;
using framework::CScriptable;
using framework::CTaskManager;
using framework::PropertyChangeDelegate;

namespace {

constexpr auto kTick = std::chrono::milliseconds(100);
/// How long a test may exceed its duration: ports report their last results and end one after the other.
constexpr auto kGrace = std::chrono::seconds(60);
/// How long ports have to report their end after a stop request: the wait command polls every 5 s.
constexpr auto kPatience = std::chrono::seconds(15);
/// Ports begin shortly before their start command completes: the measured duration of a complete test
/// is shorter by that.
constexpr auto kStartSlack = std::chrono::duration<double>(1);

bool IsStartDisabled(std::uint32_t block) {
    return !framework::CCommandStatusManager::Instance().GetCommandStatus(block,
                                                                          ids::IptvStartTestCommand::CLASS);
}

}  // namespace

Watchdog::Watchdog(Laboratory& laboratory, RunLog& log, IRunObserver& observer, KnownOutcome& known,
                   const Expectations& expectations)
    : laboratory_(laboratory), log_(log), observer_(observer), known_(known), expectations_(expectations) {
    for (CScriptable* command :
         FindBelow(framework::CSequencer::Instance(), ids::IptvStartTestCommand::CLASS)) {
        start_commands_.push_back(command->GetHandle());
        command->RegisterPropertyChangeDelegate(ids::Command::State,
                                                PropertyChangeDelegate::To<&Watchdog::OnCommandState>(this));
    }
    timer_ = CTaskManager::Instance().PostAfter(kTick, [this] { OnTick(); });
}

Watchdog::~Watchdog() {
    CTaskManager::Instance().CancelTimer(timer_);
    for (const std::uint32_t handle : start_commands_) {
        if (auto* command = CHandleRegistry::Instance().Find(handle)) {
            command->UnregisterPropertyChangeDelegate(
                ids::Command::State, PropertyChangeDelegate::To<&Watchdog::OnCommandState>(this));
        }
    }
    if (auto* results = CHandleRegistry::Instance().Find(results_)) {
        results->UnregisterPropertyChangeDelegate(ids::IptvTestResults::TestResult,
                                                  PropertyChangeDelegate::To<&Watchdog::OnVerdict>(this));
    }
}

void Watchdog::OnCommandState(CScriptable* object, framework::PropId) {
    auto& command = dynamic_cast<CCommand&>(*object);
    if (command.GetCommandState() == CCommand::COMMAND_RUNNING) {
        if (running_) return;
        laboratory_.ForgetTests();
        known_.SetPreparing(true);
        return;
    }
    const bool completed = command.GetCommandState() == CCommand::COMMAND_COMPLETED;
    const bool ended = completed || command.GetCommandState() == CCommand::COMMAND_FAILED ||
                       command.GetCommandState() == CCommand::COMMAND_CANCELLED;
    if (!ended) return;
    known_.SetPreparing(false);
    Running test;
    test.command = command.GetHandle();
    test.name = command.GetString(ids::IptvStartTestCommand::TestName);
    test.started = CTaskManager::Instance().GetNow();
    test.duration = std::chrono::duration_cast<Nanoseconds>(
        std::chrono::duration<double>(command.GetDouble(ids::IptvStartTestCommand::TestDuration)));
    test.next_effort_at = test.started + test.duration + kGrace;
    auto* project = core::CProject::GetCurrentActiveInstance();
    for (const CScriptable* block : FindBelow(*project, ids::IptvStbBlockConfig::CLASS)) {
        if (!IsStartDisabled(block->GetHandle())) continue;
        test.block = block->GetHandle();
        break;
    }
    // A failed start may still have begun a test.
    if (!completed && (test.block == 0 || running_)) return;
    running_ = test;
    observer_.OnTestBegins(test.name, test.duration);
    known_.Change([&test](RunOutcome& outcome) {
        outcome.unfinished_test = {test.name, 0, std::chrono::duration<double>(test.duration).count()};
        if (const auto* database = core::TestResultManager::GetCurrentInstance())
            outcome.database = database->GetDatabasePath();
    });
    CScriptable* results = project->GetObject(ids::IptvTestResults::CLASS, common::kParentChild);
    if (!results) return;
    if (results_ != results->GetHandle()) {
        results_ = results->GetHandle();
        results->RegisterPropertyChangeDelegate(ids::IptvTestResults::TestResult,
                                                PropertyChangeDelegate::To<&Watchdog::OnVerdict>(this));
    }
    // A test that ended during its start already has a verdict.
    if (test.block == 0) OnVerdict(results, ids::IptvTestResults::TestResult);
}

void Watchdog::OnVerdict(CScriptable* results, framework::PropId) {
    const std::uint8_t verdict = results->GetU8(ids::IptvTestResults::TestResult);
    if (!running_ || running_->has_report || verdict == ids::TestOutcome::NONE) return;
    running_->has_report = true;
    const auto* command = dynamic_cast<const CCommand*>(CHandleRegistry::Instance().Find(running_->command));
    if (!command) return;
    TestReport report = MakeTestReport(*command, verdict == ids::TestOutcome::PASSED);
    const double seconds = GetSecondsRun();
    if (seconds + kStartSlack.count() < report.configured_duration) report.duration = seconds;
    // Now, so that the reports after a second Ctrl-C have them.
    for (const PlacedExpectation& one : expectations_)
        report.expectations.push_back(Evaluate(one.expectation, report));
    known_.Change([&report](RunOutcome& outcome) {
        outcome.tests.push_back(report);
        outcome.unfinished_test.reset();
    });
    reports_.push_back(std::move(report));
}

void Watchdog::OnTick() {
    timer_ = CTaskManager::Instance().PostAfter(kTick, [this] { OnTick(); });
    try {
        LookForEnd();
        LookForInterrupt();
        LookForRefusal();
        LookForOverdue();
        ShowProgress();
    } catch (const std::exception& error) {
        log_.AddError(std::string("watching the test failed: ") + error.what());
    }
}

double Watchdog::GetSecondsRun() const {
    const Nanoseconds end = running_->stopped.value_or(CTaskManager::Instance().GetNow());
    return std::chrono::duration<double>(end - running_->started).count();
}

void Watchdog::LookForEnd() {
    if (!running_) return;
    if (!running_->has_report) {
        known_.Change([seconds = GetSecondsRun()](RunOutcome& outcome) {
            if (outcome.unfinished_test) outcome.unfinished_test->elapsed = seconds;
        });
    }
    if (IsStartDisabled(running_->block)) return;
    running_.reset();
    observer_.OnTestEnds();
    // The command that waits for the end of the test need not wait for its next poll.
    if (interrupted_) framework::CSequencer::Instance().Stop();
}

void Watchdog::LookForInterrupt() {
    if (interrupted_ || observer_.GetInterrupts() == 0) return;
    interrupted_ = true;
    // What came before is completed; else there is nothing to wait for.
    if (!reports_.empty()) known_.SetPreparing(false);
    observer_.OnNote(
        "Interrupted: the test ends in order and its results are written. Once more to end at once.");
    framework::CSequencer::Instance().Stop();
    if (!running_ || running_->effort != Effort::None) return;
    Stop();
    running_->effort = Effort::Stopped;
    running_->next_effort_at = CTaskManager::Instance().GetNow() + kPatience;
}

/// A port that refused to start will never end: without it the others can.
void Watchdog::LookForRefusal() {
    if (!running_) return;
    for (PortLink* link : laboratory_.FindRefusing()) link->Cut("it refused to start its test");
}

void Watchdog::LookForOverdue() {
    if (!running_ || CTaskManager::Instance().GetNow() < running_->next_effort_at) return;
    running_->next_effort_at += kPatience;
    switch (running_->effort) {
        case Effort::None:
            log_.AddError(fmt::format("The test \"{}\" has not ended {} s after its time; it is stopped.",
                                      running_->name, kGrace.count()));
            running_->effort = Effort::Stopped;
            return Stop();
        case Effort::Stopped:
            running_->effort = Effort::MutePortsCut;
            return CutMutePorts();
        case Effort::MutePortsCut:
            log_.AddError(fmt::format("The test \"{}\" could not be ended.", running_->name));
            framework::CSequencer::Instance().Stop();
            running_.reset();
            observer_.OnTestEnds();
            // Without ports no test counts as running, so no command waits for it.
            for (PortLink* link : laboratory_.GetPorts()) link->Cut("its test could not be ended");
            return;
    }
}

void Watchdog::Stop() {
    running_->stopped = CTaskManager::Instance().GetNow();
    auto* project = core::CProject::GetCurrentActiveInstance();
    framework::CScriptableCreator creator;
    auto* stop = dynamic_cast<CCommand*>(creator.Create(ids::IptvStopTestCommand::CLASS, project));
    if (!stop) throw common::COrvRunTimeError("the test cannot be stopped: " + creator.GetErrorText());
    stop->Execute(false);
    stop->Delete();
}

void Watchdog::CutMutePorts() {
    for (PortLink* link : laboratory_.FindMute()) link->Cut("it does not report the end of its test");
}

void Watchdog::ShowProgress() {
    if (!observer_.WantsProgress()) return;
    RunProgress progress;
    if (running_) {
        progress.test = running_->name;
        progress.elapsed = CTaskManager::Instance().GetNow() - running_->started;
        progress.duration = running_->duration;
        progress.figures = GetLiveFigures();
    }
    observer_.OnProgress(progress);
}

}  // namespace orv::app
