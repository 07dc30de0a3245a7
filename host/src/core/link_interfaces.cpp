// The layers below IP.
#include "host_values.h"
#include "orv/core/aal5_if.h"
#include "orv/core/eth_ii_if.h"
#include "orv/core/ppp_if.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/vlan_if.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/core_ids.h"

namespace orv::core {

using common::CMacAddress;
using U16List = std::vector<std::uint16_t>;

framework::ClassId CEthIIIf::CLASS_ID() {
    return ids::EthIIIf::CLASS;
}

void CEthIIIf::TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) {
    using namespace ids::EthIIIf;
    Set(SourceMac,
        ValueOfHost(range.GetT<CMacAddress>(SourceMac), range.GetT<CMacAddress>(SrcMacStep),
                    range.GetCollection<CMacAddress>(SrcMacList), range.GetU32(SrcMacRepeatCount), host));
    SetCollection<CMacAddress>(SrcMacList, {});
}

framework::ClassId CVlanIf::CLASS_ID() {
    return ids::VlanIf::CLASS;
}

void CVlanIf::TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) {
    using namespace ids::VlanIf;
    const std::uint16_t id =
        ValueOfHost(range.GetU16(VlanId), range.GetS16(IdStep), range.GetCollection<std::uint16_t>(IdList),
                    range.GetU32(IdRepeatCount), host);
    // A VLAN id has twelve bits (IEEE 802.1Q); stepping wraps within them.
    Set(VlanId, static_cast<std::uint16_t>(id & 0xfff));
    SetCollection<std::uint16_t>(IdList, {});
}

framework::ClassId CPppIf::CLASS_ID() {
    return ids::PppIf::CLASS;
}

framework::ClassId CPppoeIf::CLASS_ID() {
    return ids::PppoeIf::CLASS;
}

U16List CPppoeIf::GetSessionIdList() const {
    using namespace ids::PppoeIf;
    const U16List& list = GetCollection<std::uint16_t>(SessionIdList);
    const std::uint16_t first = GetU16(SessionId);
    const std::int16_t step = GetS16(SessionIdStep);
    const std::uint32_t repeat = GetU32(SessionIdRepeatCount);
    U16List ids_of_hosts(GetInstanceCount());
    for (std::uint32_t host = 0; host < ids_of_hosts.size(); ++host) {
        ids_of_hosts[host] = ValueOfHost(first, step, list, repeat, host);
    }
    return ids_of_hosts;
}

void CPppoeIf::TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) {
    using namespace ids::PppoeIf;
    Set(SessionId, ValueOfHost(range.GetU16(SessionId), range.GetS16(SessionIdStep),
                               range.GetCollection<std::uint16_t>(SessionIdList),
                               range.GetU32(SessionIdRepeatCount), host));
    SetCollection<std::uint16_t>(SessionIdList, {});
}

framework::ClassId CAal5If::CLASS_ID() {
    return ids::Aal5If::CLASS;
}

void CAal5If::TakeValuesOfHost(const CNetworkInterface& range, std::uint32_t host) {
    using namespace ids::Aal5If;
    const std::uint16_t vpi = ValueOfHost(range.GetU16(Vpi), range.GetS16(VpiStep),
                                          range.GetCollection<std::uint16_t>(VpiList), 1, host);
    // A virtual path identifier has twelve bits at the most (ITU-T I.361).
    Set(Vpi, static_cast<std::uint16_t>(vpi & 0xfff));
    Set(Vci, ValueOfHost(range.GetU16(Vci), range.GetS16(VciStep),
                         range.GetCollection<std::uint16_t>(VciList), 1, host));
    SetCollection<std::uint16_t>(VpiList, {});
    SetCollection<std::uint16_t>(VciList, {});
}

ORV_REGISTER_CLASS(CEthIIIf);
ORV_REGISTER_CLASS(CVlanIf);
ORV_REGISTER_CLASS(CPppIf);
ORV_REGISTER_CLASS(CPppoeIf);
ORV_REGISTER_CLASS(CAal5If);

}  // namespace orv::core
