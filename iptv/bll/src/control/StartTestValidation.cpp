// What must hold before a test is started, and in which order it is checked.
#include <algorithm>

#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvResources.h"
#include "config/IptvStbBlockConfig.h"
#include "control/DuplicateHosts.h"
#include "control/IptvStartTestCommand.h"
#include "control/StartTestPreconditions.h"
#include "control/StartTestReports.h"
#include "control/StbMap.h"
#include "control/StreamLimit.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/framework/resources.h"
#include "orv/ids/iptv_ids.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::CBaseValidationContext;
namespace TestType = ids::TestType;
namespace JoinTrigger = ids::MulticastJoinTrigger;
namespace LeaveTrigger = ids::UnicastLeaveTrigger;

/// Reports an error that names a block and its device. A block without device is not reported.
void ReportBlock(CBaseValidationContext& context, std::uint32_t id, const CIptvStbBlockConfig& block,
                 const std::source_location& where = std::source_location::current()) {
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    if (!device) return;
    ReportError(context,
                (framework::ResourceFormatter(id) << block.GetName() << device->GetName()).ToString(), where);
}

}  // namespace

bool CIptvStartTestCommand::Validate(CBaseValidationContext& context) {
    if (!CheckTestType(context)) return false;
    const std::uint8_t type = GetTypeOfTest();
    // Validators and the apply use these rules from now on.
    RunningTest::SetRules(TestRules::Of({type}, GetUnicastLeaveTrigger()));

    if (type == TestType::ZAPPING && !CheckChannelCounts(context)) return false;
    if (!CheckBlocks(context)) return false;
    if (!CheckForDuplicateAddresses(context)) return false;
    if (type == TestType::ZAPPING && CheckForDuplicateInterfaces(context))
        WarnOfTest(*this, context, resource::kSharedLayer2Interface);
    return true;
}

bool CIptvStartTestCommand::CheckTestType(CBaseValidationContext& context) {
    const bool in_test_environment = GetTestEnv() == ids::TestEnv::TESTING;
    const bool joins_on_sbit = GetMulticastJoinTrigger() == JoinTrigger::SBIT_AND_DELAY;
    const bool leaves_on_multicast = GetUnicastLeaveTrigger() == LeaveTrigger::MULTICAST_PKT_AND_DELAY;
    switch (GetTypeOfTest()) {
        case TestType::RELIABLE_RETRANSMISSION:
            if (in_test_environment) return RefuseTest(*this, context, resource::kRrrNotInTestEnvironment);
            if (joins_on_sbit) return RefuseTest(*this, context, resource::kRrrNotWithSbitJoin);
            if (leaves_on_multicast) return RefuseTest(*this, context, resource::kRrrNotWithMulticastLeave);
            return true;
        case TestType::FCC_WITH_RRR:
            if (!in_test_environment) return RefuseTest(*this, context, resource::kFccWithRrrNotInRealWorld);
            if (!joins_on_sbit && !leaves_on_multicast) return true;
            ReportError(context,
                        "UnicastLeaveTrigger and MulticastJoinTrigger must be UNICAST_JOIN_AND_DELAY when "
                        "using FCC_WITH_RRR test type.");
            return false;
        default:
            return true;
    }
}

bool CIptvStartTestCommand::CheckChannelCounts(CBaseValidationContext& context) const {
    std::uint32_t handle = 0;
    if (CheckZappingTestRestrictionOnChannels(handle)) return true;
    const auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
    if (block) ReportBlock(context, resource::kChannelsNotMultipleOf4, *block);
    return false;
}

bool CIptvStartTestCommand::CheckBlocks(CBaseValidationContext& context) {
    m_link = {};
    std::size_t active_blocks = 0;
    for (const CIptvStbBlockConfig* block : ListStbBlocks()) {
        if (block->GetActive()) ++active_blocks;
        const CScriptable* protocol = block->GetMcastCfg();
        if (!protocol) break;  // an incomplete configuration: the apply says what is missing
        if (!protocol->GetActive()) {
            ReportBlock(context, resource::kIgmpNotActive, *block);
            return false;
        }
        if (m_link.m_bAtmPort && m_link.m_bEthPort) continue;
        if (const core::CNetworkInterface* interface = block->GetMcastIf()) m_link.Add(*interface);
    }
    if (TestKind{GetTypeOfTest()}.HasUnicast() && m_link.m_bAtmPort)
        return RefuseTest(*this, context, resource::kNotOnAtmPorts);
    if (active_blocks == 0) return RefuseTest(*this, context, resource::kNoStbBlock);
    return true;
}

