// The state of the running test, from event records to verdict.
#pragma once

#include <boost/thread/mutex.hpp>

#include <chrono>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/core/result.h"
#include "orv/framework/rpc_manager.h"
#include "results/DistributionResults.h"
#include "results/PreviousViews.h"
#include "results/UnsavedRows.h"
#include "results/distributions/TestDistributions.h"
#include "results/figures/FigureSumsFwd.h"
#include "running/RunningTest.h"

namespace orv::iptv {

class CIptvTestResults;
class CIptvViewedChannels;
using common::ClassId;
using framework::CScriptable;
using iptvcd_1_bll::stblock_event_s;
using tm::Message;

/// Registrations for the notifications of one port.
struct deregHandles {
    std::uint32_t port = 0;         ///< handle of the port
    std::uint32_t results_id = 0;   ///< registration for results
    std::uint32_t end_test_id = 0;  ///< registration for the end of the test
};

/// What a test start sets.
struct TestRun {
    std::vector<std::uint32_t> stb_blocks;  ///< the first one keeps the status of the commands
    std::uint32_t command = 0;              ///< handle of the start command
    std::string test_name;
    std::uint32_t test_results = 0;    ///< handle of the CIptvTestResults
    double test_duration = 0.0;        ///< s
    double join_fail_threshold = 0.0;  ///< most failed joins that pass, percent
    TestKind kind;
    bool sequencer_mode = false;      ///< a sequence runs the test, not a user
    bool save_per_iteration = false;  ///< each iteration of the sequence has its own database

    /// `fail_percent`: share of failed joins.
    bool Passes(double fail_percent) const { return fail_percent <= join_fail_threshold; }
};

/// Collects the results that ports report during a test, decides whether the test passes, and saves its
/// results. One per process, created on first use; lives until the process ends.
/// Called under the task lock. m_iptvMutex serialises binning and the end of the test. To take it, the task
/// lock is released first and taken again under the mutex.
class CIptvResultsManager : public core::CResult {
  public:
    static CIptvResultsManager* GetResultsManager();
    /// Null before the first use.
    static CIptvResultsManager* FindResultsManager() { return m_resultManager; }
    /// True while a test runs. Needs no results manager.
    static bool IsTestRunning() { return RunningTest::IsRunning(); }
    /// Marks any test as neither running nor stopping. Creates no results manager.
    static void StopRunning() {
        if (!m_resultManager) return;
        RunningTest::SetRunning(false);
        m_resultManager->m_stoppingUntil = {};
    }

    /// Begins a test: resets all state of the previous one, including the counters for the verdict.
    void Prepare(TestRun run);
    const TestRun& GetRun() const { return m_run; }
    void SetTestResults(std::uint32_t handle) { m_run.test_results = handle; }
    void SetTestRunning(bool running) { RunningTest::SetRunning(running); }
    bool IsFinishing() const { return m_finishing; }
    /// True while started ports that were told to stop have not all reported their end. Times out, because a
    /// port may be lost.
    bool IsStopping() const;
    /// Path of the test's database; empty while there is none.
    const std::string& GetDatabasePath() const { return m_databasePath; }
    void SetDatabasePath(std::string path) { m_databasePath = std::move(path); }
    /// Call when the test's data set has been created: rows can be saved from now on.
    void NoteDataSet();
    /// True if the test has ended and its results are saved.
    bool AreResultsSaved() const { return m_resultsSaved; }

    /// Number of ports that take part.
    void SetPortCount(std::uint32_t ports) { m_portCount = ports; }
    std::uint32_t GetPortCount() const { return m_portCount; }
    void AddRegistration(deregHandles registration) { m_registrations.push_back(registration); }
    /// A port that reports results but not its end. It is deregistered before the next test, which would
    /// otherwise get each result twice.
    void AddIncompleteRegistration(deregHandles registration) { m_incomplete.push_back(registration); }
    /// Call when the port has been told to start.
    void NotePortStarted(std::uint32_t port) { m_started.insert(port); }
    /// Removes and deregisters all ports. Does nothing while a test runs or stopping ports may still report
    /// results.
    void ForgetPorts();

    /// Defers the end of the test, by ports or by a user, until ReleaseEnd: a port may end before the start
    /// command is done.
    void HoldEnd() { m_endHeld = true; }
    void ReleaseEnd();

    /// Delegates for notifications of ports. The context of the second one is the port's handle.
    const framework::ResponseDelegate& GetResultsDelegate() const { return m_resultsDelegate; }
    const framework::ResponseDelegate& GetEndTestDelegate() const { return m_endTestDelegate; }

