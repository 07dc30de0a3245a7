// Views of single events.
#include "results/views/ViewDefinitions.h"

namespace orv::iptv::views {

using enum When;

namespace {
constexpr Piece kEventResultPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'STB Block Name',AllDevice.Name as 'Device Name',SetTopIndex as 'STB Index "
     "Number',Ipv4Addr as 'IPv4 Address',Ipv6Addr as 'IPv6 Address',VlanTag as 'VLAN Id',VlanInnerTag as "
     "'Inner VLAN Id',PppIndex as 'PPP Index',Vci as 'Vci',Vpi as 'Vpi',ViewedChannel as 'Channel "
     "Number',ViewedIpv4Addr as 'IP Address for Channel',ViewedIpv6Addr as 'IPv6 Address for Channel',JoinTS "
     "as 'Join Timestamp',"},
    {kUnicast, "UnicastJoinTS as 'Unicast Join Timestamp',"},
    {kAll, "FirstMcastPktTS as 'First Mcast Pkt Timestamp',"},
    {kNoSbit, "FirstUnicastNosbPktTs as 'First Unicast Pkt Timestamp',"},
    {kSbit,
     "FirstUnicastNosbPktTs as 'First Unicast Non-Sbit Pkt Timestamp',FirstUnicastSbitPktTs as 'First "
     "Unicast Sbit Pkt Timestamp',"},
    {kAll,
     "InvalidFirstPktTs as 'Invalid First Pkt Timestamp - Already Joined',LeaveTS as 'Leave Timestamp',"},
    {kUnicast, "UnicastLeaveTS as 'Unicast Leave Timestamp',"},
    {kAll, "LastMcastPktTS as 'Last Mcast Pkt Timestamp',"},
    {kNoSbit, "LastUnicastNosbPktTs as 'Last Unicast Pkt Timestamp',"},
    {kSbit,
     "LastUnicastNosbPktTs as 'Last Unicast Non-Sbit Pkt Timestamp',LastUnicastSbitPktTs as 'Last Unicast "
     "Sbit Pkt Timestamp',"},
    {kAll,
     "InvalidLastPktTs as 'Invalid Last Pkt Timestamp - Not Yet Left',LastLeaveTS as 'LeaveTS of Previous "
     "Channel View',"},
    {kMulticastOnly, "LastLastMcastPktTS as 'Last McastPkt TS of Prev Chan View',"},
    {kUnicast, "LastLastMcastPktTS as 'Last Pkt TS of Prev Chan View',"},
    {kAll,
     "LeaveToLeaveInterval as 'Leave To Leave Interval (msec)',MulticastPktToLeaveInterval as 'Multicast To "
     "Leave Interval (msec)',LeaveJoinDelay as 'Leave Join Delay (msec)',"},
    {kUnicast, "UnicastPktToLeaveInterval as 'Unicast To Leave Interval (msec)',"},
    {kAll, "JoinLatency as 'Join Latency(msec)',"},
    {kUnicast, "UnicastJoinLatency as 'Unicast Join Latency(msec)',"},
    {kAll, "JoinLatencyFlag as 'Is Join Lat > Threshold',"},
    {kUnicast, "UnicastJoinLatencyFlag as 'Is Unicast Join Lat > Threshold',"},
    {kAll, "LeaveLatency as 'Leave Latency(msec)',"},
    {kUnicast, "UnicastLeaveLatency as 'Unicast Leave Latency(msec)',"},
    {kAll, "LeaveLatencyFlag as 'Is Leave Lat > Threshold',"},
    {kUnicast, "UnicastLeaveLatencyFlag as 'Is Unicast Leave Lat > Threshold',"},
    {kAll,
     "ChangeLatency as 'Change Latency(msec)',GapLatency as 'Gap Latency(msec)',OverlapLatency as 'Overlap "
     "Latency(msec)',DuplicateJoin as 'Is Duplicate Join',FailedJoin as 'Is Failed Join',"},
    {kUnicast, "DuplicateUnicastJoin as 'Is Duplicate Unicast Join',"},
    {kUnicast, "FailedUnicastJoin as 'Is Failed Unicast Join',"},
    {kAll, "TotalTime as 'Channel View Time(msec)',"},
    {kNoSbit, "TotalUnicastTimeNosb as 'Total Unicast Time(msec)',"},
    {kSbit,
     "TotalUnicastTimeSbit as 'Total Unicast Time Sbit(msec)',TotalUnicastTimeNosb as 'Total Unicast Time "
     "Non-Sbit(msec)',"},
    {kAll, "TotalPkts as '# Packets Received',"},
    {kNoSbit,
     "TotalUnicastPktsNosb as '# Unicast Packets Received',UnicastPktRateNosb as 'Unicast Pkt Rate',"},
    {kSbit,
     "TotalUnicastPktsSbit as '# Unicast Sbit Packets Received',TotalUnicastPktsNosb as '# Unicast Non-Sbit "
     "Packets Received',UnicastPktRateNosb as 'Unicast Pkt Rate Non-Sbit',UnicastPktRateSbit as 'Unicast Pkt "
     "Rate Sbit',"},
    {kAll, "DroppedFrameCount as '# Dropped Frames',"},
    {kUnicast, "DroppedUnicastFrameCount as '# Dropped Unicast Frames',"},
    {kAll, "ReorderedFrameCount as '# Re-ordered Frames',"},
    {kUnicast, "ReorderedUnicastFrameCount as '# Re-ordered Unicast Frames',"},
    {kAll, "DuplicateFrameCount as '# Duplicate Frames',"},
    {kUnicast, "DuplicateUnicastFrameCount as '# Duplicate Unicast Frames',"},
    {kAll, "LateFrameCount as '# Late Frames',"},
    {kUnicast, "LateUnicastFrameCount as '# Late Unicast Frames',"},
    {kAll, "PrbsErrorCount as 'PRBS Error Count'"},
    {kUnicast,
     ",UnicastPrbsErrorCount as 'Unicast PRBS Error Count',UnderflowEvent as 'Underflow "
     "Event',UnicastMulticastPktOverlapCount as 'Unicast-Multicast Pkt Overlap "
     "Count',UnicastMulticastPktGapCount as 'Unicast-Multicast Pkt Gap Count',ExtensionHeaderError as "
     "'Extension Header Error',SbitFailure as 'Sbit Failure'"},
};
}  // namespace
const View kEventResult{"Event Result", "Event Result", kEventResultPieces,
                        "IptvEventResults, IptvStbBlockConfig, AllDevice",
                        "IptvEventResults.ParentHnd = IptvStbBlockConfig.handle and AllDevice.Handle = "
                        "IptvStbBlockConfig.ParentHnd and IptvEventResults.DataSetId = @DataSetId"};

