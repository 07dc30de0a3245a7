#include "control/StartTestPreconditions.h"

#include "FindByHandle.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/ChannelBlockIndex.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "orv/core/emulated_device.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/ipv4_network_block.h"
#include "orv/core/ipv6_if.h"
#include "orv/core/ipv6_network_block.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/generator.h"
#include "orv/mcastcore/multicast_group.h"

namespace orv::iptv {

namespace {

using common::COrvRunTimeError;

// Functions that yield keep handles, not pointers: any object may be destroyed meanwhile.

/// One of ids::ResolveState. Throws for a block whose hosts have no IP interface.
std::uint8_t GetResolveState(const core::CNetworkInterface* interface) {
    if (dynamic_cast<const core::CIpv4If*>(interface)) return interface->GetU8(ids::Ipv4If::AddrResolveState);
    if (dynamic_cast<const core::CIpv6If*>(interface)) return interface->GetU8(ids::Ipv6If::AddrResolveState);
    throw COrvRunTimeError(" In IptvStartTestCommand:IsResolveNeeded: No valid Uses Interface found");
}

std::vector<std::uint32_t> ListGenerators() {
    std::vector<std::uint32_t> generators;
    const core::CProject* project = core::CProject::GetCurrentActiveInstance();
    if (!project) return generators;
    framework::ScriptableVec ports;
    project->GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
    for (const CScriptable* port : ports) {
        const CScriptable* generator = port->GetObject(l2l3::CGenerator::CLASS_ID(), common::kParentChild);
        if (generator) generators.push_back(generator->GetHandle());
    }
    return generators;
}

bool IsGeneratorInState(std::uint32_t handle, std::uint8_t state) {
    const auto* generator = FindByHandle<l2l3::CGenerator>(handle);
    return generator && generator->GetState() == state;
}

/// Gives a generator that is starting a minute to run.
void WaitForGenerator(std::uint32_t handle) {
    constexpr int kYields = 1200;
    constexpr int kYieldMs = 50;
    if (!IsGeneratorInState(handle, ids::GeneratorState::STARTING)) return;
    for (int i = 0; i < kYields; ++i) {
        if (IsGeneratorInState(handle, ids::GeneratorState::RUNNING)) return;
        if (!FindByHandle<l2l3::CGenerator>(handle)) return;
        framework::CTaskManager::Instance().CtmYield(kYieldMs);
    }
}

bool IsGeneratorRunning() {
    bool is_running = false;
    for (const std::uint32_t handle : ListGenerators()) {
        WaitForGenerator(handle);
        is_running = is_running || IsGeneratorInState(handle, ids::GeneratorState::RUNNING);
    }
    return is_running;
}

[[noreturn]] void ThrowWrongGroup(const mcastcore::CMulticastGroup& group, const char* rule) {
    const std::string text = " In MulticastGroup: " + group.GetName() + rule;
    LogResource(userLogger(), LogLevelType::Error, resource::kAddressStepError, {text});
    throw COrvRunTimeError(text);
}

/// A zapping test tells the four channels of a set-top box apart by the last two bits of their groups, so
/// neighbouring addresses must differ in them.
void CheckAddressStep(const mcastcore::CMulticastGroup& group) {
    const core::CNetworkBlock& block = *group.GetNetworkBlock();
    if (block.GetAddrIncrement() % 2 == 0)
        ThrowWrongGroup(group, " The address increment should be odd for use in IPTV Channel Zapping Test");
    if (dynamic_cast<const core::CIpv4NetworkBlock*>(&block) &&
        block.GetU8(ids::Ipv4NetworkBlock::PrefixLength) != 32) {
        ThrowWrongGroup(group,
                        " The address prefix length should be 32 for use in IPTV Channel Zapping Test");
    }
    if (dynamic_cast<const core::CIpv6NetworkBlock*>(&block) &&
        block.GetU8(ids::Ipv6NetworkBlock::PrefixLength) != 128) {
        ThrowWrongGroup(group,
                        " The address prefix length should be 128 for use in IPTV Channel Zapping Test");
    }
}

std::string NameBlock(std::uint32_t handle) {
    const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
    if (!block) return "";
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block->GetParent());
    return block->GetName() + (device ? " on " + device->GetName() : "");
}

}  // namespace

