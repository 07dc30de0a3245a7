#include "modules_fixture.h"

#include "orv/framework/meta_class.h"

namespace orv::test {

framework::CScriptable& ModulesTest::MakeByName(const std::string& class_name,
                                                framework::CScriptable* parent) {
    framework::CScriptableCreator creator;
    framework::CScriptable* object = creator.Create(class_name, parent);
    if (!object) throw std::runtime_error(creator.GetErrorText());
    return *object;
}

core::CPort& ModulesTest::MakePort(const std::string& location) {
    auto& port = Make<core::CPort>(&Project());
    port.Set(ids::Port::Location, location);
    return port;
}

core::CEmulatedDevice& ModulesTest::MakeDevice(core::CPort* port, std::uint32_t count) {
    auto& device = Make<core::CEmulatedDevice>(&Project());
    device.Set(ids::EmulatedDevice::DeviceCount, count);
    if (port) Relate(device, *port, ids::relations::AffiliationPort);
    return device;
}

std::vector<core::CNetworkInterface*> ModulesTest::MakeStack(
    core::CEmulatedDevice& device, const std::vector<std::string>& classes_from_link_layer) {
    std::vector<core::CNetworkInterface*> stack;
    for (const std::string& class_name : classes_from_link_layer) {
        auto& layer = dynamic_cast<core::CNetworkInterface&>(MakeByName(class_name, &device));
        if (!stack.empty()) Relate(layer, *stack.back(), ids::relations::StackedOn);
        stack.push_back(&layer);
    }
    Relate(device, *stack.back(), ids::relations::TopLevelIf);
    return stack;
}

void ModulesTest::Relate(framework::CScriptable& from, framework::CScriptable& to,
                         framework::RelationType type) {
    std::string error;
    EXPECT_TRUE(from.AddObject(to, type, &error)) << error;
}

std::vector<std::string> ModulesTest::ClassNames(const std::vector<core::CNetworkInterface*>& interfaces) {
    std::vector<std::string> names;
    for (const auto* interface : interfaces) names.push_back(interface->GetMetaClass()->GetName());
    return names;
}

}  // namespace orv::test
