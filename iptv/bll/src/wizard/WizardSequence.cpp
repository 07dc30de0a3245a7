#include "wizard/WizardSequence.h"

#include <algorithm>

#include "control/IptvStartTestCommand.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/iptv_ids.h"
#include "wizard/IptvWizardMcastSources.h"
#include "wizard/IptvWizardStbBlock.h"
#include "wizard/IptvWizardTestConfig.h"

namespace orv::iptv {

namespace {

constexpr const char* kSetupIptvSequencer = "CIptvWizardManager::SetupIptvSequencer";
constexpr const char* kWaitSeconds = "300";

std::vector<core::CPort*> GetPorts(const core::CProject& project) {
    return GetWizardChildren<core::CPort>(project, {"Port", "PortIterator", kSetupIptvSequencer}, "Port.");
}

std::vector<core::CEmulatedDevice*> GetDevices(const core::CProject& project, const char* operation) {
    return GetWizardChildren<core::CEmulatedDevice>(project, {"EmulatedDevice", "DeviceIterator", operation},
                                                    "EmulatedDevice.");
}

/// The first active child of a class, or null.
const CScriptable* FindActiveChild(const CScriptable& parent, const std::string& class_name) {
    for (const CScriptable* child : parent.GetObjects(class_name, common::kParentChild)) {
        if (child->GetActive() && !child->IsDeleted()) return child;
    }
    return nullptr;
}

}  // namespace

BindingDevices WizardSequence::GetBindingDevices() const {
    BindingDevices devices;
    const auto append = [](std::vector<std::uint32_t>& list, const CScriptable* block) {
        if (block) list.push_back(block->GetHandle());
    };
    for (const auto* device : GetDevices(project_, "CIptvWizardManager::GetBindingDevices")) {
        append(devices.dhcpv4, FindActiveChild(*device, "Dhcpv4BlockConfig"));
        append(devices.dhcpv6, FindActiveChild(*device, "Dhcpv6PdBlockConfig"));
        const CScriptable* ppp = FindActiveChild(*device, "PppoeClientBlockConfig");
        append(devices.pppox, ppp ? ppp : FindActiveChild(*device, "PppoaClientBlockConfig"));
    }
    return devices;
}

const CIptvStartTestCommand& WizardSequence::FindStartTestCommand() const {
    const auto* start = dynamic_cast<const CIptvStartTestCommand*>(
        project_.GetObject(CIptvStartTestCommand::CLASS_ID(), common::kParentChild));
    if (!start || start->IsDeleted())
        ThrowLookupFailure({"CIptvStartTestCommand", "CProject", kSetupIptvSequencer},
                           "IptvStartTestCommand.");
    return *start;
}

std::vector<std::uint32_t> WizardSequence::GetGenerators() const {
    std::vector<std::uint32_t> handles;
    for (const core::CPort* port : GetPorts(project_)) {
        if (!port->GetObject(CIptvWizardMcastSources::CLASS_ID(), common::kParentChild)) continue;
        const CScriptable* generator = port->GetObject(std::string("Generator"), common::kParentChild);
        if (!generator) {
            ThrowLookupFailure({"Generator", "genIterator", kSetupIptvSequencer},
                               "Generator associated with " + port->GetName());
        }
        handles.push_back(generator->GetHandle());
    }
    return handles;
}

std::vector<std::uint32_t> WizardSequence::GetAnalyzers() const {
    std::vector<const core::CPort*> with_boxes;
    for (const auto* device : GetDevices(project_, kSetupIptvSequencer)) {
        if (device->GetObject(CIptvWizardStbBlock::CLASS_ID(), common::kParentChild))
            with_boxes.push_back(device->GetPort());
    }
    std::vector<std::uint32_t> handles;
    for (const core::CPort* port : GetPorts(project_)) {
        if (std::find(with_boxes.begin(), with_boxes.end(), port) == with_boxes.end()) continue;
        const CScriptable* analyzer = port->GetObject(std::string("Analyzer"), common::kParentChild);
        if (!analyzer) {
            ThrowLookupFailure({"Analyzer", "anaIterator", kSetupIptvSequencer},
                               "Analyzer associated with " + port->GetName());
        }
        handles.push_back(analyzer->GetHandle());
    }
    return handles;
}

std::vector<std::uint32_t> WizardSequence::GetStreamBlocks() const {
    std::vector<std::uint32_t> handles;
    for (const core::CPort* port : GetPorts(project_)) {
        for (const CScriptable* block : port->GetObjects("StreamBlock", common::kParentChild)) {
            if (!block->IsDeleted()) handles.push_back(block->GetHandle());
        }
    }
    return handles;
}

std::uint32_t WizardSequence::Make(const std::string& class_name, const std::vector<Input>& inputs) {
    OwnedScriptable command(framework::CScriptableCreator().Create(class_name, nullptr, true, true, 0));
    if (!command) ThrowCreationFailure(class_name, class_name);
    for (const Input& input : inputs) command->Set(input.name, input.text);
    made_.push_back(std::move(command));
    return made_.back()->GetHandle();
}

void WizardSequence::Append(const std::string& class_name, const std::vector<Input>& inputs) {
    list_.push_back(Make(class_name, inputs));
}

std::size_t WizardSequence::AppendForBlocks(const BindingDevices& devices, const char* const (&commands)[4],
                                            const char* const (&waits)[4]) {
    const std::vector<std::uint32_t>* const lists[4] = {&devices.dhcpv4, &devices.dhcpv6, &devices.l2tp,
                                                        &devices.pppox};
    const std::size_t before = list_.size();
    for (std::size_t i = 0; i < 4; ++i) {
        if (!lists[i]->empty()) Append(commands[i], {{"BlockList", HdlListToString(*lists[i])}});
    }
    for (std::size_t i = 0; i < 4; ++i) {
        if (lists[i]->empty()) continue;
        Append(waits[i], {{"WaitTime", kWaitSeconds}, {"ObjectList", HdlListToString(*lists[i])}});
    }
    return list_.size() - before;
}

std::size_t WizardSequence::BindWaitDevices(const BindingDevices& devices) {
    return AppendForBlocks(
        devices, {"Dhcpv4BindCommand", "Dhcpv6BindCommand", "L2tpConnectCommand", "PppoxConnectCommand"},
        {"Dhcpv4BindWaitCommand", "Dhcpv6BindWaitCommand", "L2tpConnectWaitCommand",
         "PppoxConnectWaitCommand"});
}

std::size_t WizardSequence::ReleaseWaitDevices(const BindingDevices& devices) {
    return AppendForBlocks(
        devices,
        {"Dhcpv4ReleaseCommand", "Dhcpv6ReleaseCommand", "L2tpDisconnectCommand", "PppoxDisconnectCommand"},
        {"Dhcpv4ReleaseWaitCommand", "Dhcpv6ReleaseWaitCommand", "L2tpDisconnectWaitCommand",
         "PppoxDisconnectWaitCommand"});
}

void WizardSequence::Build() {
    const BindingDevices devices = GetBindingDevices();
    const std::uint32_t resolve = Make("ArpNdStartOnAllDevicesCommand");
    const CIptvStartTestCommand& start = FindStartTestCommand();
    const std::uint32_t wait = Make("IptvWaitForTestCompletionCommand");
    const std::size_t binds = BindWaitDevices(devices);
    list_.insert(list_.end(), {resolve, start.GetHandle(), wait});
    if (config_.IsTestEnvironment()) {
        const std::string generators = HdlListToString(GetGenerators());
        const std::uint32_t generate = Make("GeneratorStartCommand", {{"GeneratorList", generators}});
        list_.insert(list_.begin() + static_cast<std::ptrdiff_t>(binds + 1), generate);
        Append("GeneratorStopCommand", {{"GeneratorList", generators}});
    }
    Append("AnalyzerStopCommand", {{"AnalyzerList", HdlListToString(GetAnalyzers())}});
    ReleaseWaitDevices(devices);
    if (start.GetBool(ids::IptvStartTestCommand::SaveResultsPerIteration)) {
        Append("EOTResultsWriteIterationCommand", {{"EnableDetailedResultsCollection", "TRUE"},
                                                   {"TestType", "IPTV"},
                                                   {"StreamBlockList", HdlListToString(GetStreamBlocks())}});
    }
}

void WizardSequence::HandOver() {
    framework::CSequencer& sequencer = framework::CSequencer::Instance();
    sequencer.Clear(true);
    sequencer.InsertCommands(list_);
    for (OwnedScriptable& command : made_) static_cast<void>(command.release());  // the sequencer owns it now
    made_.clear();
}

}  // namespace orv::iptv
