// Ids of the plug-in's string resources.
#pragma once

#include <cstdint>

namespace orv::iptv::resource {

inline constexpr std::uint32_t kRegistering = 0x21000000;
inline constexpr std::uint32_t kMemoryAllocationError = 0x21000001;  ///< {1} object that could not be created
inline constexpr std::uint32_t kPreconditionError = 0x21000002;      ///< {1} what is missing
inline constexpr std::uint32_t kBadArgumentError = 0x21000003;       ///< {1} what is wrong
inline constexpr std::uint32_t kBadObjectError = 0x21000004;  ///< {1} object, {2} from where, {3} operation
inline constexpr std::uint32_t kBadObjectErrorForUser = 0x21000005;
inline constexpr std::uint32_t kRpcFaultError = 0x21000006;  ///< {1} message, {2} number, {3} fault, {4} port
inline constexpr std::uint32_t kRpcError = 0x21000007;       ///< {1} what went wrong
inline constexpr std::uint32_t kRpcErrorForUser = 0x21000008;
inline constexpr std::uint32_t kNoStbBlock = 0x2100000b;
inline constexpr std::uint32_t kChannelsNotMultipleOf4 = 0x2100000c;  ///< {1} STB block, {2} device
inline constexpr std::uint32_t kRrrNotInTestEnvironment = 0x2100000d;
inline constexpr std::uint32_t kRrrNotWithSbitJoin = 0x2100000e;
inline constexpr std::uint32_t kRrrNotWithMulticastLeave = 0x2100000f;
inline constexpr std::uint32_t kIgmpNotActive = 0x21000010;       ///< {1} STB block, {2} device
inline constexpr std::uint32_t kCcpuLimitExceeded = 0x21000011;   ///< {1} port, {2} limit, {3} number found
inline constexpr std::uint32_t kText = 0x21000012;                ///< {1} the text
inline constexpr std::uint32_t kTrace = 0x21000013;               ///< {1} the text
inline constexpr std::uint32_t kAddressNotResolved = 0x21000014;  ///< {1} port, {2} device
inline constexpr std::uint32_t kAddressStepError = 0x21000015;    ///< {1} the text
inline constexpr std::uint32_t kStreamsNotFound = 0x21000016;
inline constexpr std::uint32_t kDuplicateAddresses = 0x21000017;  ///< {1} kind of address, {2} port
inline constexpr std::uint32_t kSharedLayer2Interface = 0x21000018;
inline constexpr std::uint32_t kFccWithRrrNotInRealWorld = 0x21000019;
inline constexpr std::uint32_t kNotOnAtmPorts = 0x2100001a;
inline constexpr std::uint32_t kPortLevelShaping = 0x2100001b;

}  // namespace orv::iptv::resource
