// Views of results by port, set-top-box block, channels and profile.
#include "results/views/ViewDefinitions.h"

namespace orv::iptv::views {

using enum When;

namespace {
constexpr Piece kPortResultPieces[] = {
    {kAll,
     "Port.Location as 'Port Location',IptvPortResults.TotalPkts as 'Total # of "
     "packets',IptvPortResults.TotalPktRate as 'Total Packet "
     "Rate(pkts/sec)',IptvPortResults.DroppedFrameCount as '# Dropped "
     "Frames',IptvPortResults.ReorderedFrameCount as '# Re-ordered Frames',IptvPortResults.LateFrameCount as "
     "'# Late Frames',IptvPortResults.DuplicateFrameCount as '# Duplicate "
     "Frames',IptvPortResults.PrbsErrorCount as '# PRBS Errors'"},
};
}  // namespace
const View kPortResult{"Port Result", "Result Aggregated on Port", kPortResultPieces, "IptvPortResults,Port",
                       "IptvPortResults.ParentHnd = Port.Handle and IptvPortResults.DataSetId = @DataSetId"};

namespace {

// The figures of channel views are the same ones whatever they are gathered by; few are left out somewhere.
constexpr std::uint8_t kIpv4Stbs = 1;
constexpr std::uint8_t kIpv6Stbs = 2;
constexpr std::uint8_t kStbs = kIpv4Stbs | kIpv6Stbs;
constexpr std::uint8_t kChannels = 4;
constexpr std::uint8_t kProfiles = 8;

constexpr Piece kFigures[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'STB Block Name',ProfileName as 'Viewing Profile Name',"
     "NumClients as '# STBs',",
     kStbs},
    {kAll,
     "IptvViewedChannels.Name as 'VC Config Name',ChannelName as 'Channel Name',"
     "NumOfChannels as '# of Channels',",
     kChannels},
    {kAll, "IptvViewingProfileConfig.Name as 'VP Config Name',", kProfiles},
    {kAll,
     "NumOfChannelChanges as '# Channel Changes',MinJoinLatency as 'Min Join Latency(msec)',"
     "MaxJoinLatency as 'Max Join Latency(msec)',AvgJoinLatency as 'Avg Join Latency(msec)',"},
    {kUnicast,
     "MinUnicastJoinLatency as 'Min Unicast Join Latency(msec)',"
     "MaxUnicastJoinLatency as 'Max Unicast Join Latency(msec)',"
     "AvgUnicastJoinLatency as 'Avg Unicast Join Latency(msec)',"},
    {kAll,
     "MinLeaveLatency as 'Min Leave Latency(msec)',MaxLeaveLatency as 'Max Leave Latency(msec)',"
     "AvgLeaveLatency as 'Avg Leave Latency(msec)',"},
    {kUnicast,
     "MinUnicastLeaveLatency as 'Min Unicast Leave Latency(msec)',"
     "MaxUnicastLeaveLatency as 'Max Unicast Leave Latency(msec)',"
     "AvgUnicastLeaveLatency as 'Avg Unicast Leave Latency(msec)',"},
    {kAll,
     "MinGapLatency as 'Min Gap Latency(msec)',MaxGapLatency as 'Max Gap Latency(msec)',"
     "AvgGapLatency as 'Avg Gap Latency(msec)',",
     kStbs | kProfiles},
    {kUnicast,
     "MinUnicastMulticastPktGap as 'Min Unicast-Multicast Packet Gap',"
     "MaxUnicastMulticastPktGap as 'Max Unicast-Multicast Packet Gap',"
     "AvgUnicastMulticastPktGap as 'Avg Unicast-Multicast Packet Gap',"},
    {kAll,
     "MinOverlapLatency as 'Min Overlap Latency(msec)',"
     "MaxOverlapLatency as 'Max Overlap Latency(msec)',"
     "AvgOverlapLatency as 'Avg Overlap Latency(msec)',",
     kStbs | kProfiles},
    {kUnicast,
     "MinUnicastMulticastPktOverlap as 'Min Unicast-Multicast Packet Overlap',"
     "MaxUnicastMulticastPktOverlap as 'Max Unicast-Multicast Packet Overlap',"
     "AvgUnicastMulticastPktOverlap as 'Avg Unicast-Multicast Packet Overlap',"},
    {kAll,
     "MinChangeLatency as 'Min Change Latency(msec)',MaxChangeLatency as 'Max Change Latency(msec)',"
     "AvgChangeLatency as 'Avg Change Latency(msec)',",
     kStbs | kProfiles},
    {kAll,
     "MinLeaveJoinDelay as 'Min Leave Join Delay(msec)',"
     "MaxLeaveJoinDelay as 'Max Leave Join Delay(msec)',"
     "AvgLeaveJoinDelay as 'Avg Leave Join Delay(msec)',"
     "MinLeaveToLeaveInterval as 'Min Leave To Leave Interval(msec)',"
     "AvgLeaveToLeaveInterval as 'Avg Leave To Leave Interval(msec)',"
     "MaxLeaveToLeaveInterval as 'Max Leave To Leave Interval(msec)',"
     "MinMulticastPktToLeaveInterval as 'Min Multicast To Leave Interval(msec)',"
     "AvgMulticastPktToLeaveInterval as 'Avg Multicast To Leave Interval(msec)',"
     "MaxMulticastPktToLeaveInterval as 'Max Multicast To Leave Interval(msec)',",
     kStbs},
    {kUnicast,
     "MinUnicastPktToLeaveInterval as 'Min Unicast To Leave Interval(msec)',"
     "AvgUnicastPktToLeaveInterval as 'Avg Unicast To Leave Interval(msec)',"
     "MaxUnicastPktToLeaveInterval as 'Max Unicast To Leave Interval(msec)',",
     kStbs},
    {kAll, "DuplicateJoins as '# Duplicate Joins',"},
    {kUnicast, "DuplicateUnicastJoins as '# Duplicate Unicast Joins',"},
    {kAll, "JoinFails as '# Join Fails',"},
    {kUnicast, "UnicastJoinFails as '# Unicast Join Fails',"},
    {kAll, "FlaggedJoins as '# Flagged Joins',", kStbs},
    {kUnicast, "FlaggedUnicastJoins as '# Flagged Unicast Joins',", kStbs},
    {kAll, "FlaggedLeaves as '# Flagged Leaves',", kStbs},
    {kUnicast,
     "FlaggedUnicastLeaves as '# Flagged Unicast Leaves',ExtHdrErrors as '# Extension Hdr Errors',"
     "SbitFailures as '# Sbit Failures',",
     kStbs},
    {kAll, "TotalPkts as '# Total Packets',"},
    {kUnicast, "TotalMulticastPkts as '# Multicast Packets',TotalUnicastPkts as '# Unicast Packets',"},
    {kSbit,
     "TotalUnicastPktsNosb as '# Unicast Packets Non-Sbit',"
     "TotalUnicastPktsSbit as '# Unicast Packets Sbit',"},
    {kAll, "TotalPktRate as 'Total Pkt Rate(pkts/sec)',"},
    {kUnicast,
     "TotalMulticastPktRate as 'Multicast Pkt Rate(pkts/sec)',"
     "TotalUnicastPktRate as 'Unicast Pkt Rate(pkts/sec)',"},
    {kNoSbit,
     "MinUnicastPktRateNosb as 'Min Unicast Packet Rate',"
     "MaxUnicastPktRateNosb as 'Max Unicast Packet Rate',"
     "AvgUnicastPktRateNosb as 'Avg Unicast Packet Rate',"},
    {kSbit,
     "TotalUnicastPktRateNosb as 'Unicast Non-Sbit Pkt Rate(pkts/sec)',"
     "TotalUnicastPktRateSbit as 'Unicast Sbit Pkt Rate(pkts/sec)',"
     "MinUnicastPktRateNosb as 'Min Unicast Packet Rate Non-Sbit',"
     "MaxUnicastPktRateNosb as 'Max Unicast Packet Rate Non-Sbit',"
     "AvgUnicastPktRateNosb as 'Avg Unicast Packet Rate Non-Sbit',"
     "MinUnicastPktRateSbit as 'Min Unicast Packet Rate Sbit',"
     "MaxUnicastPktRateSbit as 'Max Unicast Packet Rate Sbit',"
     "AvgUnicastPktRateSbit as 'Avg Unicast Packet Rate Sbit',"},
    {kAll,
     "InvalidFirstPktCount as '# Invalid First Pkt TS - Already Joined',"
     "InvalidLastPktCount as '# Invalid Last Pkt TS - Not Yet Left',"
     "ErroredStreams as '# Errored Streams',"},
    {kUnicast, "ErroredUnicastStreams as '# Errored Unicast Streams',"},
    {kAll, "DroppedFrameCount as '# Dropped Frames',"},
    {kUnicast, "DroppedUnicastFrameCount as '# Dropped Unicast Frames',"},
    {kAll, "ReorderedFrameCount as '# Re-ordered Frames',"},
    {kUnicast, "ReorderedUnicastFrameCount as '# Re-ordered Unicast Frames',"},
    {kAll, "DuplicateFrameCount as '# Duplicate Frames',"},
    {kUnicast, "DuplicateUnicastFrameCount as '# Duplicate Unicast Frames',"},
    {kAll, "LateFrameCount as '# Late Frames',"},
    {kUnicast, "LateUnicastFrameCount as '# Late Unicast Frames',"},
    {kAll, "PrbsErrorCount as '# PRBS Error Count',", kIpv4Stbs},
    {kUnicast, "UnicastPrbsErrorCount as '# Unicast PRBS Error Count',", kIpv4Stbs},
    {kAll, "PrbsErrorCount as 'PRBS Error Count',", kIpv6Stbs | kChannels | kProfiles},
    {kUnicast, "UnicastPrbsErrorCount as 'Unicast PRBS Error Count',", kIpv6Stbs | kChannels | kProfiles},
    {kRetransmission,
     "MinRetransmissionLatency,MaxRetransmissionLatency,AvgRetransmissionLatency,"
     "FlaggedRetransmissionCount,FailedRetransmissionCount,"},
};

}  // namespace

