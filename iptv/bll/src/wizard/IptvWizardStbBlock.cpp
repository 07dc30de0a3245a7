#include "wizard/IptvWizardStbBlock.h"

#include <algorithm>

#include "ClassRegistration.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/network_interface.h"
#include "orv/framework/notification_service.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "wizard/IptvWizardManager.h"
#include "wizard/IptvWizardTestConfig.h"
#include "wizard/WizardObjects.h"

namespace orv::iptv {

namespace WizardStbBlockId = ids::IptvWizardStbBlock;

namespace {

bool HasChild(const CScriptable& parent, ClassId id, std::uint32_t handle) {
    framework::ScriptableVec children;
    parent.GetObjects(children, id, common::kParentChild);
    return std::any_of(children.begin(), children.end(), [handle](const CScriptable* child) {
        return child->GetHandle() == handle && !child->IsDeleted();
    });
}

}  // namespace

core::CEmulatedDevice& CIptvWizardStbBlock::GetDevice(const char* operation) const {
    if (auto* device = dynamic_cast<core::CEmulatedDevice*>(GetParent())) return *device;
    ThrowLookupFailure({"EmulatedDevice", "WizardStbBlock", operation},
                       "EmulatedDevice associated with " + GetName());
}

void CIptvWizardStbBlock::ExpandWizStbBlock(std::uint32_t& stbBlockHandle, std::uint32_t& hostConfigHandle,
                                            const ChannelBlockIndex& channelBlocks) {
    constexpr const char* kOperation = "CIptvWizardStbBlock::ExpandWizStbBlock";
    core::CEmulatedDevice& device = GetDevice(kOperation);
    SetupMcastHostConfig(hostConfigHandle);
    auto& block = MakeWizardObject<CIptvStbBlockConfig>(CIptvStbBlockConfig::CLASS_ID(), &device,
                                                        "IptvStbBlockConfig", kOperation);
    stbBlockHandle = block.GetHandle();
    // The device may have other configurations, from users or other blocks; only this one has the requested
    // version.
    if (!HasChild(device, igmpmld::CMulticastHostConfig::CLASS_ID(), hostConfigHandle)) {
        ThrowLookupFailure({"MulticastHostConfig", "EmulatedDevice", kOperation},
                           "MulticastHost associated with " + device.GetName());
    }
    CIptvWizardManager::SetupRelations(stbBlockHandle, "MulticastParam", true, hostConfigHandle, false);
    SetupViewedChannels(block, channelBlocks);
    SetupViewingProfile(block);
    static constexpr CopiedProperty kCopied[] = {
        {WizardStbBlockId::SaveTimeStamps, ids::IptvStbBlockConfig::SaveTimeStamps},
        {WizardStbBlockId::InterClientStartDelayStep, ids::IptvStbBlockConfig::InterClientStartDelayStep},
    };
    CopyProperties(*this, block, kCopied);
}

igmpmld::CMulticastHostConfig& CIptvWizardStbBlock::SetupMcastHostConfig(std::uint32_t& hostConfigHandle) {
    constexpr const char* kOperation = "CIptvWizardStbBlock::SetupMcastHostConfig";
    constexpr const char* kMaker = "CIptvWizardStbBlock::SetupMcasthostConfig";
    core::CEmulatedDevice& device = GetDevice(kOperation);
    const bool ipv4 = CIptvWizardManager::GetWizTestConfig().IsIpv4();
    const core::CNetworkInterface* interface = FindTopInterface(device, ipv4);
    if (!interface) {
        ThrowLookupFailure({"NetworkInterface", "EmulatedDevice", kOperation},
                           "NetworkInterface associated with " + device.GetName());
    }
    WarnOfVersions(ipv4, *interface);
    auto& config = MakeWizardObject<igmpmld::CMulticastHostConfig>(
        ipv4 ? igmpmld::CIgmpHostConfig::CLASS_ID() : igmpmld::CMldHostConfig::CLASS_ID(), &device,
        ipv4 ? "MulticastHostConfig" : "MldHostConfig", kMaker);
    hostConfigHandle = config.GetHandle();
    CIptvWizardManager::SetupRelations(hostConfigHandle, "UsesIf", true, interface->GetHandle(), false);
    const std::uint8_t version = GetU8(WizardStbBlockId::IgmpMldVersion);
    if (version <= ids::WizardIgmpMldVersion::MLD_V2) config.SetVersion(version);
    framework::CNotificationService::Instance().RegisterCallback(&config);
    return config;
}

void CIptvWizardStbBlock::WarnOfVersions(bool ipv4, const core::CNetworkInterface& interface) const {
    if (!interface.IsTypeOf(ipv4 ? ids::Ipv4If::CLASS : ids::Ipv6If::CLASS))
        WarnOfIpVersion(
            [&] { return Describe() + " on " + GetParent()->GetName() + " uses " + interface.Describe(); },
            ipv4);
    const std::uint8_t version = GetU8(WizardStbBlockId::IgmpMldVersion);
    const bool of_ipv4 = version <= ids::WizardIgmpMldVersion::IGMP_V3;
    if (version <= ids::WizardIgmpMldVersion::MLD_V2 && of_ipv4 != ipv4)
        WarnOfIpVersion(
            [&] {
                return Describe() + " on " + GetParent()->GetName() + " has the version " +
                       Get("IgmpMldVersion");
            },
            ipv4);
}

void CIptvWizardStbBlock::SetupViewedChannels(const CIptvStbBlockConfig& block,
                                              const ChannelBlockIndex& channelBlocks) {
    constexpr const char* kOperation = "CIptvWizardStbBlock::SetupViewedChannels";
    auto& range = MakeWizardObject<CIptvViewedChannels>(
        CIptvViewedChannels::CLASS_ID(), &GetWizardProject(kOperation), "IptvViewedChannels", kOperation);
    static constexpr CopiedProperty kCopied[] = {
        {WizardStbBlockId::ChannelRangeStart, ids::IptvViewedChannels::ChannelRangeStart},
        {WizardStbBlockId::ChannelRangeStart, ids::IptvViewedChannels::InitialChannelStart},
        {WizardStbBlockId::ChannelRangeEnd, ids::IptvViewedChannels::ChannelRangeEnd},
    };
    CopyProperties(*this, range, kCopied);
    const CIptvChannelBlock* channels = range.GetChannelBlockForViewChan(channelBlocks);
    if (!channels) {
        const std::string text = "A viewed channel was configured with no matching channel block.";
        LogResource(devLogger(), LogLevelType::Error, resource::kPreconditionError, {text});
        throw common::COrvRunTimeError(text, true);
    }
    range.Set(ids::IptvViewedChannels::ChannelBlock, channels->GetHandle());
    CIptvWizardManager::SetupRelations(block.GetHandle(), "StbChannel", true, range.GetHandle(), false);
    framework::CNotificationService::Instance().RegisterCallback(&range);
}

void CIptvWizardStbBlock::SetupViewingProfile(const CIptvStbBlockConfig& block) {
    constexpr const char* kOperation = "CIptvWizardStbBlock::SetupViewingProfileConfig";
    namespace Profile = ids::IptvViewingProfileConfig;
    auto& profile = MakeWizardObject<CIptvViewingProfileConfig>(CIptvViewingProfileConfig::CLASS_ID(),
                                                                &GetWizardProject(kOperation),
                                                                "IptvViewingProfileConfig", kOperation);
    static constexpr CopiedProperty kCopied[] = {
        {WizardStbBlockId::ZapBehavior, Profile::ZapBehavior},
        {WizardStbBlockId::ZapDirection, Profile::ZapDirection},
        {WizardStbBlockId::ZapIntervalType, Profile::ZapIntervalType},
        {WizardStbBlockId::Interval, Profile::Interval},
        {WizardStbBlockId::ChangesBeforeView, Profile::ChangesBeforeView},
        {WizardStbBlockId::ViewDuration, Profile::ViewDuration},
        {WizardStbBlockId::SetTopLeaveJoinDelay, Profile::SetTopLeaveJoinDelay},
        {WizardStbBlockId::JoinLatencyThreshold, Profile::JoinLatencyThreshold},
        {WizardStbBlockId::LeaveLatencyThreshold, Profile::LeaveLatencyThreshold},
    };
    CopyProperties(*this, profile, kCopied);
    CIptvWizardManager::SetupRelations(block.GetHandle(), "IptvProfile", true, profile.GetHandle(), false);
}

IPTV_REGISTER_CLASS(CIptvWizardStbBlock);

}  // namespace orv::iptv
