// Creates the stream blocks of a wizard source.
#include "FindByHandle.h"
#include "IptvLog.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_block.h"
#include "orv/core/port.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/generator.h"
#include "orv/l2l3/stream_block.h"
#include "orv/mcastcore/multicast_group.h"
#include "wizard/FrameLayout.h"
#include "wizard/IptvWizardMcastSources.h"
#include "wizard/WizardObjects.h"

namespace orv::iptv {

namespace {

constexpr const char* kSetupStreamBlock = "CIptvWizardMcastSources::SetupStreamBlock";

/// Each stream block has its own load, so the generator must not divide the port's load among them.
void SetupGenerator(const core::CPort& port) {
    const CScriptable* generator = port.GetObject(l2l3::CGenerator::CLASS_ID(), common::kParentChild);
    if (!generator) {
        ThrowLookupFailure({"Generator", "Port", kSetupStreamBlock},
                           "Generator associated with " + port.GetName());
    }
    CScriptable* config = generator->GetObject(ids::GeneratorConfig::CLASS, common::kParentChild);
    if (!config) {
        ThrowLookupFailure({"GeneratorConfig", "Generator", kSetupStreamBlock},
                           "GeneratorConfig associated with " + generator->GetName());
    }
    config->Set(ids::GeneratorConfig::SchedulingMode, std::uint8_t{ids::SchedulingMode::RATE_BASED});
}

std::string FailedRelation(const char* target) {
    return std::string("Failed adding relation between StreamBlock and ") + target + " in " +
           kSetupStreamBlock;
}

}  // namespace

void CIptvWizardMcastSources::SetupStreamBlock(const mcastcore::CMulticastGroup& group, bool ipv4,
                                               std::vector<std::uint32_t>& streamBlockHandles) {
    auto* port = dynamic_cast<core::CPort*>(GetParent());
    if (!port) {
        ThrowLookupFailure({"Port", "IptvWizardMcastSources", kSetupStreamBlock},
                           "Port associated with " + GetName());
    }
    for (const std::uint32_t handle : GetTrafHostList()) {
        const auto* device = FindByHandle<core::CEmulatedDevice>(handle);
        if (!device || device->IsDeleted()) {
            ThrowLookupFailure({"EmulatedDevice", "TrafHostList", kSetupStreamBlock},
                               "EmulatedDevice associated with " + GetName());
        }
        MakeStreamBlock(*port, *device, group, ipv4, streamBlockHandles);
    }
    SetupGenerator(*port);
}

void CIptvWizardMcastSources::MakeStreamBlock(core::CPort& port, const core::CEmulatedDevice& device,
                                              const mcastcore::CMulticastGroup& group, bool ipv4,
                                              std::vector<std::uint32_t>& streamBlockHandles) {
    auto& block = MakeWizardObject<l2l3::CStreamBlock>(l2l3::CStreamBlock::CLASS_ID(), &port, "StreamBlock",
                                                       kSetupStreamBlock);
    streamBlockHandles.push_back(block.GetHandle());
    block.Set(ids::StreamBlock::Load, GetDouble(ids::IptvWizardMcastSources::ChannelRate));
    block.Set(ids::StreamBlock::LoadUnit, std::uint8_t{ids::LoadUnit::MEGABITS_PER_SECOND});

    const core::CNetworkInterface* source = FindTopInterface(device, ipv4);
    if (!source) {
        ThrowLookupFailure({"NetworkInterface", "EmulatedDevice", kSetupStreamBlock},
                           "NetworkInterface associated with " + device.GetName());
    }
    AddWizardRelation(block, "SrcBinding", source->GetHandle(),
                      [&] { return FailedRelation("NetworkInterface"); });
    AddWizardRelation(block, "DstBinding", group.GetNetworkBlock()->GetHandle(),
                      [&] { return FailedRelation("NetworkBlock"); });
    if (!source->IsTypeOf(ipv4 ? ids::Ipv4If::CLASS : ids::Ipv6If::CLASS)) {
        LogText(userLogger(), LogLevelType::Error, [&] {
            return "IP version for the source and destination bindings for stream block are not the same. On "
                   "Port " +
                   port.GetName();
        });
    }
    block.Set(ids::StreamBlock::FrameConfig, MakeFrameLayout(*source));
}

}  // namespace orv::iptv
