#include "host_values.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv6_if.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

using common::CIpAddress;
using common::CIpv6Address;

framework::ClassId CIpv4If::CLASS_ID() {
    return ids::Ipv4If::CLASS;
}

const std::vector<CIpAddress>& CIpv4If::GetAddrList() const {
    return GetCollection<CIpAddress>(ids::Ipv4If::AddrList);
}

void CIpv4If::TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) {
    using namespace ids::Ipv4If;
    Set(Address, ValueOfHost(range.GetIp(Address), range.GetIp(AddrStep),
                             range.GetCollection<CIpAddress>(AddrList), range.GetU32(AddrRepeatCount), host));
    Set(Gateway, AddSteps(range.GetIp(Gateway), range.GetIp(GatewayStep), host));
    SetCollection<CIpAddress>(AddrList, {});
}

framework::ClassId CIpv6If::CLASS_ID() {
    return ids::Ipv6If::CLASS;
}

const std::vector<CIpv6Address>& CIpv6If::GetAddrList() const {
    return GetCollection<CIpv6Address>(ids::Ipv6If::AddrList);
}

void CIpv6If::TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) {
    using namespace ids::Ipv6If;
    Set(Address,
        ValueOfHost(range.GetIpv6(Address), range.GetIpv6(AddrStep),
                    range.GetCollection<CIpv6Address>(AddrList), range.GetU32(AddrRepeatCount), host));
    Set(Gateway, AddSteps(range.GetIpv6(Gateway), range.GetIpv6(GatewayStep), host));
    SetCollection<CIpv6Address>(AddrList, {});
}

ORV_REGISTER_CLASS(CIpv4If);
ORV_REGISTER_CLASS(CIpv6If);

}  // namespace orv::core
