#include "results/IptvResultsManager.h"

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/IptvViewedChannels.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/task_manager.h"
#include "orv/tm/message.h"
#include "results/BlockBinning.h"
#include "results/ManagerLock.h"
#include "results/figures/FigureSums.h"

namespace orv::iptv {

using framework::ResponseDelegate;

CIptvResultsManager* CIptvResultsManager::m_resultManager = nullptr;

CIptvResultsManager* CIptvResultsManager::GetResultsManager() {
    // Never destroyed: messages of ports may arrive until the process ends.
    if (!m_resultManager) m_resultManager = new CIptvResultsManager;
    return m_resultManager;
}

CIptvResultsManager::CIptvResultsManager()
    : m_resultsDelegate(ResponseDelegate::To<&CIptvResultsManager::CollectEventsFromIL>(this)),
      m_endTestDelegate(ResponseDelegate::To<&CIptvResultsManager::EndTestHandler>(this)),
      m_stopDelegate(ResponseDelegate::To<&CIptvResultsManager::StopTestHandler>(this)) {}

void CIptvResultsManager::Prepare(TestRun run) {
    const ManagerLock lock(m_iptvMutex);  // waits for binning of an earlier test's results
    m_run = std::move(run);
    ResetPorts();
    m_failedJoins = 0;
    m_netChannelChanges = 0;
    m_databasePath.clear();
    m_finishing = false;
    m_finalDone = false;
    m_resultsPending = true;
    m_resultsSaved = false;
    m_endHeld = false;
    m_stopHeld = false;
    m_hasIpv4 = false;
    m_hasIpv6 = false;
    m_hasEventRows = false;
    ResetBlockTimeStampVec();
    m_distributions.Clear();
    m_distributionResults.Destroy();
    m_unsavedRows.Destroy();
}

void CIptvResultsManager::ForgetPorts() {
    if (!IsTestRunning() && !IsAwaitingEnds()) ResetPorts();
}

void CIptvResultsManager::ResetPorts() {
    m_portCount = 0;
    m_endedPorts = 0;
    m_started.clear();
    m_knownEnds.clear();
    DropRegistrations();
}

void CIptvResultsManager::NoteDataSet() {
    m_resultsPending = false;
    m_resultsSaved = false;
}

bool CIptvResultsManager::LogRefusal(const Message& answer) {
    if (answer.get_msg_type() != tm::TMT_FAULT) return false;
    LogResource(devLogger(), LogLevelType::Error, resource::kRpcFaultError,
                {answer.get_request_name(), [&] { return std::to_string(answer.header().get_seq_no()); },
                 answer.get_fault_string(), ""});
    return true;
}

void CIptvResultsManager::CollectEventsFromIL(std::uint16_t, Message* message, void*) {
    if (LogRefusal(*message)) return;
    std::vector<iptvcd_1_bll::stblock_event_in_place_s> blocks;
    iptvcd_1_bll::parse_req_in_place_ResultsNotification(message, &blocks);
    Trace([&blocks] {
        return "CIptvResultsManager::CollectEventsFromIL Events for " + std::to_string(blocks.size()) +
               "blocks.";
    });
    const ManagerLock lock(m_iptvMutex);
    // Results still in flight when the test ended are dropped.
    if (!m_finalDone) BinBlocks(blocks);
}

void CIptvResultsManager::BinManager(const std::vector<stblock_event_s>& blocks) {
    BinBlocks(blocks);
}

template <class Block>
void CIptvResultsManager::BinBlocks(const std::vector<Block>& blocks) {
    BlockBinning binning(*this);
    for (const Block& block : blocks) binning.Bin(block.stblock_handle, block.events, block.rrr_events);
    Trace([] { return "Exiting BinManager "; });
}

bool CIptvResultsManager::CmpChannelNBlock(std::uint32_t channel, const CIptvViewedChannels* range) {
    return range->GetChannelRangeStart() <= channel && channel <= range->GetChannelRangeEnd();
}

void CIptvResultsManager::AddToVerdict(const JoinLeaveSums& sums) {
    figures::ForEachFigureOf<ids::IptvJoinLeaveResults::CLASS.GetValue()>([&](auto number) {
        constexpr const figures::VerdictShare& share = figures::kFigures[number].verdict;
        if constexpr (share.channel_changes != 0 || share.failed_joins != 0) {
            static_assert(figures::kFigures[number].merge == figures::Merge::kCount);
            const double count = sums.counts[figures::kSlot<number>];
            m_netChannelChanges += share.channel_changes * count;
            m_failedJoins += share.failed_joins * count;
        }
    });
}

void CIptvResultsManager::RefreshDistributions() {
    const boost::unique_lock<boost::mutex> lock(m_iptvMutex, boost::try_to_lock);
    if (lock && !m_finalDone) m_distributionResults.MakeForTest(m_distributions);
}

std::size_t CIptvResultsManager::GetRowLimit() const {
    return m_portCount < 21 ? std::size_t{200} * m_portCount : 4000;
}

void CIptvResultsManager::SaveRowsWhenDue() {
    if (m_portCount == 0 || m_unsavedRows.GetCount() < GetRowLimit()) return;
    if (m_endHeld && m_resultsPending) return;  // the start command has not created the data set yet
    auto* database = core::TestResultManager::GetCurrentInstance();
    if (database && !m_databasePath.empty()) return m_unsavedRows.Save(*database);
    if (!database) {
        LogResource(devLogger(), LogLevelType::Warn, resource::kBadObjectError,
                    {"TestResultMananger", "Static Function", "CIptvResultsManager::SaveToDatabase"});
    }
    m_unsavedRows.Destroy();  // there will be no data set
}

}  // namespace orv::iptv
