// Batch and test values of joins and leaves, and the properties that show them.
#include <iterator>

#include "InitAttributeBuilder.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvJoinLeaveResults.h"
#include "results/ResultProperties.h"

namespace orv::iptv {

namespace {

using namespace ids::IptvJoinLeaveResults;

/// In the order of JoinLeaveStat.
constexpr StatProperties kStatProperties[] = {
    {MinJoinLatency, AvgJoinLatency, MaxJoinLatency},
    {MinLeaveLatency, AvgLeaveLatency, MaxLeaveLatency},
    {MinUnicastJoinLatency, AvgUnicastJoinLatency, MaxUnicastJoinLatency},
    {MinUnicastLeaveLatency, AvgUnicastLeaveLatency, MaxUnicastLeaveLatency},
    {MinUnicastMulticastPktGap, AvgUnicastMulticastPktGap, MaxUnicastMulticastPktGap},
    {MinUnicastMulticastPktOverlap, AvgUnicastMulticastPktOverlap, MaxUnicastMulticastPktOverlap},
    {MinRetransmissionLatency, AvgRetransmissionLatency, MaxRetransmissionLatency},
    {MinUnicastPktRateNosb, AvgUnicastPktRateNosb, MaxUnicastPktRateNosb},
    {MinUnicastPktRateSbit, AvgUnicastPktRateSbit, MaxUnicastPktRateSbit}};
static_assert(std::size(kStatProperties) == kJoinLeaveStats);

struct TrafficProperties {
    framework::PropId packets;
    framework::PropId rate;
};
/// In the order of TrafficClass.
constexpr TrafficProperties kTrafficProperties[] = {{TotalPkts, TotalPktRate},
                                                    {TotalMulticastPkts, TotalMulticastPktRate},
                                                    {TotalUnicastPkts, TotalUnicastPktRate},
                                                    {TotalUnicastPktsNosb, TotalUnicastPktRateNosb},
                                                    {TotalUnicastPktsSbit, TotalUnicastPktRateSbit}};
static_assert(std::size(kTrafficProperties) == kTrafficClasses);

/// In the order of JoinLeaveCounter.
constexpr framework::PropId kCounterProperties[] = {DroppedFrameCount,
                                                    DroppedUnicastFrameCount,
                                                    ReorderedFrameCount,
                                                    ReorderedUnicastFrameCount,
                                                    DuplicateFrameCount,
                                                    DuplicateUnicastFrameCount,
                                                    PrbsErrorCount,
                                                    UnicastPrbsErrorCount,
                                                    LateFrameCount,
                                                    LateUnicastFrameCount,
                                                    InvalidFirstPktCount,
                                                    InvalidLastPktCount,
                                                    FlaggedRetransmissionCount,
                                                    FailedRetransmissionCount};
static_assert(std::size(kCounterProperties) == kJoinLeaveCounters);

}  // namespace

void CIptvJoinLeaveResults::AccumLatencies() {
    for (std::size_t i = 0; i < kJoinLeaveStats; ++i) {
        if (batch_.stats[i].count != 0) running_.stats[i].accum(batch_.stats[i]);
    }
    for (std::size_t i = 0; i < kTrafficClasses; ++i) {
        running_.packets[i] += batch_.packets[i];
        running_.seconds[i] += batch_.seconds[i];
    }
    running_.errored_streams += batch_.errored_streams;
    running_.errored_unicast_streams += batch_.errored_unicast_streams;
}

void CIptvJoinLeaveResults::SetAndAccumLatencies(const JoinLeaveSums& sums) {
    for (std::size_t i = 0; i < kJoinLeaveStats; ++i) batch_.stats[i].accum(sums.stats[i]);
    batch_.channel_views = sums.channel_views;
    batch_.duplicate_joins = sums.duplicate_joins;
    batch_.duplicate_unicast_joins = sums.duplicate_unicast_joins;
    batch_.join_fails = sums.join_fails;
    batch_.unicast_join_fails = sums.unicast_join_fails;
    AccumLatencies();
    for (std::size_t i = 0; i < kTrafficClasses; ++i) {
        running_.packets[i] += sums.packets[i];
        running_.seconds[i] += sums.seconds[i];
    }
    running_.errored_streams += sums.errored_streams;
    running_.errored_unicast_streams += sums.errored_unicast_streams;
    batch_.counters = sums.counters;
}

void CIptvJoinLeaveResults::CopyJoinLeaveResultsToDataModel() {
    for (std::size_t i = 0; i < kJoinLeaveStats; ++i) SetStat(*this, kStatProperties[i], running_.stats[i]);
    AddTo(*this, NumOfChannelChanges, batch_.channel_views);
    AddTo(*this, DuplicateJoins, batch_.duplicate_joins);
    AddTo(*this, DuplicateUnicastJoins, batch_.duplicate_unicast_joins);
    AddTo(*this, JoinFails, batch_.join_fails);
    AddTo(*this, UnicastJoinFails, batch_.unicast_join_fails);
    for (std::size_t i = 0; i < kTrafficClasses; ++i) {
        Set(kTrafficProperties[i].packets, running_.packets[i]);
        Set(kTrafficProperties[i].rate, GetRate(running_.packets[i], running_.seconds[i]));
    }
    Set(ErroredStreams, running_.errored_streams);
    Set(ErroredUnicastStreams, running_.errored_unicast_streams);
    for (std::size_t i = 0; i < kJoinLeaveCounters; ++i)
        AddTo(*this, kCounterProperties[i], batch_.counters[i]);
}

void CIptvJoinLeaveResults::ResetJoinLeaveClassVar() {
    batch_ = {};
}

void CIptvJoinLeaveResults::CompleteResetJoinLeaveResults() {
    ResetJoinLeaveClassVar();
    running_ = {};
    ZeroOwnNumbers(*this, CLASS_ID());
}

namespace {

const bool init_ab = InitAttributeBuilder();
const framework::StaticRegisterClass<CIptvJoinLeaveResults> registration{CIptvJoinLeaveResults::CLASS_ID()};

}  // namespace

}  // namespace orv::iptv
