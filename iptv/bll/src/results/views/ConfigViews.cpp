// Views of the test and its configuration.
#include "results/views/ViewDefinitions.h"

namespace orv::iptv::views {

using enum When;

namespace {
constexpr Piece kTestSummaryPieces[] = {
    {kAll, "TestResult,TestName,TestStartTime,TestEndTime,Name"},
};
}  // namespace
const View kTestSummary{"IPTV Test Summary", "Test Result Summary", kTestSummaryPieces, "IptvTestResults",
                        "DataSetId = @DataSetId"};

namespace {
constexpr Piece kPortConfigPieces[] = {
    {kAll, "Name as 'Port Name',Location as 'Location',SupportedPhys as 'Supported PHY Interfaces'"},
};
}  // namespace
const View kPortConfig{"Port Config", "Config Parameters for Ports", kPortConfigPieces, "Port",
                       "DataSetId = @DataSetId"};

namespace {
constexpr Piece kIpv4StbConfigPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'Name',AllDevice.Name as 'Device Name', AllDevice.DeviceCount as '# of "
     "STBs',Ipv4If.Address as 'IP Address',Ipv4If.AddrStep as 'IP Address Step', Ipv4If.Gateway as 'IP "
     "Gateway Address',IptvStbBlockConfig.InterClientStartDelayStep as 'Inter-Client Start Delay(msec)', "
     "IptvStbBlockConfig.SaveTimeStamps as 'Save TimeStamps (true/false)'"},
    {kUnicast,
     ",IptvStbBlockConfig.MinBufferLevel as 'Minimum Buffer Level "
     "(true/false)',IptvStbBlockConfig.FccServerAddrV4 as 'Fcc Server Address "
     "IPv4',IptvStbBlockConfig.FccServerAddrV6 as 'Fcc Server Address IPv6',FccServerPort as 'Fcc Server "
     "Port',UdpSourcePort as 'UDP Source Port',UdpSourcePortStep as 'UDP Source Port Step'"},
    {kRetransmission,
     ",RtpNackEnable as 'RTP Nack Enable "
     "(true/false)',RtpNackInterval,RtpNackDelay,RtpNackSeqBitmask,RrrServerAddrV4,RrrServerPort"},
};
}  // namespace
const View kIpv4StbConfig{
    "IPV4 STB Config", "Config Parameters for Block of IPv4 Set Top Boxes", kIpv4StbConfigPieces,
    "iptvstbblockconfig,relationtable,ipv4if,alldevice",
    "alldevice.handle=iptvstbblockconfig.parenthnd and relationtable.sourcehnd = "
    "iptvstbblockconfig.parenthnd and relationtable.type = 'TopLevelIf' and relationtable.targethnd = "
    "ipv4if.handle and iptvstbblockconfig.datasetid = @DataSetId"};

namespace {
constexpr Piece kIpv6StbConfigPieces[] = {
    {kAll,
     "IptvStbBlockConfig.Name as 'Name',AllDevice.Name as 'Device Name',AllDevice.devicecount as '# of "
     "STBs',Ipv6If.Address as 'IP Address',Ipv6If.AddrStep as 'IP Address Step',Ipv6If.Gateway as 'IP "
     "Gateway Address',IptvStbBlockConfig.InterClientStartDelayStep as 'Inter-Client Start "
     "Delay(msec)',IptvStbBlockConfig.SaveTimeStamps as 'Save TimeStamps (true/false)'"},
    {kUnicast,
     ",IptvStbBlockConfig.MinBufferLevel as 'Minimum Buffer Level "
     "(true/false)',IptvStbBlockConfig.FccServerAddrV4 as 'Fcc Server Address "
     "IPv4',IptvStbBlockConfig.FccServerAddrV6 as 'Fcc Server Address IPv6',FccServerPort as 'Fcc Server "
     "Port',UdpSourcePort as 'UDP Source Port',UdpSourcePortStep as 'UDP Source Port Step'"},
    {kRetransmission,
     ",RtpNackEnable as 'RTP Nack Enable "
     "(true/false)',RtpNackInterval,RtpNackDelay,RtpNackSeqBitmask,RrrServerAddrV6,RrrServerPort"},
};
}  // namespace
const View kIpv6StbConfig{
    "IPV6 STB Config", "Config Parameters for Block of IPv6 Set Top Boxes", kIpv6StbConfigPieces,
    "iptvstbblockconfig,relationtable,ipv6if,alldevice",
    "alldevice.handle=iptvstbblockconfig.parenthnd and relationtable.sourcehnd = "
    "iptvstbblockconfig.parenthnd and relationtable.type = 'TopLevelIf' and relationtable.targethnd = "
    "ipv6if.handle and iptvstbblockconfig.datasetid = @DataSetId "};

namespace {
constexpr Piece kChannelConfigPieces[] = {
    {kAll,
     "Name as 'Name',ChannelRangeStart as 'Starting Channel Number',ChannelRangeEnd as 'Last Channel "
     "Number',ChannelRangeStep as 'Channel Step',InitialChannelStart as 'Initial Starting "
     "Channel',InitialChannelStep as 'Initial Channel Step'"},
    {kRetransmission, ",RtpNackEnable as 'RTP Nack Enable (true/false)'"},
};
}  // namespace
const View kChannelConfig{"Channel Config", "Config Parameters for Channel Block", kChannelConfigPieces,
                          "IptvViewedChannels", "DataSetId = @DataSetId"};

namespace {
constexpr Piece kProfileConfigPieces[] = {
    {kAll,
     "Name as 'Name',ZapIntervalType as 'Zap Interval Type',ZapBehavior as 'Zap Behavoir',ZapDirection as "
     "'Zap Direction',Interval as 'Zap Interval(msec)',ChangesBeforeView as '# Channel Zaps Before a Channel "
     "View',ViewDuration as 'Duration For Channel Viewing(sec)',SetTopLeaveJoinDelay as 'STB Leave-Join "
     "Delay(msec)',JoinLatencyThreshold as 'Join Latency Threshold(msec)',LeaveLatencyThreshold as 'Leave "
     "Latency Threshold(msec)',"},
    {kUnicast,
     "MulticastJoinTriggerDelay as 'Multicast Join Trigger Delay(msec)',UnicastJoinThreshold as 'Unicast "
     "Join Threshold(msec)',UnicastLeaveThreshold as 'Unicast Leave "
     "Threshold(msec)',UnicastLeaveTriggerDelay as 'Unicast Leave Trigger Delay(msec)',UnicastOnly as "
     "'Unicast Only',UnicastStay as 'Unicast Stay'"},
};
}  // namespace
const View kProfileConfig{"Profile Config", "Config Parameters for Profiles", kProfileConfigPieces,
                          "IptvViewingProfileConfig", "DataSetId = @DataSetId"};

}  // namespace orv::iptv::views
