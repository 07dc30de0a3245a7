// Conditions that the system must meet when a test starts.
#pragma once

#include <cstdint>
#include <vector>

namespace orv::iptv {

class CIptvStbBlockConfig;

/// False, with the handles of device and port when they are known, for a block whose address is not resolved.
/// Yields from time to time. Blocks that are destroyed meanwhile are left out; one without an IP interface
/// throws COrvRunTimeError.
bool HasIpAddressBeenResolved(const std::vector<std::uint32_t>& stbBlocks, std::uint32_t& device,
                              std::uint32_t& port);
/// Throws COrvRunTimeError, which names device and port when they are known.
[[noreturn]] void ThrowNotResolved(std::uint32_t device, std::uint32_t port);

/// Throws COrvRunTimeError when no generator of the project runs. Waits for one that is starting.
void CheckForRunningGenerator();

/// False, with its handle, for an active block whose STBs view a number of channels that is not a multiple of
/// 4.
bool CheckZappingTestRestrictionOnChannels(const std::vector<CIptvStbBlockConfig*>& stbBlocks,
                                           std::uint32_t& stbBlock);
/// Throws COrvRunTimeError, which names the block.
[[noreturn]] void ThrowWrongChannelCount(std::uint32_t stbBlock);
/// Throws COrvRunTimeError when a group of the viewed channels cannot be told apart by its last two bits.
void CheckIpAddressStepForZapTest(const std::vector<CIptvStbBlockConfig*>& stbBlocks);

}  // namespace orv::iptv
