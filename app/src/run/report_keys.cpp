#include "report_keys.h"

#include <algorithm>
#include <iterator>

namespace orv::app {

namespace {

struct KeyOfReport {
    const char* part;  ///< of the report's text
    const char* key;
};

constexpr KeyOfReport kKeys[] = {
    // Channel blocks.
    {"The starting channel number cannot be 0", "ChannelStart"},
    {" overlap. The channel numbers specified", "ChannelStart"},
    {"cannot have any UdpDestinationPort", "UdpDestinationPort"},
    // STB blocks.
    {"should have at least one viewed channel", "StbChannel"},
    {"should have one viewing profile", "IptvProfile"},
    {"cannot have any UdpSourcePorts", "UdpSourcePort"},
    // Viewed channels.
    {"ChannelRangeStep cannot be 0", "ChannelRangeStep"},
    {"Channel Range should be a subset", "ChannelRangeEnd"},
    {"cannot have overlapping channel numbers", "ChannelRangeStart"},
    {"should be lower than Channel Range End", "ChannelRangeStep"},
    {"Channel Range End must be such that", "ChannelRangeEnd"},
    {"Channel Range Start must be less than", "ChannelRangeStart"},
    {"Initial Channel Step", "InitialChannelStep"},
    {"Initial Channel Start", "InitialChannelStart"},
    {"no IptvChannelBlock associated", "ChannelBlock"},
    {"not associated with a valid IptvChannelBlock", "ChannelBlock"},
    // Viewing profiles.
    {"Set Top Leave Join Delay must", "SetTopLeaveJoinDelay"},
    {"Join Latency Threshold must", "JoinLatencyThreshold"},
    {"Leave Latency Threshold must", "LeaveLatencyThreshold"},
    {"Zap Interval should be a multiple", "Interval"},
    {"Changes Before View must", "ChangesBeforeView"},
    {"UnicastLeaveTriggerDelay must be non-zero", "UnicastLeaveTriggerDelay"},
    // Start commands.
    {"At least 1 Block of STBs", "StbBlockList"},
    {"does not support running in Test Environment", "TestEnv"},
    {"must be run in Test Environment mode", "TestEnv"},
    {"S-bit + Delay Join Trigger", "MulticastJoinTrigger"},
    {"Multicast + Delay Join Trigger", "UnicastLeaveTrigger"},
    {"UnicastLeaveTrigger and MulticastJoinTrigger must", "UnicastLeaveTrigger"},
    {"not compatible with ATM ports", "TestType"},
};

constexpr const char* kSaidBetter[] = {
    "BAD OBJECT ERROR",
    " could not be found. ",
    "do not have same encapsulation",
    "the IGMP/MLD protocol must be activated",
    "the IGMP protocol must be active for every device block",
    "number of channels viewed by a STB must be a multiple of 4",
};

}  // namespace

std::string FindKeyOfReport(const std::string& text) {
    const auto found = std::find_if(std::begin(kKeys), std::end(kKeys), [&text](const KeyOfReport& known) {
        return text.find(known.part) != text.npos;
    });
    return found == std::end(kKeys) ? std::string() : found->key;
}

bool IsSaidBetter(const std::string& text) {
    return std::any_of(std::begin(kSaidBetter), std::end(kSaidBetter),
                       [&text](const char* part) { return text.find(part) != text.npos; });
}

}  // namespace orv::app