    // --- Results while the test runs
    void CollectEventsFromIL(std::uint16_t sequence, Message* message, void* context);
    /// Bins one notification: routes each event to the results that it feeds.
    void BinManager(const std::vector<stblock_event_s>& blocks);
    static bool CmpChannelNBlock(std::uint32_t channel, const CIptvViewedChannels* range);

    // --- The end of the test
    void EndTestHandler(std::uint16_t sequence, Message* message, void* portHandle);
    /// `stopRequested`: a user stops the test; otherwise a port has reported its end.
    void EndOfTestProcessing(bool stopRequested);
    /// Marks any test as not running. A test with this port is stopped on its other ports, and ends when they
    /// have reported their ends, so that their results are kept.
    static void OnPortOffline(std::uint32_t port);
    void StopTestHandler(std::uint16_t sequence, Message* message, void* context);
    void FinalProcessing();
    void DeregisterAllNotifications();
    /// Builds the tree of views and saves everything. `failPercent`: share of failed joins.
    void SaveToDatabase(double failPercent);

    // --- State that binning updates
    /// Forgets the previous views of all set-top boxes.
    void ResetBlockTimeStampVec() { m_previousViews.Clear(); }
    PreviousViews& GetPreviousViews() { return m_previousViews; }
    distributions::TestDistributions& GetDistributions() { return m_distributions; }
    /// Updates the distributions of the whole test, unless results are being binned.
    void RefreshDistributions();
    void NoteIpv4() { m_hasIpv4 = true; }
    void NoteIpv6() { m_hasIpv6 = true; }
    void AddToVerdict(const JoinLeaveSums& sums);
    double GetFailedJoins() const { return m_failedJoins; }
    double GetNetChannelChanges() const { return m_netChannelChanges; }
    /// For the rows of events.
    UnsavedRows& AddEventRows() {
        m_hasEventRows = true;
        return m_unsavedRows;
    }
    /// Number of unsaved rows at which they are saved. 0 while no port takes part: never.
    std::size_t GetRowLimit() const;
    void SaveRowsWhenDue();

  private:
    CIptvResultsManager();

    /// Logs the fault of a port that refuses a registration; returns whether it was one.
    static bool LogRefusal(const Message& answer);
    template <class Block>
    void BinBlocks(const std::vector<Block>& blocks);
    void CarryOutEnd(bool stopRequested);
    void GoOnWithoutPort(std::uint32_t port);
    void SendStop(const deregHandles& registration);
    bool IsAwaitingEnds() const;
    void ResetPorts();
    void DropRegistrations();
    static void DropRegistration(const deregHandles& registration);
    static void Deregister(const deregHandles& registration);
    CIptvTestResults& FindOrMakeTestResults();
    static CIptvResultsManager* m_resultManager;

    boost::mutex m_iptvMutex;
    TestRun m_run;
    std::uint32_t m_portCount = 0;
    std::uint32_t m_endedPorts = 0;
    std::set<std::uint32_t> m_started;    ///< handles of ports that were told to start
    std::set<std::uint32_t> m_knownEnds;  ///< handles of ports that reported their end
    double m_failedJoins = 0;
    double m_netChannelChanges = 0;
    std::vector<deregHandles> m_registrations;
    std::vector<deregHandles> m_incomplete;  ///< registered for results only
    std::string m_databasePath;
    bool m_finishing = false;                    ///< the ports were told to stop
    std::chrono::nanoseconds m_stoppingUntil{};  ///< deadline for the ports' ends
    bool m_finalDone = false;                    ///< FinalProcessing has begun
    bool m_resultsPending = false;               ///< the new test's data set has not been created yet
    bool m_resultsSaved = false;                 ///< the test's results are in its data set
    bool m_endHeld = false;                      ///< the end of the test is deferred
    bool m_stopHeld = false;                     ///< a user stopped the test while its end was deferred
    bool m_hasIpv4 = false;
    bool m_hasIpv6 = false;
    bool m_hasEventRows = false;
    PreviousViews m_previousViews;
    distributions::TestDistributions m_distributions;
    DistributionResults m_distributionResults;
    UnsavedRows m_unsavedRows;
    framework::ResponseDelegate m_resultsDelegate;
    framework::ResponseDelegate m_endTestDelegate;
    framework::ResponseDelegate m_stopDelegate;
};

}  // namespace orv::iptv
