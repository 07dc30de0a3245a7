// What must hold before a test is started.
#include "IptvErrors.h"
#include "IptvResources.h"
#include "config/IptvViewingProfileConfig.h"
#include "control/FindByHandle.h"
#include "control/IptvStartTestCommand.h"
#include "control/StartTestReports.h"
#include "orv/core/aal5_if.h"
#include "orv/core/emulated_device.h"
#include "orv/core/eth_ii_if.h"
#include "orv/framework/resources.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::CBaseValidationContext;
namespace TestType = ids::TestType;
namespace JoinTrigger = ids::MulticastJoinTrigger;
namespace LeaveTrigger = ids::UnicastLeaveTrigger;

/// Reports an error that names a block and its device. Nothing to say without device.
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
    // Validators and apply go by these from now on.
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

bool CIptvStartTestCommand::CheckZappingTestRestrictionOnChannels(std::uint32_t& stbBlock) const {
    for (const CIptvStbBlockConfig* block : GetStbBlocks()) {
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

bool CIptvStartTestCommand::CheckBlocks(CBaseValidationContext& context) {
    m_link = {};
    std::size_t active_blocks = 0;
    for (const CIptvStbBlockConfig* block : GetStbBlocks()) {
        if (block->GetActive()) ++active_blocks;
        const CScriptable* protocol = block->GetMcastCfg();
        if (!protocol) break;  // an incomplete configuration: the apply says what is missing
        if (!protocol->GetActive()) {
            ReportBlock(context, resource::kIgmpNotActive, *block);
            return false;
        }
        if (m_link.m_bAtmPort && m_link.m_bEthPort) continue;
        if (const core::CNetworkInterface* interface = block->GetMcastIf()) NoteLinkLayers(*interface);
    }
    if (TestKind{GetTypeOfTest()}.HasUnicast() && m_link.m_bAtmPort)
        return RefuseTest(*this, context, resource::kNotOnAtmPorts);
    if (active_blocks == 0) return RefuseTest(*this, context, resource::kNoStbBlock);
    return true;
}

void CIptvStartTestCommand::NoteLinkLayers(const core::CNetworkInterface& top) {
    for (const core::CNetworkInterface* layer = &top; layer; layer = layer->GetLowerInterface()) {
        if (layer->IsTypeOf(core::CAal5If::CLASS_ID())) {
            m_link.m_atmEncapsulation = layer->GetU8(ids::Aal5If::VcEncapsulation);
            m_link.m_bAtmPort = true;
        } else if (layer->IsTypeOf(core::CEthIIIf::CLASS_ID())) {
            m_link.m_bEthPort = true;
        }
    }
}

}  // namespace orv::iptv
