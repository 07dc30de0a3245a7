#include "IptvResourceRegisterer.h"

#include "IptvResources.h"
#include "orv/framework/resources.h"

namespace orv::iptv {

namespace {

struct Text {
    std::uint32_t id;
    const char* text;
};

// Exact texts, leading and trailing blanks included. In ascending order of ids.
constexpr Text kTexts[] = {
    {resource::kRegistering, "Registering Iptv Plugin {1}"},
    {resource::kMemoryAllocationError, "MEMORY ALLOCATION ERROR: for object: {1} "},
    {resource::kPreconditionError, "PRECONDITION ERROR: {1}"},
    {resource::kBadArgumentError, "BAD ARGUMENT ERROR: {1}"},
    {resource::kBadObjectError, "BAD OBJECT ERROR: Internal Error. Failed to get object {1} from {2} in {3}"},
    {resource::kBadObjectErrorForUser, "BAD OBJECT ERROR: Internal Error accessing Config Objects."},
    {resource::kRpcFaultError,
     "REMOTE PROCEDURE ERROR: for message {1} Sequence Number {2}, fault {3}, to port {4}"},
    {resource::kRpcError, "REMOTE PROCEDURE ERROR: {1}"},
    {resource::kRpcErrorForUser, "BAD OBJECT ERROR: Internal Error in sending ZEL-RPC message to IL."},
    {resource::kNoStbBlock,
     "Error in IptvStartTestCommand: At least 1 Block of STBs needs to be chosen to run a test"},
    {resource::kChannelsNotMultipleOf4,
     "Error in IptvStartTestCommand: For a channel zapping test, the number of channels viewed by a STB must "
     "be a multiple of 4. {1} ({2}) does not satisfy this requirement."},
    {resource::kRrrNotInTestEnvironment,
     "Error in IptvStartTestCommand: RTP Reliable Retransmission Test does not support running in Test "
     "Environment mode"},
    {resource::kRrrNotWithSbitJoin,
     "Error in IptvStartTestCommand: RTP Reliable Retransmission Test does not support running with S-bit + "
     "Delay Join Trigger"},
    {resource::kRrrNotWithMulticastLeave,
     "Error in IptvStartTestCommand: RTP Reliable Retransmission Test does not support running with "
     "Multicast + Delay Join Trigger"},
    {resource::kIgmpNotActive,
     "Error in IptvStartTestCommand: For an IPTV test, the IGMP protocol must be active for every device "
     "block. {1} ({2}) does not satisfy this requirement."},
    {resource::kCcpuLimitExceeded,
     "Error in IptvStartTestCommand: The maximum number of set top boxes per CCPU has been exceeded for the "
     "CCPU that {1} resides on. The limit is {2}. Number found is {3}."},
    {resource::kText, "{1}"},
    {resource::kTrace, " {1}"},
    {resource::kAddressNotResolved,
     "For {1} {2} Please resolve IP address before starting IPTV Test. IptvStartTestCommand has been "
     "aborted."},
    {resource::kAddressStepError, " {1}"},
    {resource::kStreamsNotFound,
     "Not all of the relevant multicast streams found in bound stream blocks for Test Environment Channel "
     "Verification test. Background traffic-friendly stream ID filter will be replaced with filter on "
     "destination IP address. IPTV test will be invalid if streams are not configured in raw stream blocks "
     "as presumed."},
    {resource::kDuplicateAddresses,
     "Error in IptvStartTestCommand: Duplicate Device {1} addresses were detected on {2}."},
    {resource::kSharedLayer2Interface,
     "IPTV Channel Zapping test is inappropriate for multiple hosts on the same layer 2 interface."},
    {resource::kFccWithRrrNotInRealWorld,
     "Error in IptvStartTestCommand: Fast Channel Change With RTP Reliable Retransmission Test must be run "
     "in Test Environment mode"},
    {resource::kNotOnAtmPorts,
     "FAST_CHANNEL_CHANGE_TEST, RELIABLE_RETRANSMISSION_TEST, and FCC_WITH_RRR_TEST test types are not "
     "compatible with ATM ports."},
    {resource::kPortLevelShaping,
     "Port level IGMP/MLD join/leave shaping could cause problems for IPTV tests."},
};

}  // namespace

IptvResourceRegisterer::IptvResourceRegisterer() {
    for (const Text& entry : kTexts) {
        framework::CResourceManager::Instance().AddStringResource(entry.id, entry.text);
    }
}

}  // namespace orv::iptv
