// The rules for STB blocks, port by port.
#include <algorithm>
#include <map>

#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "IptvResources.h"
#include "config/ConfigChanges.h"
#include "config/ConfigRules.h"
#include "config/IptvStbBlockConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/orv_system.h"
#include "orv/core/port.h"
#include "orv/core/port_group.h"
#include "orv/framework/resources.h"
#include "orv/framework/validation.h"
#include "orv/ids/iptv_ids.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::ValidationContext;
namespace StbBlockId = ids::IptvStbBlockConfig;

constexpr const char* kOnValidateStbBlock = "CIptvStbBlockConfig::OnValidateStbBlock";

/// The running test was started with the block on that port.
bool TakesPart(const core::CPort& port, const CIptvStbBlockConfig& block) {
    const auto found = CIptvStbBlockConfig::m_startTestStbMap.find(port.GetHandle());
    if (found == CIptvStbBlockConfig::m_startTestStbMap.end()) return false;
    return std::find(found->second.begin(), found->second.end(), block.GetHandle()) != found->second.end();
}

/// Checks the blocks of one port.
class PortCheck {
  public:
    PortCheck(ValidationContext& context, core::CPort& port, bool running)
        : m_context(context), m_port(port), m_running(running) {}

    void Check(CIptvStbBlockConfig& block);
    /// After the last block.
    void CheckIpVersions();

  private:
    void CheckUnderTest(CIptvStbBlockConfig& block);
    void CheckBlock(CIptvStbBlockConfig& block, const core::CEmulatedDevice& device);
    void CheckUdpPorts(const CIptvStbBlockConfig& block, const core::CEmulatedDevice& device);
    void CheckProtocol(const CIptvStbBlockConfig& block, const core::CEmulatedDevice& device);
    void Report(const core::CEmulatedDevice& device, const std::string& text,
                const std::source_location& where = std::source_location::current()) {
        ReportError(m_context, "On IPTV device \"" + device.GetName() + "\"" + text, where);
    }

    ValidationContext& m_context;
    core::CPort& m_port;
    const bool m_running;
    bool m_hasIpv4 = false;
    bool m_hasIpv6 = false;
};

void PortCheck::Check(CIptvStbBlockConfig& block) {
    const framework::ReportedObject about(m_context, block);
    if (block.IsDeleted()) {
        if (m_running) ReportChangeUnderTest(m_context, block);
        return;
    }
    if (m_running) CheckUnderTest(block);
    const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block.GetParent());
    if (!device) {
        ThrowLookupFailure({"EmulatedDevice", "EmulatedDeviceIterator", kOnValidateStbBlock},
                           m_port.GetMessenger().ToMessengerString() + "EmulatedDevice on port. ");
    }
    if (!device->GetActive() || !block.GetActive()) return;
    Trace([&] { return "Validating IptvStbBlockConfig " + block.GetName() + " On " + m_port.GetName(); });
    CheckBlock(block, *device);
}

void PortCheck::CheckUnderTest(CIptvStbBlockConfig& block) {
    if (!block.IsObjectDirty(false) && !block.CheckIfAnyRelatedObjectsAreDirty(false)) return;
    // An inactive block matters only when the running test was started with it.
    if (block.GetActive() || TakesPart(m_port, block)) ReportChangeUnderTest(m_context, block);
}

void PortCheck::CheckBlock(CIptvStbBlockConfig& block, const core::CEmulatedDevice& device) {
    if (CIptvStbBlockConfig::m_bFccCheck) CheckUdpPorts(block, device);
    if (!block.GetObject(ids::IptvViewedChannels::CLASS, ids::relations::StbChannel))
        Report(device, " : Stb Block should have at least one viewed channel");
    if (!block.GetObject(ids::IptvViewingProfileConfig::CLASS, ids::relations::IptvProfile))
        Report(device, " : Stb Block should have one viewing profile");
    CheckProtocol(block, device);
}

void PortCheck::CheckUdpPorts(const CIptvStbBlockConfig& block, const core::CEmulatedDevice& device) {
    if (!block.GetMcastCfg()) {
        ThrowLookupFailure(
            {"MulticastHostConfig", "IptvStbBlockConfig", "CIptvPortConfig::OnValidateStbBlock"},
            "MulticastHostConfig associated with " + block.GetName());
    }
    if (!AreUdpPortsInRange(block.GetU16(StbBlockId::UdpSourcePort),
                            block.GetU16(StbBlockId::UdpSourcePortStep), device.GetDeviceCount())) {
        Report(device, " : Stb Block cannot have any UdpSourcePorts outside the range of 1 to 65535");
    }
}

void PortCheck::CheckProtocol(const CIptvStbBlockConfig& block, const core::CEmulatedDevice& device) {
    const CScriptable* protocol = block.GetMcastCfg();
    if (!protocol || !protocol->GetActive()) {
        Report(device, ", the IGMP/MLD protocol must be activated.");
    } else if (protocol->IsTypeOf(igmpmld::CIgmpHostConfig::CLASS_ID())) {
        m_hasIpv4 = true;
    } else if (protocol->IsTypeOf(igmpmld::CMldHostConfig::CLASS_ID())) {
        m_hasIpv6 = true;
    } else {
        ThrowLookupFailure({"IgmpHostConfig or MldHostConfig", "MulticastHostConfig",
                            "CIptvStbBlockConfig::OnValidateStbBlock. Typecast failed."},
                           "MulticastHostConfig " + protocol->GetName() +
                               " cannot be conveted to IgmpHostConfig or MldHostConfig");
    }
}

