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
#include "results/PreviousViews.h"
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
    std::vector<std::uint32_t> stb_blocks;  ///< the first one is the object of the commands' states
    std::uint32_t command = 0;              ///< handle of the start command
    std::string test_name;
    std::uint32_t test_results = 0;    ///< handle of the CIptvTestResults
    double test_duration = 0.0;        ///< s
    double join_fail_threshold = 0.0;  ///< most failed joins of a test that passes, percent
    TestKind kind;
    bool sequencer_mode = false;      ///< a sequence runs the test, not a user
    bool save_per_iteration = false;  ///< each iteration of the sequence has a database of its own
};

/// Collects what the ports report of a running test, decides whether it passes, and stores its results. One
/// per process, made when it is first asked for; lives until the process ends.
///
/// Called under the task lock. m_iptvMutex keeps batches of results apart from the end of the test: it is
/// taken with the task lock given up, and the task lock is taken again under it.
class CIptvResultsManager : public core::CResult {
  public:
    static CIptvResultsManager* GetResultsManager();
    /// Null before it has been asked for.
    static CIptvResultsManager* FindResultsManager() { return m_resultManager; }
    /// True while a test runs; false, too, before there is a results manager.
    static bool IsTestRunning() { return RunningTest::IsRunning(); }
    /// No test counts as running or stopping any more; makes no results manager.
    static void StopRunning() {
        if (!m_resultManager) return;
        RunningTest::SetRunning(false);
        m_resultManager->stopping_until_ = {};
    }

    /// Begins a test: nothing is left of the one before, not even in what its verdict is made of.
    void Prepare(TestRun run);
    const TestRun& GetRun() const { return run_; }
    void SetTestResults(std::uint32_t handle) { run_.test_results = handle; }
    void SetTestRunning(bool running) { RunningTest::SetRunning(running); }
    bool IsFinishing() const { return finishing_; }
    /// Ports that have been started, and told to stop, are still expected to say that they have. Not for
    /// ever: one of them may be gone.
    bool IsStopping() const;
    /// Path of the database that the test writes; empty while there is none.
    const std::string& GetDatabasePath() const { return database_path_; }
    void SetDatabasePath(std::string path) { database_path_ = std::move(path); }
    /// The data set of the test has been made: its results need not wait any more, and none is stored yet.
    void NoteDataSet();
    /// The test has ended and stored what there was to store.
    bool AreResultsSaved() const { return results_saved_; }

    /// Ports that take part.
    void SetPortCount(std::uint32_t ports) { port_count_ = ports; }
    std::uint32_t GetPortCount() const { return port_count_; }
    void AddRegistration(deregHandles registration) { registrations_.push_back(registration); }
    /// A port that reports results but not its end: it stays so until the next test, which would otherwise
    /// hear of each result twice.
    void AddIncompleteRegistration(deregHandles registration) { incomplete_.push_back(registration); }
    /// The port has been told to start its test.
    void NotePortStarted(std::uint32_t port) { started_.insert(port); }
    /// No port takes part, and none reports any more. Not while a test runs, nor while ports are still to
    /// report what they found before they were told to stop.
    void ForgetPorts();

    /// From now on an end of the test, by its ports or by a user, is noted only: a port may end while the
    /// start of the test is not done with. ReleaseEnd carries out what was noted.
    void HoldEnd() { end_held_ = true; }
    void ReleaseEnd();

    /// Delegates for the notifications of the ports; the context of the second is the port's handle.
    const framework::ResponseDelegate& GetResultsDelegate() const { return results_delegate_; }
    const framework::ResponseDelegate& GetEndTestDelegate() const { return end_test_delegate_; }

    // --- Results while the test runs
    void CollectEventsFromIL(std::uint16_t sequence, Message* message, void* context);
    /// Bins one notification: routes each event to the results that it feeds.
    void BinManager(const std::vector<stblock_event_s>& blocks);
    static bool CmpChannelNBlock(std::uint32_t channel, const CIptvViewedChannels* range);

    // --- The end of the test
    void EndTestHandler(std::uint16_t sequence, Message* message, void* portHandle);
    /// `stopRequested`: a user ends the test; otherwise a port has ended it.
    void EndOfTestProcessing(bool stopRequested);
    /// No test counts as running any more. One that the port took part in is stopped on the other ports, and
    /// ends when they have reported their ends: what they found is not lost.
    static void OnPortOffline(std::uint32_t port);
    void StopTestHandler(std::uint16_t sequence, Message* message, void* context);
    void FinalProcessing();
    void DeregisterAllNotifications();
    /// Builds the tree of views and stores everything; `failPercent` is the test's share of failed joins.
    void SaveToDatabase(double failPercent);

    // --- What binning notes
    /// Every set-top box is as one that has viewed nothing yet.
    void ResetBlockTimeStampVec() { previous_views_.Clear(); }
    PreviousViews& GetPreviousViews() { return previous_views_; }
    void NoteIpv4() { has_ipv4_ = true; }
    void NoteIpv6() { has_ipv6_ = true; }
    void AddToVerdict(const JoinLeaveSums& sums);
    double GetFailedJoins() const { return failed_joins_; }
    double GetNetChannelChanges() const { return net_channel_changes_; }
    void AddUnsavedRow(const CScriptable& row) {
        unsaved_rows_.push_back(row.GetHandle());
        has_event_rows_ = true;
    }
    /// So many unsaved rows are stored at once; 0 while no port takes part: never.
    std::size_t GetRowLimit() const;
    void SaveRowsWhenDue();

  private:
    CIptvResultsManager();

    /// True for the fault of a port that refuses to register a notification.
    static bool LogRefusal(const Message& answer);
    void CarryOutEnd(bool stopRequested);
    void GoOnWithoutPort(std::uint32_t port);
    void SendStop(const deregHandles& registration);
    bool IsAwaitingEnds() const;
    void ResetPorts();
    void DropRegistrations();
    static void DropRegistration(const deregHandles& registration);
    static void Deregister(const deregHandles& registration);
    CIptvTestResults& FindOrMakeTestResults();
    void DestroyRows();

    static CIptvResultsManager* m_resultManager;

    boost::mutex m_iptvMutex;
    TestRun run_;
    std::uint32_t port_count_ = 0;
    std::uint32_t ended_ports_ = 0;
    std::set<std::uint32_t> started_;     ///< handles of the ports that have been told to start
    std::set<std::uint32_t> known_ends_;  ///< handles of the ports that have reported their end
    double failed_joins_ = 0;
    double net_channel_changes_ = 0;
    std::vector<deregHandles> registrations_;
    std::vector<deregHandles> incomplete_;  ///< of results only
    std::string database_path_;
    bool finishing_ = false;                     ///< the ports have been told to stop
    std::chrono::nanoseconds stopping_until_{};  ///< so long their ends are expected
    bool final_done_ = false;                    ///< the final processing has run after a fault
    bool results_pending_ = false;               ///< a test begins whose data set is still to be made
    bool results_saved_ = false;                 ///< what the test has found is in its data set
    bool end_held_ = false;
    bool stop_held_ = false;  ///< a user has ended the test meanwhile
    bool has_ipv4_ = false;
    bool has_ipv6_ = false;
    bool has_event_rows_ = false;
    PreviousViews previous_views_;
    std::vector<std::uint32_t> unsaved_rows_;  ///< handles
    framework::ResponseDelegate results_delegate_;
    framework::ResponseDelegate end_test_delegate_;
    framework::ResponseDelegate stop_delegate_;
};

}  // namespace orv::iptv
