#include "results/IptvResultsManager.h"

#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/IptvViewedChannels.h"
#include "orv/core/test_result_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/task_manager.h"
#include "orv/tm/message.h"
#include "results/BlockBinning.h"
#include "results/ManagerLock.h"
#include "results/figures/FigureSums.h"

namespace orv::iptv {

using framework::CHandleRegistry;
using framework::ResponseDelegate;

CIptvResultsManager* CIptvResultsManager::m_resultManager = nullptr;

CIptvResultsManager* CIptvResultsManager::GetResultsManager() {
    // Never destroyed: messages of ports may arrive until the process is gone.
    if (!m_resultManager) m_resultManager = new CIptvResultsManager;
    return m_resultManager;
}

CIptvResultsManager::CIptvResultsManager()
    : results_delegate_(ResponseDelegate::To<&CIptvResultsManager::CollectEventsFromIL>(this)),
      end_test_delegate_(ResponseDelegate::To<&CIptvResultsManager::EndTestHandler>(this)),
      stop_delegate_(ResponseDelegate::To<&CIptvResultsManager::StopTestHandler>(this)) {}

void CIptvResultsManager::Prepare(TestRun run) {
    const ManagerLock lock(m_iptvMutex);  // no results of an earlier test are being binned
    run_ = std::move(run);
    ResetPorts();
    failed_joins_ = 0;
    net_channel_changes_ = 0;
    database_path_.clear();
    finishing_ = false;
    final_done_ = false;
    results_pending_ = true;
    results_saved_ = false;
    end_held_ = false;
    stop_held_ = false;
    has_ipv4_ = false;
    has_ipv6_ = false;
    has_event_rows_ = false;
    ResetBlockTimeStampVec();
    DestroyRows();
}

void CIptvResultsManager::ForgetPorts() {
    if (!IsTestRunning() && !IsAwaitingEnds()) ResetPorts();
}

void CIptvResultsManager::ResetPorts() {
    port_count_ = 0;
    ended_ports_ = 0;
    started_.clear();
    known_ends_.clear();
    DropRegistrations();
}

void CIptvResultsManager::NoteDataSet() {
    results_pending_ = false;
    results_saved_ = false;
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
    std::vector<stblock_event_s> blocks;
    iptvcd_1_bll::parse_req_ResultsNotification(message, &blocks);
    Trace([&blocks] {
        return "CIptvResultsManager::CollectEventsFromIL Events for " + std::to_string(blocks.size()) +
               "blocks.";
    });
    const ManagerLock lock(m_iptvMutex);
    // What was under way when the test ended belongs to no test.
    if (!final_done_) BinManager(blocks);
}

void CIptvResultsManager::BinManager(const std::vector<stblock_event_s>& blocks) {
    BlockBinning binning(*this);
    for (const stblock_event_s& block : blocks) binning.Bin(block);
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
            net_channel_changes_ += share.channel_changes * count;
            failed_joins_ += share.failed_joins * count;
        }
    });
}

std::size_t CIptvResultsManager::GetRowLimit() const {
    return port_count_ < 21 ? std::size_t{200} * port_count_ : 4000;
}

void CIptvResultsManager::SaveRowsWhenDue() {
    if (port_count_ == 0 || unsaved_rows_.size() < GetRowLimit()) return;
    if (end_held_ && results_pending_) return;  // the start of the test has not made its data set yet
    if (database_path_.empty() && core::TestResultManager::GetCurrentInstance())
        return DestroyRows();  // none comes
    if (auto* database = core::TestResultManager::GetCurrentInstance()) {
        framework::ScriptableVec rows;
        rows.reserve(unsaved_rows_.size());
        for (const std::uint32_t handle : unsaved_rows_) {
            if (CScriptable* row = CHandleRegistry::Instance().Find(handle)) rows.push_back(row);
        }
        database->SaveResults(rows);
    } else {
        LogResource(devLogger(), LogLevelType::Warn, resource::kBadObjectError,
                    {"TestResultMananger", "Static Function", "CIptvResultsManager::SaveToDatabase"});
    }
    DestroyRows();
}

void CIptvResultsManager::DestroyRows() {
    // From the last: a parent finds its last child fastest.
    for (auto handle = unsaved_rows_.rbegin(); handle != unsaved_rows_.rend(); ++handle) {
        CScriptable* row = CHandleRegistry::Instance().Find(*handle);
        if (row) {
            row->Delete();
        } else {
            LogText(devLogger(), LogLevelType::Warn, " CIptvEventResults is NULL");
        }
    }
    unsaved_rows_.clear();
}

}  // namespace orv::iptv
