// A project in which a channel zapping test can be started, and ways to spoil it.
#pragma once

#include "orv/l2l3/generator.h"
#include "results/results_fixture.h"
#include "thrown.h"

namespace testing_aids {

using namespace results_test;  // NOLINT: tests
namespace Command = ids::IptvStartTestCommand;
namespace TestType = ids::TestType;
namespace relations = ids::relations;

constexpr int kTesting = ids::TestEnv::TESTING, kRealWorld = ids::TestEnv::REAL_WORLD;

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

    core::CEmulatedDevice& MakeHosts(core::CPort* on, const std::string& name, Stack stack = {}) {
        core::CEmulatedDevice& hosts = project.MakeDevice(on, 1, stack);
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
    iptv::CIptvStbBlockConfig& AddFarBoxes(const char* address = nullptr) {
        return AddBoxes(&project.MakePort("Port 2"), "Far", {}, address);
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
    static core::CEmulatedDevice& HostsOf(const CScriptable& block) {
        return dynamic_cast<core::CEmulatedDevice&>(*block.GetParent());
    }
    static void SwitchOff(CScriptable& object) { object.Set(ids::Scriptable::LocalActive, false); }
    static void TakeProtocol(CScriptable& block) { block.SetObjects({}, relations::MulticastParam); }
    static void TakeInterface(const CScriptable& block) {
        TestProject::McastOf(HostsOf(block)).SetObjects({}, relations::UsesIf);
    }
    /// Ethernet frames in ATM cells.
    static void PutOnAtm(core::CEmulatedDevice& hosts, std::uint8_t encapsulation) {
        CScriptable& atm = AddChild(hosts, "Aal5If");
        atm.Set(ids::Aal5If::VcEncapsulation, encapsulation);
        TestProject::Relate(TestProject::LayerOf(hosts, "EthIIIf"), atm, relations::StackedOn);
    }
    static l2l3::CGenerator& GeneratorOf(const CScriptable& of) {
        return dynamic_cast<l2l3::CGenerator&>(*of.GetObject("Generator", common::kParentChild));
    }
};
using S = StartScene;

const std::string kNothing = "nothing thrown";
inline std::string FailureOf(const std::function<void()>& action) {
    return ThrownBy<common::COrvRunTimeError>(action);
}

}  // namespace testing_aids
