#include "device_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "find_objects.h"
#include "orv/core/network_interface.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

namespace {

using core::CNetworkInterface;

constexpr const char* kMissing = "the relation is missing";

/// Tags in front of the IP header. The filters of a port's analyzer have fixed offsets for all set-top boxes,
/// so the tags of all of them must be at the same offsets.
struct Tags {
    std::ptrdiff_t vlans = 0;
    bool pppoe = false;
    const CScriptable* device = nullptr;

    explicit Tags(const CNetworkInterface& top) : device(top.GetParent()) {
        std::vector<CNetworkInterface*> stack;
        top.GetNetworkInterfaceStack(stack);
        const auto count = [&stack](common::ClassId id) {
            return std::count_if(stack.begin(), stack.end(),
                                 [id](const CScriptable* layer) { return layer->IsTypeOf(id); });
        };
        vlans = count(ids::VlanIf::CLASS);
        pppoe = count(ids::PppoeIf::CLASS) > 0;
    }
    bool HasSame(const Tags& other) const { return vlans == other.vlans && pppoe == other.pppoe; }
    std::string ToString() const {
        return fmt::format("{} VLAN tag{} and {}PPPoE", vlans, vlans == 1 ? "" : "s", pppoe ? "" : "no ");
    }
};

class DeviceCheck {
  public:
    void CheckInterfaces(const CScriptable& device) {
        ScriptableVec interfaces, tops;
        device.GetObjects(interfaces, CNetworkInterface::CLASS_ID(), common::kParentChild);
        for (const CScriptable* interface : interfaces) {
            if (const auto* lower = dynamic_cast<const CNetworkInterface*>(interface)->GetLowerInterface())
                IsPartOf(device, *lower, *interface, "StackedOn");
        }
        device.GetObjects(tops, CNetworkInterface::CLASS_ID(), ids::relations::TopLevelIf);
        for (const CScriptable* top : tops) IsPartOf(device, *top, device, "TopLevelIf");
    }

    void CheckBlock(const CScriptable& block) {
        const CScriptable& device = *block.GetParent();
        const CScriptable* port = device.GetObject(ids::Port::CLASS, ids::relations::AffiliationPort);
        if (!port) Add(device, "AffiliationPort", kMissing, "the Port that its hosts are on");
        const CScriptable* protocol =
            block.GetObject(ids::MulticastHostConfig::CLASS, ids::relations::MulticastParam);
        if (!protocol) {
            return Add(block, "MulticastParam", kMissing,
                       "the IgmpHostConfig or MldHostConfig of " + device.Describe());
        }
        if (!IsPartOf(device, *protocol, block, "MulticastParam")) return;
        if (!protocol->GetActive()) return RefuseIdle(*protocol, device, block);
        const CNetworkInterface* top = CheckTop(*protocol, device);
        if (!top || !port || !block.GetActive()) return;
        CheckTags(*port, Tags(*top));
        if (top->GetU8(ids::EmulatedIf::IlMembership) != ids::IlMembership::INCLUDED) {
            Add(*top, "IlMembership", "it takes the set-top boxes of " + block.Describe() + " off their port",
                "INCLUDED; what is to take no part is not Active");
        }
    }

    ObjectProblems Take() { return std::move(problems_); }

  private:
    /// The IP interface of the hosts; null if it is missing or wrong.
    const CNetworkInterface* CheckTop(const CScriptable& protocol, const CScriptable& device) {
        const bool ipv4 = IsIpv4(protocol);
        const std::string expected =
            fmt::format("the {} of {}", ipv4 ? "Ipv4If" : "Ipv6If", device.Describe());
        const auto* top = dynamic_cast<const CNetworkInterface*>(
            protocol.GetObject(CNetworkInterface::CLASS_ID(), ids::relations::UsesIf));
        if (!top) {
            Add(protocol, "UsesIf", kMissing, expected);
        } else if (!top->IsTypeOf(ipv4 ? ids::Ipv4If::CLASS : ids::Ipv6If::CLASS)) {
            Add(protocol, "UsesIf", top->Describe() + " is of the wrong class", expected);
        } else if (IsPartOf(device, *top, protocol, "UsesIf")) {
            return top;
        }
        return nullptr;
    }

    /// A start command requires the protocols of its blocks to be active, even those of inactive blocks.
    void RefuseIdle(const CScriptable& protocol, const CScriptable& device, const CScriptable& block) {
        const CScriptable& idle = protocol.GetBool(ids::Scriptable::LocalActive) ? device : protocol;
        Add(idle, "Active", fmt::format("it is off, but {} needs it", block.Describe()),
            "true, or a StbBlockList without these set-top boxes");
    }

    void CheckTags(const CScriptable& port, const Tags& tags) {
        const auto [first, is_first] = tags_.emplace(&port, tags);
        if (is_first || tags.HasSame(first->second)) return;
        Add(*tags.device, {},
            fmt::format("its set-top boxes have {}, those of {} on the same port {}", tags.ToString(),
                        first->second.device->Describe(), first->second.ToString()),
            "the same tags on all devices with set-top boxes of " + port.Describe());
    }

    bool IsPartOf(const CScriptable& device, const CScriptable& part, const CScriptable& user,
                  const char* key) {
        if (part.GetParent() == &device) return true;
        Add(user, key, fmt::format("{} is part of {}", part.Describe(), part.GetParent()->Describe()),
            "a part of " + device.Describe());
        return false;
    }

    void Add(const CScriptable& object, const char* key, const std::string& text,
             const std::string& expected) {
        problems_.push_back({&object, key ? key : "", text, expected});
    }

    ObjectProblems problems_;
    std::map<const CScriptable*, Tags> tags_;  ///< by port, of the first device
};

}  // namespace

ObjectProblems FindDeviceProblems(const core::CProject& project) {
    DeviceCheck check;
    for (const CScriptable* device : FindActive(project, ids::EmulatedDevice::CLASS))
        check.CheckInterfaces(*device);
    for (const CScriptable* block : FindStbBlocks(project)) check.CheckBlock(*block);
    return check.Take();
}

}  // namespace orv::app
