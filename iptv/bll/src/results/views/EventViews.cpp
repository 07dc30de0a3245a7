// Views of single events.
#include "orv/ids/iptv_ids.h"
#include "results/figures/Figures.h"
#include "results/views/ViewDefinitions.h"

namespace orv::iptv::views {

using enum When;
using enum figures::EventPlace;

namespace {
constexpr Piece kEventResultPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'STB Block Name',AllDevice.Name as 'Device Name',SetTopIndex as 'STB Index "
     "Number',Ipv4Addr as 'IPv4 Address',Ipv6Addr as 'IPv6 Address',VlanTag as 'VLAN Id',VlanInnerTag as "
     "'Inner VLAN Id',PppIndex as 'PPP Index',Vci as 'Vci',Vpi as 'Vpi',ViewedChannel as 'Channel "
     "Number',ViewedIpv4Addr as 'IP Address for Channel',ViewedIpv6Addr as 'IPv6 Address for Channel',JoinTS "
     "as 'Join Timestamp'"},
    {kUnicast, "UnicastJoinTS as 'Unicast Join Timestamp'"},
    {kAll, "FirstMcastPktTS as 'First Mcast Pkt Timestamp'"},
    {kNoSbit, "FirstUnicastNosbPktTs as 'First Unicast Pkt Timestamp'"},
    {kSbit,
     "FirstUnicastNosbPktTs as 'First Unicast Non-Sbit Pkt Timestamp',FirstUnicastSbitPktTs as 'First "
     "Unicast Sbit Pkt Timestamp'"},
    {kAll, "LeaveTS as 'Leave Timestamp'", kFirstPacketPlace + 1},
    {kUnicast, "UnicastLeaveTS as 'Unicast Leave Timestamp'", kFirstPacketPlace + 1},
    {kAll, "LastMcastPktTS as 'Last Mcast Pkt Timestamp'", kFirstPacketPlace + 1},
    {kNoSbit, "LastUnicastNosbPktTs as 'Last Unicast Pkt Timestamp'", kFirstPacketPlace + 1},
    {kSbit,
     "LastUnicastNosbPktTs as 'Last Unicast Non-Sbit Pkt Timestamp',LastUnicastSbitPktTs as 'Last Unicast "
     "Sbit Pkt Timestamp'",
     kFirstPacketPlace + 1},
    {kAll, "LastLeaveTS as 'LeaveTS of Previous Channel View'", kLastPacketPlace + 1},
    {kMulticastOnly, "LastLastMcastPktTS as 'Last McastPkt TS of Prev Chan View'", kLastPacketPlace + 1},
    {kUnicast, "LastLastMcastPktTS as 'Last Pkt TS of Prev Chan View'", kLastPacketPlace + 1},
    {kAll, "TotalTime as 'Channel View Time(msec)'", kPacketPlace},
    {kNoSbit, "TotalUnicastTimeNosb as 'Total Unicast Time(msec)'", kPacketPlace},
    {kSbit,
     "TotalUnicastTimeSbit as 'Total Unicast Time Sbit(msec)',TotalUnicastTimeNosb as 'Total Unicast Time "
     "Non-Sbit(msec)'",
     kPacketPlace},
    {kUnicast, "UnderflowEvent as 'Underflow Event'", kHandoverPlace},
};
}  // namespace
const View kEventResult{"Event Result",
                        "Event Result",
                        kEventResultPieces,
                        "IptvEventResults, IptvStbBlockConfig, AllDevice",
                        "IptvEventResults.ParentHnd = IptvStbBlockConfig.handle and AllDevice.Handle = "
                        "IptvStbBlockConfig.ParentHnd and IptvEventResults.DataSetId = @DataSetId",
                        ids::IptvEventResults::CLASS};

namespace {
constexpr Piece kRrrEventResultPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'STB Block Name',SetTopIndex as 'STB Index Number',Ipv4Addr as 'IPv4 "
     "Address',Ipv6Addr as 'IPv6 Address',VlanTag as 'VLAN Id',VlanInnerTag as 'Inner VLAN Id',PppIndex as "
     "'PPP Index',Vci as 'Vci',Vpi as 'Vpi',ViewedChannel as 'Channel Number',ViewedIpv4Addr as 'IP Address "
     "for Channel',ViewedIpv6Addr as 'IPv6 Address for Channel',NackRtpSeqNum as 'NACKed RTP Sequence "
     "Number',RtpNackTs as 'RTP NACK Timestamp',LastRetransmissionRtpPktTs as 'Last Retransmitted RTP Packet "
     "Timestamp'"},
};
}  // namespace
const View kRrrEventResult{"RRR Event Result",
                           "RRR Event Result",
                           kRrrEventResultPieces,
                           "IptvRrrEventResults,IptvStbBlockConfig",
                           "IptvRrrEventResults.ParentHnd = IptvStbBlockConfig.handle and "
                           "IptvRrrEventResults.DataSetId = @DataSetId",
                           ids::IptvRrrEventResults::CLASS};

}  // namespace orv::iptv::views