std::vector<CIptvStbBlockConfig*> CIptvStartTestCommand::ListStbBlocks() const {
    framework::ScriptableVec objects;
    ProcessInputHandleVec(CIptvStbBlockConfig::CLASS_ID(), GetStbBlockList(), objects,
                          INPUT_SKIP_INACTIVE_ROOTS);
    std::vector<CIptvStbBlockConfig*> blocks;
    blocks.reserve(objects.size());
    for (CScriptable* object : objects) {
        auto* block = dynamic_cast<CIptvStbBlockConfig*>(object);
        if (!block) {
            ThrowLookupFailure(
                {"IptvStbBlockConfig", "Block Handle List", "CIptvStartTestCommand::GetStbBlocks"},
                "IptvStbBlockConfig.");
        }
        // A block that is named itself is found even when the next apply will destroy it.
        if (!block->IsDeleted()) blocks.push_back(block);
    }
    return blocks;
}

std::vector<std::uint32_t> CIptvStartTestCommand::ListStbBlockHandles() const {
    std::vector<std::uint32_t> handles;
    for (const CIptvStbBlockConfig* block : ListStbBlocks()) handles.push_back(block->GetHandle());
    return handles;
}

StbPortMap CIptvStartTestCommand::SortStbBlocksByPort() const {
    StbPortMap map;
    CreateStbMap(map, ListStbBlockHandles(), false);
    return map;
}

bool CIptvStartTestCommand::CheckZappingTestRestrictionOnChannels(std::uint32_t& stbBlock) const {
    return iptv::CheckZappingTestRestrictionOnChannels(ListStbBlocks(), stbBlock);
}

bool CIptvStartTestCommand::CheckForDuplicateAddresses(CBaseValidationContext& context) {
    for (const auto& [handle, blocks] : SortStbBlocksByPort()) {
        const auto* port = FindByHandle<core::CPort>(handle);
        if (!port) continue;
        if (IsJoinRateShaped(*port)) WarnOfTest(*this, context, resource::kPortLevelShaping);
        const char* kind = FindDuplicateAddress(blocks);
        if (!kind) continue;
        const std::string text =
            (framework::ResourceFormatter(resource::kDuplicateAddresses) << kind << port->GetName())
                .ToString();
        ReportError(context, text);
        return false;
    }
    return true;
}

bool CIptvStartTestCommand::CheckForDuplicateInterfaces(CBaseValidationContext&) const {
    const StbPortMap ports = SortStbBlocksByPort();
    return std::any_of(ports.begin(), ports.end(),
                       [](const auto& port) { return ShareLayer2Interface(port.second); });
}

void CIptvStartTestCommand::CheckPreconditions() const {
    if (GetStbBlockList().empty()) {
        throw common::COrvRunTimeError(
            " In IptvStartTestCommand: At least one block of STBs should be associated with the "
            "IptvStartTestCommand.");
    }
    std::uint32_t device = 0;
    std::uint32_t port = 0;
    if (!HasIpAddressBeenResolved(device, port)) ThrowNotResolved(device, port);
    if (GetTestEnv() == ids::TestEnv::TESTING) CheckForRunningGenerator();
    if (GetTypeOfTest() != TestType::ZAPPING) return;
    std::uint32_t block = 0;
    if (!CheckZappingTestRestrictionOnChannels(block)) ThrowWrongChannelCount(block);
    CheckIpAddressStepForZapTest();
}

bool CIptvStartTestCommand::HasIpAddressBeenResolved(std::uint32_t& device, std::uint32_t& port) const {
    return iptv::HasIpAddressBeenResolved(ListStbBlockHandles(), device, port);
}

void CIptvStartTestCommand::CheckIpAddressStepForZapTest() const {
    iptv::CheckIpAddressStepForZapTest(ListStbBlocks());
}

void CIptvStartTestCommand::CheckForCardLimitOnStreams(const std::vector<std::uint32_t>& stbBlocks,
                                                       std::uint32_t port) const {
    iptv::CheckForCardLimitOnStreams(stbBlocks, port, GetTypeOfTest());
}

std::int32_t CIptvStartTestCommand::GetCardLimitOnStreams(std::uint32_t port) {
    return iptv::GetCardLimitOnStreams(port);
}

bool CIptvStartTestCommand::DeviceIsPppoxClient(const core::CEmulatedDevice* device) {
    return iptv::DeviceIsPppoxClient(device);
}

bool CIptvStartTestCommand::DeviceIsDhcpClient(const core::CEmulatedDevice* device) {
    return iptv::DeviceIsDhcpClient(device);
}

std::string CIptvStartTestCommand::GetVlanIds(const std::vector<core::CNetworkInterface*>& interfaces) {
    return iptv::GetVlanIds(interfaces);
}

void CIptvStartTestCommand::CreateStbMap(StbPortMap& map, const std::vector<std::uint32_t>& stbBlocks,
                                         bool onlineOnly) {
    iptv::CreateStbMap(map, stbBlocks, onlineOnly);
}

}  // namespace orv::iptv
