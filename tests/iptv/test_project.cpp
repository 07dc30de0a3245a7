#include "test_project.h"

#include <gtest/gtest.h>

#include "IptvLog.h"
#include "IptvResourceRegisterer.h"
#include "orv/core/network_block.h"
#include "orv/core/project.h"
#include "orv/framework/apply.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace testing_aids {

using namespace orv;  // NOLINT: a test
using framework::CScriptable, framework::CScriptableCreator;

TestProject::TestProject(framework::ClockKind clock) : host_({clock}) {
    const iptv::IptvResourceRegisterer resources;
}

TestProject::~TestProject() {
    iptv::CIptvResultsManager::GetResultsManager()->SetTestRunning(false);
    iptv::RunningTest::SetParticipants({});
    iptv::RunningTest::SetRules({});
}

CScriptable& TestProject::Root() {
    return host_.GetProject();
}

CScriptable& TestProject::Find(const std::string& name) {
    framework::ScriptableVec objects{&Root()};
    for (std::size_t i = 0; i < objects.size(); ++i) {
        if (objects[i]->GetName() == name) return *objects[i];
        objects[i]->GetObjects(objects, CScriptable::CLASS_ID(), common::kParentChild);
    }
    throw std::logic_error("the project has no " + name);
}

void TestProject::Put(const std::string& assignment) {
    const std::size_t dot = assignment.find('.'), equals = assignment.find('=');
    Find(assignment.substr(0, dot))
        .Set(assignment.substr(dot + 1, equals - dot - 1).c_str(), assignment.substr(equals + 1));
}

template <class T>
T& TestProject::Make(CScriptable& parent, const std::string& name, const std::string& class_name) {
    CScriptableCreator creator;
    CScriptable* object =
        class_name.empty() ? &creator.Make<T>(&parent) : creator.Create(class_name, &parent);
    if (!name.empty()) object->Set(ids::Scriptable::Name, name);
    return dynamic_cast<T&>(*object);
}

core::CPort& TestProject::MakePort(const std::string& name) {
    return Make<core::CPort>(Root(), name);
}

core::CEmulatedDevice& TestProject::MakeDevice(core::CPort* port, std::uint32_t count, Stack stack,
                                               const std::string& name) {
    auto& device = Make<core::CEmulatedDevice>(Root(), name);
    device.Set(ids::EmulatedDevice::DeviceCount, count);
    if (port) Relate(device, *port, ids::relations::AffiliationPort);
    std::vector<std::string> layers{"EthIIIf"};
    layers.insert(layers.end(), static_cast<std::size_t>(stack.vlans), "VlanIf");
    if (stack.pppoe) layers.insert(layers.end(), {"PppoeIf", "PppIf"});
    layers.emplace_back(stack.ipv6 ? "Ipv6If" : "Ipv4If");
    CScriptable* top = nullptr;
    for (const std::string& name_of_layer : layers) {
        auto& layer = Make<core::CNetworkInterface>(device, "", name_of_layer);
        if (top) Relate(layer, *top, ids::relations::StackedOn);
        top = &layer;
    }
    Relate(device, *top, ids::relations::TopLevelIf);
    auto& protocol = Make<CScriptable>(device, "", stack.ipv6 ? "MldHostConfig" : "IgmpHostConfig");
    Relate(protocol, *top, ids::relations::UsesIf);
    return device;
}

igmpmld::CMulticastHostConfig& TestProject::McastOf(const core::CEmulatedDevice& device) {
    return dynamic_cast<igmpmld::CMulticastHostConfig&>(
        *device.GetObject(igmpmld::CMulticastHostConfig::CLASS_ID(), common::kParentChild));
}

core::CNetworkInterface& TestProject::LayerOf(const core::CEmulatedDevice& device,
                                              const std::string& class_name, int nth) {
    const framework::ScriptableVec layers = device.GetObjects(class_name, common::kParentChild);
    return dynamic_cast<core::CNetworkInterface&>(*layers.at(static_cast<std::size_t>(nth)));
}

iptv::CIptvChannelBlock& TestProject::MakeChannelBlock(const std::string& name, std::uint32_t start,
                                                       std::uint32_t count, bool ipv6) {
    auto& block = Make<iptv::CIptvChannelBlock>(Root(), name);
    block.Set(ids::IptvChannelBlock::ChannelName, name);
    block.Set(ids::IptvChannelBlock::ChannelStart, start);
    auto& group = Make<mcastcore::CMulticastGroup>(Root(), name + " group", ipv6 ? "Ipv6Group" : "Ipv4Group");
    group.GetNetworkBlock()->SetNetworkCount(count);
    Relate(block, group, ids::relations::MulticastParam);
    return block;
}

mcastcore::CMulticastGroup& TestProject::GroupOf(const iptv::CIptvChannelBlock& block) {
    return *block.GetMulticastGroup();
}

iptv::CIptvViewedChannels& TestProject::MakeRange(const iptv::CIptvChannelBlock& block, std::uint32_t start,
                                                  std::uint32_t end, const std::string& name) {
    auto& range = Make<iptv::CIptvViewedChannels>(Root(), name);
    range.Set(ids::IptvViewedChannels::ChannelBlock, block.GetHandle());
    range.Set(ids::IptvViewedChannels::ChannelRangeStart, start);
    range.Set(ids::IptvViewedChannels::ChannelRangeEnd, end);
    range.Set(ids::IptvViewedChannels::InitialChannelStart, start);
    return range;
}

iptv::CIptvViewingProfileConfig& TestProject::MakeProfile(const std::string& name) {
    return Make<iptv::CIptvViewingProfileConfig>(Root(), name);
}

iptv::CIptvStbBlockConfig& TestProject::MakeStbBlock(core::CEmulatedDevice& device,
                                                     iptv::CIptvViewingProfileConfig& profile,
                                                     const std::vector<iptv::CIptvViewedChannels*>& ranges,
                                                     const std::string& name) {
    auto& block = Make<iptv::CIptvStbBlockConfig>(device, name);
    Relate(block, profile, ids::relations::IptvProfile);
    Relate(block, McastOf(device), ids::relations::MulticastParam);
    for (iptv::CIptvViewedChannels* range : ranges) Relate(block, *range, ids::relations::StbChannel);
    return block;
}

void TestProject::Relate(CScriptable& from, CScriptable& to, common::RelationType type) {
    std::string why;
    EXPECT_TRUE(from.AddObject(to, type, &why)) << why;
}

void TestProject::Settle() {
    framework::SettleAfterApply(Root());
}

LogCapture::LogCapture() {
    auto& loggers = framework::BLLLoggerFactory::GetInstance();
    loggers.SetConsole(false);
    iptv::devLogger()->SetLevel(framework::LogLevelType::Debug);
    listener_ = loggers.AddListener([this](const framework::LogRecord& record) {
        lines_.push_back(record.logger + " " + framework::GetLevelName(record.level) + ": " + record.text);
    });
}

LogCapture::~LogCapture() {
    auto& loggers = framework::BLLLoggerFactory::GetInstance();
    loggers.RemoveListener(listener_);
    iptv::devLogger()->SetLevel(framework::LogLevelType::Warn);
    loggers.SetConsole(true);
}

NoOther::NoOther(const std::string& class_name)
    : is_singleton_(const_cast<bool&>(framework::CMetaClassManager::Instance()
                                          .GetClass(class_name, nullptr, true)
                                          ->GetDefinition()
                                          .is_singleton)) {
    is_singleton_ = true;
    one_.reset(framework::CScriptableCreator().Create(class_name, nullptr, false, false));
    EXPECT_TRUE(one_) << class_name;
}

}  // namespace testing_aids