const View kIpv4StbResult{
    "IPV4 STB Result",
    "Result Aggregated on Blocks of Set Top Boxes",
    kFigures,
    "IptvStbBlockConfig, IptvStbBlockResults",
    "IptvStbBlockResults.parenthnd in (select distinct IptvStbBlockConfig.handle as 'handle' from "
    "relationtable,iptvstbblockconfig,ipv4if where relationtable.sourcehnd = iptvstbblockconfig.parenthnd "
    "and relationtable.type = 'TopLevelIf' and relationtable.targethnd = ipv4if.handle) and "
    "IptvStbBlockConfig.Handle = IptvStbBlockResults.ParentHnd and IptvStbBlockResults.DataSetId = "
    "@DataSetId",
    kIpv4Stbs};

const View kIpv6StbResult{
    "IPV6 STB Result",
    "Result Aggregated on Blocks of Set Top Boxes",
    kFigures,
    "IptvStbBlockConfig, IptvStbBlockResults",
    "IptvStbBlockResults.parenthnd in (select distinct IptvStbBlockConfig.handle as 'handle' from "
    "relationtable,iptvstbblockconfig,ipv6if where relationtable.sourcehnd = iptvstbblockconfig.parenthnd "
    "and relationtable.type = 'TopLevelIf' and relationtable.targethnd = ipv6if.handle ) and "
    "IptvStbBlockConfig.Handle = IptvStbBlockResults.ParentHnd and IptvStbBlockResults.DataSetId = "
    "@DataSetId",
    kIpv6Stbs};

const View kChannelResult{
    "Channel Result",
    "Result Aggregated on Channels",
    kFigures,
    "IptvChannelResults, IptvViewedChannels",
    "IptvViewedChannels.handle = IptvChannelResults.ParentHnd and IptvChannelResults.DataSetId = @DataSetId",
    kChannels};

const View kProfileResult{"Profile Result",
                          "Result Aggregated on Profiles",
                          kFigures,
                          "IptvViewingProfileResults,IptvViewingProfileConfig",
                          "IptvViewingProfileConfig.handle = IptvViewingProfileResults.ParentHnd and "
                          "IptvViewingProfileResults.DataSETID = @DataSetId",
                          kProfiles};

}  // namespace orv::iptv::views
