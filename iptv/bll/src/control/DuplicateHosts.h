// Hosts of a port that cannot be distinguished.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv::core {
class CEmulatedDevice;
class CNetworkInterface;
class CPort;
}  // namespace orv::core

namespace orv::iptv {

/// The port delays joins and leaves to keep to a rate.
bool IsJoinRateShaped(const core::CPort& port);

/// The kind of address ("IPv4", "IPv6 Link Local") that two hosts behind the same VLANs have in common, or
/// null. `stbBlocks`: handles of the blocks of one port. PPPoX and DHCP clients are left out: they get their
/// addresses later. So are global IPv6 addresses.
const char* FindDuplicateAddress(const std::vector<std::uint32_t>& stbBlocks);

/// True when two hosts are behind the same VLANs. `stbBlocks`: handles of the blocks of one port. PPPoX
/// clients, which have sessions of their own, are left out.
bool ShareLayer2Interface(const std::vector<std::uint32_t>& stbBlocks);

/// The VLAN ids of a stack listed from the top, outermost first, each followed by a slash.
std::string GetVlanIds(const std::vector<core::CNetworkInterface*>& interfaces);

bool DeviceIsPppoxClient(const core::CEmulatedDevice* device);
bool DeviceIsDhcpClient(const core::CEmulatedDevice* device);
/// True when a child of the class is active; false for no device.
bool DeviceHasActiveConfig(const core::CEmulatedDevice* device, const std::string& className);

}  // namespace orv::iptv
