#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

using common::CIpAddress;
using common::CIpv6Address;

framework::ClassId CNetworkBlock::CLASS_ID() {
    return ids::NetworkBlock::CLASS;
}
std::uint32_t CNetworkBlock::GetNetworkCount() const {
    return GetU32(ids::NetworkBlock::NetworkCount);
}
void CNetworkBlock::SetNetworkCount(std::uint32_t count) {
    Set(ids::NetworkBlock::NetworkCount, count);
}
std::uint32_t CNetworkBlock::GetAddrIncrement() const {
    return GetU32(ids::NetworkBlock::AddrIncrement);
}
void CNetworkBlock::SetAddrIncrement(std::uint32_t increment) {
    Set(ids::NetworkBlock::AddrIncrement, increment);
}

framework::ClassId CIpv4NetworkBlock::CLASS_ID() {
    return ids::Ipv4NetworkBlock::CLASS;
}
const std::vector<CIpAddress>& CIpv4NetworkBlock::GetStartIpList() const {
    return GetCollection<CIpAddress>(ids::Ipv4NetworkBlock::StartIpList);
}
void CIpv4NetworkBlock::SetStartIpList(std::vector<CIpAddress> addresses) {
    SetCollection(ids::Ipv4NetworkBlock::StartIpList, std::move(addresses));
}
CIpAddress CIpv4NetworkBlock::GetNativeIncrementValue() const {
    return CIpAddress(GetAddrIncrement());
}
std::uint64_t CIpv4NetworkBlock::GetEndpointCount() const {
    return GetStartIpList().size() * std::uint64_t{GetNetworkCount()};
}

framework::ClassId CIpv6NetworkBlock::CLASS_ID() {
    return ids::Ipv6NetworkBlock::CLASS;
}
const std::vector<CIpv6Address>& CIpv6NetworkBlock::GetStartIpList() const {
    return GetCollection<CIpv6Address>(ids::Ipv6NetworkBlock::StartIpList);
}
void CIpv6NetworkBlock::SetStartIpList(std::vector<CIpv6Address> addresses) {
    SetCollection(ids::Ipv6NetworkBlock::StartIpList, std::move(addresses));
}
CIpv6Address CIpv6NetworkBlock::GetNativeIncrementValue() const {
    return CIpv6Address::FromLow32(GetAddrIncrement());
}
std::uint64_t CIpv6NetworkBlock::GetEndpointCount() const {
    return GetStartIpList().size() * std::uint64_t{GetNetworkCount()};
}

ORV_REGISTER_CLASS(CIpv4NetworkBlock);
ORV_REGISTER_CLASS(CIpv6NetworkBlock);

}  // namespace orv::core
