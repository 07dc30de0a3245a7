// The rule that all STB blocks of a port have the same encapsulation.
#include "ClassRegistration.h"
#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvMsgSetCln.h"
#include "config/ConfigChanges.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/core/pppoe_if.h"
#include "orv/core/vlan_if.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"

namespace orv::iptv {

namespace {

constexpr const char* kOnValidateIptvNetworkInterface = "CIptvMsgSetCln::OnValidateIptvNetworkInterface";

struct Encapsulation {
    int vlans = 0;
    bool pppoe = false;
    const core::CEmulatedDevice* device = nullptr;  ///< whose it is

    bool HasSameLayers(const Encapsulation& other) const {
        return vlans == other.vlans && pppoe == other.pppoe;
    }
};

[[noreturn]] void ThrowDifference(const core::CPort& port, const Encapsulation& found,
                                  const Encapsulation& reference) {
    const std::string text = " Validation Error: Port Name: " + port.GetName() +
                             "All devices under a port that have IptvStbBlockConfig must have same " +
                             "encapsulation (Network Interface stack). " + found.device->GetName() + " and " +
                             reference.device->GetName() + " do not have same encapsulation.";
    LogText(devLogger(), LogLevelType::Error, text);
    throw common::COrvRunTimeError(text, true);
}

void CheckPort(const core::CPort& port) {
    std::vector<CIptvStbBlockConfig*> blocks;
    CIptvStbBlockConfig::FindObjects(port.GetHandle(), blocks);
    Encapsulation reference;
    for (CIptvStbBlockConfig* block : blocks) {
        if (!block->GetActive() || block->IsDeleted()) continue;
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block->GetParent());
        if (!device) {
            ThrowLookupFailure({"EmulatedDevice", "EmulatedDeviceIterator", kOnValidateIptvNetworkInterface},
                               "Device on Port " + port.GetMessenger().ToMessengerString());
        }
        if (!device->GetActive()) continue;
        Encapsulation found{.device = device};
        CIptvMsgSetCln::CheckVlanAndPppEnable(block, found.vlans, found.pppoe);
        if (!reference.device) {
            reference = found;
        } else if (!found.HasSameLayers(reference)) {
            ThrowDifference(port, found, reference);
        }
    }
}

}  // namespace

void CIptvMsgSetCln::CheckVlanAndPppEnable(CIptvStbBlockConfig* block, int& vlanCount, bool& pppEnabled) {
    constexpr const char* kCheck = "CIptvMsgSetCln::CheckVlanAndPppEnable";
    Trace([block] {
        return " In CIptvMsgSetCln::CheckVlanAndPppEnable Checking vlan and ppp for " + block->GetName();
    });
    const CScriptable* protocol = block->GetMcastCfg();
    if (!protocol) {
        ThrowLookupFailure({"CMulticastHostConfig", "IptvStbBlockCOnfig", kCheck},
                           "MulticastHostConfig from " + block->GetName());
    }
    const core::CNetworkInterface* interface = block->GetMcastIf();
    if (!interface) {
        ThrowLookupFailure({"CNetworkInterface", "MulticastHostConfig", kCheck},
                           "Network Interface from " + protocol->GetName());
    }
    std::vector<core::CNetworkInterface*> stack;
    interface->GetNetworkInterfaceStack(stack);
    for (const core::CNetworkInterface* layer : stack) {
        if (layer->IsTypeOf(core::CVlanIf::CLASS_ID())) ++vlanCount;
        if (layer->IsTypeOf(core::CPppoeIf::CLASS_ID())) pppEnabled = true;
    }
}

namespace {

void CheckPorts(framework::ValidationContext& ctx, const ConfigChanges& changes) {
    std::vector<std::uint32_t> ports;
    CIptvStbBlockConfig::FindObjectHandles(ports);
    for (const std::uint32_t handle : ports) {
        if (!changes.Concern(handle)) continue;
        auto* port = FindByHandle<core::CPort>(handle);
        if (!port)
            ThrowLookupFailure({"Port", "ValidationContext", kOnValidateIptvNetworkInterface}, "Port. ");
        if (port->IsDeleted()) continue;
        const framework::ReportedObject about(ctx, *port);
        Trace([port] { return "Validating the network interfaces on port " + port->GetName(); });
        CheckPort(*port);
    }
}

}  // namespace

void CIptvMsgSetCln::OnValidateIptvNetworkInterface(framework::ValidationContext& ctx) {
    static RepeatedCheck check;
    check.Run(ctx, [&](const ConfigChanges& changes) { CheckPorts(ctx, changes); });
}

IPTV_REGISTER_VALIDATOR(CIptvMsgSetCln, OnValidateIptvNetworkInterface, ids::Project::CLASS);

}  // namespace orv::iptv
