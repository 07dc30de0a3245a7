#include "control/AnalyzerSetup.h"

#include <memory>

#include "IptvCreation.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/core/port.h"
#include "orv/framework/notification_service.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/analyzer_filter.h"
#include "orv/l2l3/traffic_commands.h"

namespace orv::iptv {

namespace {

using iptvcd_1_bll::IgmpVersion;
using l2l3::CAnalyzer;
using l2l3::CAnalyzer16BitFilter;
using l2l3::CAnalyzer32BitFilter;
namespace Location = ids::FilterLocation;

constexpr std::uint32_t kVlanTagLength = 4;    // bytes
constexpr std::uint16_t kVlanIdMask = 0x0fff;  // of the tag control field
constexpr std::uint32_t kSbitOffset = 24;      // bytes from the UDP header
constexpr std::uint16_t kSbitMask = 0x0008;
constexpr const char* kFilter = "Analyzer16BitFilter in CIptvStartTestCommand::DoRun";

void Register(CScriptable& object) {
    framework::CNotificationService::Instance().RegisterCallback(&object);
}

/// `what` names the filter in the log when it cannot be created.
template <class Filter>
Filter& CreateFilter(CAnalyzer& analyzer, const char* what,
                     const std::source_location& where = std::source_location::current()) {
    auto* filter =
        dynamic_cast<Filter*>(framework::CScriptableCreator().Create(Filter::CLASS_ID(), &analyzer));
    if (filter) return *filter;
    LogCreationFailure(what, where);
    throw common::COrvRunTimeError(iptvAutomationMemErrMsg);
}

void Place(CAnalyzer16BitFilter& filter, std::uint8_t location, std::uint32_t offset) {
    filter.SetLocationType(location);
    filter.SetOffset(offset);
}

void Add16BitFilter(CAnalyzer& analyzer, const char* what, const char* name, std::uint8_t location,
                    std::uint32_t offset, std::uint16_t mask) {
    auto& filter = CreateFilter<CAnalyzer16BitFilter>(analyzer, what);
    Place(filter, location, offset);
    filter.SetMask(mask);
    filter.SetFilterName(name);
    Register(filter);
}

void MarkFiltersDeleted(const CAnalyzer& analyzer, common::ClassId id) {
    framework::ScriptableVec filters;
    analyzer.GetObjects(filters, id, common::kParentChild);
    for (CScriptable* filter : filters) filter->MarkDelete(true, true);
}

void StopAnalyzer(const CAnalyzer& analyzer) {
    const auto stop = CreateCommand<l2l3::CAnalyzerStopCommand>("AnalyzerStopCommand");
    stop->SetAnalyzerList({analyzer.GetHandle()});
    stop->Execute(false);
}

}  // namespace

CAnalyzer& AnalyzerSetup::init_analyzer(core::CPort& port, const CIptvStbBlockConfig& stbBlock) const {
    Trace([&] { return "Setting up analyzer for " + port.GetName(); });
    auto* analyzer = dynamic_cast<CAnalyzer*>(port.GetObject(CAnalyzer::CLASS_ID(), common::kParentChild));
    if (!analyzer) {
        ThrowLookupFailure({"Analyzer", "Port", "CIptvStartTestCommand::init_analyzer"},
                           "Analyzer associated with port " + port.GetMessenger().ToMessengerString());
    }
    StopAnalyzer(*analyzer);
    analyzer->ClearAllStats();
    clear_comparators(*analyzer);
    init_comparators(*analyzer, stbBlock);
    Register(*analyzer);
    return *analyzer;
}

void AnalyzerSetup::clear_comparators(const CAnalyzer& analyzer) {
    Trace([&] { return "Clear Comparators for analyzer " + analyzer.GetName(); });
    MarkFiltersDeleted(analyzer, CAnalyzer16BitFilter::CLASS_ID());
    MarkFiltersDeleted(analyzer, CAnalyzer32BitFilter::CLASS_ID());
}

void AnalyzerSetup::init_comparators(CAnalyzer& analyzer, const CIptvStbBlockConfig& stbBlock) const {
    if (m_link.m_bAtmPort) {
        Add16BitFilter(analyzer, "Analyzer16BitFilter VPI in CIptvStartTestCommand::DoRun", "ATM VPI",
                       Location::START_OF_FRAME, 0, 0x0fff);
        Add16BitFilter(analyzer, "Analyzer16BitFilter VCI in CIptvStartTestCommand::DoRun", "ATM VCI",
                       Location::START_OF_FRAME, 2, 0xfff0);
    }
    if (!IsStreamIdMode()) {
        CAnalyzer16BitFilter* upper = nullptr;
        CAnalyzer16BitFilter* lower = nullptr;
        createIpFilters(analyzer, stbBlock, upper, lower);
        Register(*upper);
        Register(*lower);
    }
    // The ATM filters and those of the group leave no room for more.
    if (!m_link.m_bAtmPort || IsStreamIdMode()) {
        AddVlanFilter(analyzer);
        AddFourthFilter(analyzer);
    }
    CAnalyzer32BitFilter* filter = nullptr;
    create32bitFilters(analyzer, filter);
    Register(*filter);
}

void AnalyzerSetup::AddVlanFilter(CAnalyzer& analyzer) const {
    if (m_stack.m_vlanCount == 0) return;
    const bool has_other_tag = m_stack.m_vlanCount != 1;
    // With the S-bit or the PPPoE session beside it there is room for one of the tags only.
    const bool takes_inner = (IsSbitMode() || m_stack.m_bPppEnable) && has_other_tag &&
                             m_settings.vlan_sub_filter == ids::VlanSubFilter::INNER;
    const std::uint32_t offset = GetLinkLayerOffset() + (takes_inner ? kVlanTagLength : 0);
    const char* name = takes_inner ? "VLAN ID - Inner" : has_other_tag ? "VLAN ID - Outer" : "VLAN ID";
    Add16BitFilter(analyzer, kFilter, name, Location::START_OF_FRAME, offset, kVlanIdMask);
    Trace([&] {
        return " Third 16 bit filter set to Vlan with offset " + std::to_string(offset) +
               (takes_inner ? "" : " and index 0");
    });
}

void AnalyzerSetup::AddFourthFilter(CAnalyzer& analyzer) const {
    if (IsSbitMode()) {
        Add16BitFilter(analyzer, kFilter, "S-bit", Location::START_OF_UDP_HEADER, kSbitOffset, kSbitMask);
        Trace(
            [] { return " Fourth 16 bit filter set for S-bit with offset " + std::to_string(kSbitOffset); });
    } else if (m_stack.m_bPppEnable) {
        // The session id follows the last type field, version, type and code.
        const std::uint32_t offset = GetLinkLayerOffset() + 2 + kVlanTagLength * m_stack.m_vlanCount;
        Add16BitFilter(analyzer, kFilter, "PPPoE Session ID", Location::START_OF_FRAME, offset, 0xffff);
        Trace([&] { return " Fourth 16 bit filter set for PPP with offset " + std::to_string(offset); });
    } else if (m_stack.m_vlanCount > 1) {
        const std::uint32_t offset = GetLinkLayerOffset() + kVlanTagLength;
        Add16BitFilter(analyzer, kFilter, "VLAN ID - Inner", Location::START_OF_FRAME, offset, kVlanIdMask);
        Trace([&] { return " Fourth 16 bit filter set to Vlan with offset " + std::to_string(offset); });
    }
}

void AnalyzerSetup::createIpFilters(CAnalyzer& analyzer, const CIptvStbBlockConfig& stbBlock,
                                    CAnalyzer16BitFilter*& upper, CAnalyzer16BitFilter*& lower) const {
    upper = &CreateFilter<CAnalyzer16BitFilter>(analyzer, kFilter);
    lower = &CreateFilter<CAnalyzer16BitFilter>(analyzer, kFilter);
    switch (stbBlock.GetNewValuesForApply().igmp_version) {
        case IgmpVersion::IGMP_VERSION1:
        case IgmpVersion::IGMP_VERSION2:
        case IgmpVersion::IGMP_VERSION3:
            Place(*upper, Location::START_OF_IPV4_HEADER, 16);  // of the destination address
            Place(*lower, Location::START_OF_IPV4_HEADER, 18);
            Trace([] {
                return " Two 16 bit filters with UpperIPoffset 16 LowerIPOffset 18 and LocationType "
                       "StartOfIpv4Header ";
            });
            break;
        case IgmpVersion::MLD_VERSION1:
        case IgmpVersion::MLD_VERSION2:
            Place(*upper, Location::START_OF_IPV6_HEADER, 24);
            Place(*lower, Location::START_OF_IPV6_HEADER, 38);
            Trace([] {
                return " Two 16 bit filters with UpperIPoffset 24 LowerIPOffset 38 and LocationType "
                       "StartOfIpv6Header ";
            });
            break;
    }
    upper->SetFilterName("Group IP - Upper");
    lower->SetFilterName("Group IP- Lower");
    // The four channels of a zapping test differ in their last two bits.
    const bool zaps = m_settings.kind.type == ids::TestType::ZAPPING;
    lower->SetMask(zaps ? 0x0003 : 0xffff);
    Trace([&] { return std::string(" LowerIpMask set to ") + (zaps ? "0x0003 " : "0xffff "); });
    upper->SetMask(0xffff);
    Trace([] { return " UpperIpMask set to 0xffff "; });
}

void AnalyzerSetup::create32bitFilters(CAnalyzer& analyzer, CAnalyzer32BitFilter*& filter) const {
    constexpr std::uint32_t kUpperHalf = 0xffff0000;
    filter =
        &CreateFilter<CAnalyzer32BitFilter>(analyzer, "Analyzer32BitFilter in CIptvStartTestCommand::DoRun");
    analyzer.Set(ids::Analyzer::UseDefault32BitFilter, false);
    if (m_settings.environment == ids::TestEnv::REAL_WORLD) {
        const bool source = m_settings.udp_port_type == ids::UdpPortType::SOURCE;
        const std::uint32_t offset = source ? 0 : 2;
        filter->SetLocationType(Location::START_OF_UDP_HEADER);
        filter->SetMask(kUpperHalf);
        filter->SetOffset(offset);
        filter->SetFilterName("UDP Port");
        Trace([&] {
            return " The 32bit filter set to UDP Hdr Start with offset " + std::to_string(offset) + " ";
        });
        return;
    }
    // The default location of a filter is the stream id of the signature field.
    filter->SetFilterName("Veltra ID");
    if (m_settings.kind.type != ids::TestType::ZAPPING) return;
    filter->SetMask(kUpperHalf);
    Trace([] { return " The 32bit filter set to Veltra ID with mask 0xffff0000 "; });
}

std::uint32_t AnalyzerSetup::GetLinkLayerOffset() const {
    constexpr std::uint32_t kAtmHeader = 5;  // bytes
    constexpr std::uint32_t kLlcHeader = 8;  // LLC and SNAP
    constexpr std::uint32_t kPadding = 2;    // in front of a bridged frame
    constexpr std::uint32_t kEthernetHeader = 14;
    std::uint32_t offset = 0;
    if (m_link.m_bAtmPort) {
        offset += kAtmHeader;
        if (m_link.m_atmEncapsulation == ids::VcEncapsulation::LLC_ENCAPSULATED) offset += kLlcHeader;
        if (m_stack.m_vlanCount != 0 || m_link.m_bEthPort || m_stack.m_bPppEnable) offset += kPadding;
    }
    if (m_link.m_bEthPort) offset += kEthernetHeader;
    return offset;
}

bool AnalyzerSetup::IsStreamIdMode() const {
    return m_streamsKnown && m_settings.environment == ids::TestEnv::TESTING &&
           m_settings.kind.type == ids::TestType::VERIFICATION;
}

bool AnalyzerSetup::IsSbitMode() const {
    const std::uint8_t type = m_settings.kind.type;
    return m_settings.kind.mcast_join_trigger == ids::MulticastJoinTrigger::SBIT_AND_DELAY &&
           (type == ids::TestType::FAST_CHANNEL_CHANGE || type == ids::TestType::FCC_WITH_RRR);
}

}  // namespace orv::iptv