void CheckForRunningGenerator() {
    if (IsGeneratorRunning()) return;
    throw COrvRunTimeError(
        " In IptvStartTestCommand: The Environment option is set to Testing Environment but there "
        "are no traffic generators started in the Veltra Labrium application. Using Testing "
        "Environment implies that the traffic is generated using Veltra Labrium. Please set up "
        "traffic and start at least one traffic generator  ");
}

void ThrowNotResolved(std::uint32_t device, std::uint32_t port) {
    const auto log = [](const std::string& first, const std::string& second) {
        LogResource(userLogger(), LogLevelType::Error, resource::kAddressNotResolved, {first, second});
    };
    const auto* hosts = FindByHandle<core::CEmulatedDevice>(device);
    const auto* where = FindByHandle<core::CPort>(port);
    if (hosts && where) {
        log(where->GetName(), hosts->GetName());
        throw COrvRunTimeError(" In IptvStartTestCommand: " + where->GetName() + " : EmulatedDevice: " +
                               hosts->GetName() + ".  You must resolve IP address before starting test.");
    }
    const std::string text = " In IptvStartTestCommand:  You must resolve IP address before starting test.";
    log(text, "");
    throw COrvRunTimeError(text);
}

bool HasIpAddressBeenResolved(const std::vector<std::uint32_t>& stbBlocks, std::uint32_t& device,
                              std::uint32_t& port) {
    constexpr std::size_t kBlocksPerYield = 100;
    std::size_t passed = 0;
    for (const std::uint32_t handle : stbBlocks) {
        const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
        if (!block || block->IsDeleted()) continue;
        if (!block->GetMcastCfg()) return false;
        const std::uint8_t state = GetResolveState(block->GetMcastIf());
        if (state != ids::ResolveState::RESOLVE_DONE && state != ids::ResolveState::RESOLVE_PARTIALLY_DONE) {
            if (const auto* hosts = dynamic_cast<const core::CEmulatedDevice*>(block->GetParent())) {
                device = hosts->GetHandle();
                if (const core::CPort* where = hosts->GetPort()) port = where->GetHandle();
            }
            return false;
        }
        if (++passed % kBlocksPerYield == 0) framework::CTaskManager::Instance().CtmYield(0);
    }
    return true;
}

bool CheckZappingTestRestrictionOnChannels(const std::vector<CIptvStbBlockConfig*>& stbBlocks,
                                           std::uint32_t& stbBlock) {
    for (const CIptvStbBlockConfig* block : stbBlocks) {
        if (!block->GetActive()) continue;
        framework::ScriptableVec ranges;
        block->GetObjects(ranges, ids::IptvViewedChannels::CLASS, ids::relations::StbChannel);
        std::uint32_t channels = 0;  // may wrap: 2^32 is a multiple of 4
        for (const CScriptable* range : ranges) {
            channels += range->GetU32(ids::IptvViewedChannels::ChannelRangeEnd) -
                        range->GetU32(ids::IptvViewedChannels::ChannelRangeStart) + 1;
        }
        if (channels % 4 == 0) continue;
        stbBlock = block->GetHandle();
        return false;
    }
    return true;
}

void ThrowWrongChannelCount(std::uint32_t stbBlock) {
    throw COrvRunTimeError(
        " In IptvStartTestCommand: For Channel Zapping Test, the number of channels viewed by a STB should "
        "be "
        "a multiple of 4. Error in IptvStbBlockConfig: " +
        NameBlock(stbBlock));
}

void CheckIpAddressStepForZapTest(const std::vector<CIptvStbBlockConfig*>& stbBlocks) {
    const ChannelBlockIndex channel_blocks = ChannelBlockIndex::OfProject();
    for (const CIptvStbBlockConfig* block : stbBlocks) {
        if (!block->GetActive()) continue;
        framework::ScriptableVec ranges;
        block->GetObjects(ranges, CIptvViewedChannels::CLASS_ID(), ids::relations::StbChannel);
        for (const CScriptable* object : ranges) {
            const auto* range = dynamic_cast<const CIptvViewedChannels*>(object);
            const CIptvChannelBlock* channel_block =
                range ? range->GetChannelBlockForViewChan(channel_blocks) : nullptr;
            // The index lists only active channel blocks, and those have a group with a network block.
            if (channel_block) CheckAddressStep(*channel_block->GetMulticastGroup());
        }
    }
}

}  // namespace orv::iptv