void PortCheck::CheckIpVersions() {
    if (!m_hasIpv4 || !m_hasIpv6) return;
    const framework::ReportedObject about(m_context, m_port);
    ReportError(m_context,
                "In " + m_port.GetName() + " : All devices on the port should have same IP interface." +
                    "Cannot have one device with IPv4 interface and another with Ipv6 interface.  ");
}

void CheckPort(ValidationContext& context, std::uint32_t handle, bool running) {
    auto* port = FindByHandle<core::CPort>(handle);
    if (!port) ThrowLookupFailure({"Port", "PortIterator", kOnValidateStbBlock}, "Port. ");
    std::vector<CIptvStbBlockConfig*> blocks;
    CIptvStbBlockConfig::FindObjects(handle, blocks);
    PortCheck check(context, *port, running);
    for (CIptvStbBlockConfig* block : blocks) {
        if (!block) {
            ThrowLookupFailure({"IptvStbBlockConfig", "StbIterator", kOnValidateStbBlock},
                               "IptvStbBlockConfig associated with " + port->GetName());
        }
        check.Check(*block);
    }
    check.CheckIpVersions();
}

/// A block that was deleted, or has left its port with its device, is no longer among the blocks of its
/// port.
void CheckMissingBlocks(ValidationContext& context) {
    for (const auto& [port, handles] : CIptvStbBlockConfig::m_startTestStbMap) {
        for (const std::uint32_t handle : handles) {
            auto* block = FindByHandle<CIptvStbBlockConfig>(handle);
            if (block && (block->IsDeleted() || block->GetIndexHandle() != port))
                ReportChangeUnderTest(context, *block);
        }
    }
}

std::uint64_t CountSetTopBoxes(std::uint32_t port) {
    std::vector<CIptvStbBlockConfig*> blocks;
    CIptvStbBlockConfig::FindObjects(port, blocks);
    std::uint64_t count = 0;
    for (const CIptvStbBlockConfig* block : blocks) {
        if (!block || block->IsDeleted() || !block->GetActive()) continue;
        if (const auto* device = dynamic_cast<const core::CEmulatedDevice*>(block->GetParent()))
            count += device->GetDeviceCount();
    }
    return count;
}

/// Counts the active set-top boxes of ports; what has not changed since is not counted again.
class SetTopBoxCount {
  public:
    void Update(const std::vector<std::uint32_t>& ports) {
        const ConfigChanges changes = m_counted.GetChanges();
        m_counted = ConfigLook::Now();
        if (changes.IsEverything()) m_byPort.clear();
        for (const std::uint32_t port : ports) {
            if (changes.Concern(port)) m_byPort[port] = CountSetTopBoxes(port);
        }
    }
    std::uint64_t Get(std::uint32_t port) const {
        const auto found = m_byPort.find(port);
        return found == m_byPort.end() ? 0 : found->second;
    }

  private:
    ConfigLook m_counted;
    std::map<std::uint32_t, std::uint64_t> m_byPort;  ///< by the port's handle
};

}  // namespace

void CIptvStbBlockConfig::OnValidateStbBlock(ValidationContext& context) {
    static RepeatedCheck check;
    check.Run(context, [&](const ConfigChanges& changes) {
        std::vector<std::uint32_t> ports;
        FindObjectHandles(ports);
        if (ports.empty()) return;
        const bool running = RunningTest::IsRunning();
        if (running) CheckMissingBlocks(context);
        for (const std::uint32_t port : ports) {
            if (changes.Concern(port)) CheckPort(context, port, running);
        }
        CheckCcpuDeviceLimit(context);
    });
}

void CIptvStbBlockConfig::CheckCcpuDeviceLimit(ValidationContext& context) {
    constexpr std::uint64_t kLimit = 16384;
    constexpr std::uint32_t kSharedByAll = 99999;  // key of the one processor that offline ports share
    struct Ccpu {
        std::uint64_t settop_boxes = 0;
        core::CPort* port = nullptr;  ///< one that the processor serves
    };
    std::map<std::uint32_t, Ccpu> ccpus;
    std::vector<std::uint32_t> ports;
    FindObjectHandles(ports);
    static SetTopBoxCount settop_boxes;
    settop_boxes.Update(ports);
    for (const std::uint32_t handle : ports) {
        auto* port = FindByHandle<core::CPort>(handle);
        if (!port || !port->IsReachable()) continue;
        const core::CPortGroup* group = port->GetPortGroup();
        const std::uint32_t key = core::COrvSystem::OfflinePortsTakePart() ? kSharedByAll
                                  : group                                  ? group->GetHandle()
                                                                           : 0;
        const std::uint64_t count = settop_boxes.Get(handle);
        if (count == 0) continue;
        ccpus[key].settop_boxes += count;
        ccpus[key].port = port;
    }
    for (const auto& [key, ccpu] : ccpus) {
        if (ccpu.settop_boxes <= kLimit) continue;
        const framework::ReportedObject about(context, *ccpu.port);
        ReportError(context, (framework::ResourceFormatter(resource::kCcpuLimitExceeded)
                              << ccpu.port->GetMessenger().ToMessengerString() << kLimit << ccpu.settop_boxes)
                                 .ToString());
    }
}

}  // namespace orv::iptv