namespace {
constexpr Piece kRrrEventResultPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'STB Block Name',SetTopIndex as 'STB Index Number',Ipv4Addr as 'IPv4 "
     "Address',Ipv6Addr as 'IPv6 Address',VlanTag as 'VLAN Id',VlanInnerTag as 'Inner VLAN Id',PppIndex as "
     "'PPP Index',Vci as 'Vci',Vpi as 'Vpi',ViewedChannel as 'Channel Number',ViewedIpv4Addr as 'IP Address "
     "for Channel',ViewedIpv6Addr as 'IPv6 Address for Channel',NackRtpSeqNum as 'NACKed RTP Sequence "
     "Number',RtpNackTs as 'RTP NACK Timestamp',LastRetransmissionRtpPktTs as 'Last Retransmitted RTP Packet "
     "Timestamp',RetransmissionLatency,FlaggedRetransmissionCount,FailedRetransmissionCount"},
};
}  // namespace
const View kRrrEventResult{"RRR Event Result", "RRR Event Result", kRrrEventResultPieces,
                           "IptvRrrEventResults,IptvStbBlockConfig",
                           "IptvRrrEventResults.ParentHnd = IptvStbBlockConfig.handle and "
                           "IptvRrrEventResults.DataSetId = @DataSetId"};

}  // namespace orv::iptv::views
