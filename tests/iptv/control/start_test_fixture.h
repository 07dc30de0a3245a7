// A project in which a channel zapping test can be started, and ways to spoil it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "control/IptvStartTestCommand.h"
#include "orv/core/aal5_if.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/generator.h"
#include "test_project.h"

namespace testing_aids {

using namespace orv;  // NOLINT: tests
using framework::CScriptable;
namespace Command = ids::IptvStartTestCommand;
namespace TestType = ids::TestType;
namespace relations = ids::relations;

constexpr int kTesting = ids::TestEnv::TESTING;
constexpr int kRealWorld = ids::TestEnv::REAL_WORLD;

struct StartScene {
    TestProject project;
    core::CPort& port = project.MakePort("Port 1");
    iptv::CIptvChannelBlock& channels = project.MakeChannelBlock("News", 1, 100);
    iptv::CIptvViewedChannels& range = project.MakeRange(channels, 1, 4, "Range");
    iptv::CIptvViewingProfileConfig& profile = project.MakeProfile("Zap");
    core::CEmulatedDevice& device = MakeHosts(&port, "Hosts");
    iptv::CIptvStbBlockConfig& block = project.MakeStbBlock(device, profile, {&range}, "Boxes");
    iptv::CIptvStartTestCommand& command =
        framework::CScriptableCreator().Make<iptv::CIptvStartTestCommand>(&project.Root());

    StartScene() { List({&project.Root()}); }

    core::CEmulatedDevice& MakeHosts(core::CPort* on, const std::string& name, Stack stack = {},
                                     std::uint32_t count = 1) {
        core::CEmulatedDevice& hosts = project.MakeDevice(on, count, stack);
        hosts.Set(ids::Scriptable::Name, name);
        return hosts;
    }
    /// A block of one more device, which has an address of its own.
    iptv::CIptvStbBlockConfig& AddBoxes(core::CPort* on, const std::string& name, Stack stack = {},
                                        const char* address = nullptr) {
        core::CEmulatedDevice& hosts = MakeHosts(on, name + " hosts", stack);
        SetAddress(hosts, address ? address : stack.ipv6 ? "2000::77" : "10.0.0.77");
        return project.MakeStbBlock(hosts, profile, {&range}, name);
    }

    void Choose(int type, int env, int join = 0, int leave = 0) {
        command.Set(Command::TestType, static_cast<std::uint8_t>(type));
        command.Set(Command::TestEnv, static_cast<std::uint8_t>(env));
        command.Set(Command::MulticastJoinTrigger, static_cast<std::uint8_t>(join));
        command.Set(Command::UnicastLeaveTrigger, static_cast<std::uint8_t>(leave));
    }
    void List(const std::vector<const CScriptable*>& objects) {
        std::vector<std::uint32_t> handles;
        for (const CScriptable* object : objects) handles.push_back(object->GetHandle());
        command.SetCollection(Command::StbBlockList, handles);
    }
    /// The channels that all blocks view.
    void View(std::uint32_t first, std::uint32_t last) {
        range.Set(ids::IptvViewedChannels::ChannelRangeStart, first);
        range.Set(ids::IptvViewedChannels::ChannelRangeEnd, last);
    }

    static CScriptable& AddChild(CScriptable& parent, const std::string& class_name) {
        return *framework::CScriptableCreator().Create(class_name, &parent);
    }
    static CScriptable& DeviceOf(const CScriptable& block) { return *block.GetParent(); }
    static core::CEmulatedDevice& HostsOf(const CScriptable& block) {
        return dynamic_cast<core::CEmulatedDevice&>(DeviceOf(block));
    }
    static igmpmld::CMulticastHostConfig& ProtocolOf(const CScriptable& block) {
        return TestProject::McastOf(HostsOf(block));
    }
    static void SwitchOff(CScriptable& object) { object.Set(ids::Scriptable::LocalActive, false); }
    static void TakeProtocol(CScriptable& block) {
        block.RemoveObject(ProtocolOf(block), relations::MulticastParam);
    }
    static void SetAddress(const core::CEmulatedDevice& hosts, const std::string& address) {
        const bool ipv6 = address.find(':') != std::string::npos;
        TestProject::LayerOf(hosts, ipv6 ? "Ipv6If" : "Ipv4If").Set("Address", address);
    }
    static void SetVlan(const core::CEmulatedDevice& hosts, int nth, std::uint16_t id) {
        TestProject::LayerOf(hosts, "VlanIf", nth).Set(ids::VlanIf::VlanId, id);
    }
    /// Ethernet frames in ATM cells.
    static void PutOnAtm(CScriptable& hosts, std::uint8_t encapsulation) {
        CScriptable& atm = AddChild(hosts, "Aal5If");
        atm.Set(ids::Aal5If::VcEncapsulation, encapsulation);
        auto& device = dynamic_cast<core::CEmulatedDevice&>(hosts);
        TestProject::Relate(TestProject::LayerOf(device, "EthIIIf"), atm, relations::StackedOn);
    }
    l2l3::CGenerator& GeneratorOf(const core::CPort& of) {
        return dynamic_cast<l2l3::CGenerator&>(
            *of.GetObject(l2l3::CGenerator::CLASS_ID(), common::kParentChild));
    }
    /// An object that is of a class by the data model only.
    static CScriptable& MakeOdd(std::uint32_t id, const std::string& base, CScriptable& parent) {
        const auto odd = DeclareOddClass<CScriptable>(common::ClassId(id), "Odd" + base, base);
        return *framework::CScriptableCreator().Create(odd, &parent);
    }
};

/// The text of what an action throws, empty when it does not.
inline std::string ThrownBy(const std::function<void()>& action) {
    try {
        action();
    } catch (const common::COrvRunTimeError& error) {
        return error.what();
    }
    return "";
}

/// The lines of a log that begin so, without the beginning.
inline std::vector<std::string> LinesOf(const std::vector<std::string>& log, const std::string& beginning) {
    std::vector<std::string> lines;
    for (const std::string& line : log)
        if (line.starts_with(beginning)) lines.push_back(line.substr(beginning.size()));
    return lines;
}

}  // namespace testing_aids
