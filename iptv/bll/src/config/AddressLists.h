// Lists of IP addresses, as the ports' messages carry them.
#pragma once

#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/common/addresses.h"

namespace orv::core {
class CIpv4If;
class CIpv4NetworkBlock;
class CIpv6If;
class CIpv6NetworkBlock;
class CNetworkBlock;
}  // namespace orv::core

namespace orv::iptv {

using iptvcd_1_bll::ipAddress_t;

ipAddress_t ToIpAddress(const common::CIpAddress& address);
ipAddress_t ToIpAddress(const common::CIpv6Address& address);

/// Append the addresses of an interface's hosts: its address list, or for each host the first address and the
/// step added as often as there are hosts before it.
void GetSrcList(std::vector<ipAddress_t>& out, core::CIpv4If* intf);
void GetSrcList(std::vector<ipAddress_t>& out, core::CIpv6If* intf);

/// Append, for each start address of the block, its number of addresses from there on, its increment apart.
void FillSrcListUserDefinedSources(std::vector<ipAddress_t>& out, core::CIpv4NetworkBlock* block);
void FillSrcListUserDefinedSources(std::vector<ipAddress_t>& out, core::CIpv6NetworkBlock* block);

/// Makes `out` the addresses of the block; empty for a null block, or for one that is neither IPv4 nor IPv6.
void BlockToVector(core::CNetworkBlock* block, std::vector<ipAddress_t>& out);

}  // namespace orv::iptv
