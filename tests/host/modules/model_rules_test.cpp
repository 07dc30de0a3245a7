// What the data models say: what comes with a new object, what may lie below what, what may be related to
// what.
#include <gmock/gmock.h>

#include "modules_fixture.h"
#include "orv/core/physical_chassis.h"
#include "orv/core/port_group.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_helper.h"
#include "orv/ids/framework_ids.h"

namespace orv::test {
namespace {

using framework::CScriptable;
using ModelRulesTest = ModulesTest;

std::vector<std::string> ChildClasses(const CScriptable& object) {
    framework::ScriptableVec children;
    object.GetObjects(children, CScriptable::CLASS_ID(), common::kParentChild);
    std::vector<std::string> names;
    for (const CScriptable* child : children) names.push_back(child->GetMetaClass()->GetName());
    return names;
}

TEST_F(ModelRulesTest, DefaultChildren) {
    EXPECT_THAT(ChildClasses(Project()), testing::ElementsAre("ResultOptions"));
    const auto& port = MakePort();
    EXPECT_THAT(ChildClasses(port),
                testing::UnorderedElementsAre("Generator", "Analyzer", "MulticastPortConfig"));
    EXPECT_THAT(ChildClasses(*port.GetObject("Generator", common::kParentChild)),
                testing::ElementsAre("GeneratorConfig"));
}

TEST_F(ModelRulesTest, ParentsOfClasses) {
    auto& port = MakePort();
    auto& device = MakeDevice(&port);
    CScriptable& analyzer = *port.GetObject("Analyzer", common::kParentChild);
    CScriptable* const parents[] = {&Project(), &port, &device, &analyzer};
    struct {
        const char* class_name;
        std::vector<CScriptable*> allowed;
    } const cases[] = {
        {"Port", {&Project()}},
        {"EmulatedDevice", {&Project()}},
        {"Ipv4If", {&device}},
        {"IgmpHostConfig", {&device}},
        {"Dhcpv6PdBlockConfig", {&device}},
        {"StreamBlock", {&port}},
        {"Analyzer16BitFilter", {&analyzer}},
        {"Ipv4Group", {&Project()}},
        {"GeneratorStartCommand", {&Project()}},
    };
    for (const auto& expected : cases) {
        for (CScriptable* parent : parents) {
            const bool allowed = testing::Value(expected.allowed, testing::Contains(parent));
            framework::CScriptableCreator creator;
            EXPECT_EQ(creator.Create(expected.class_name, parent) != nullptr, allowed)
                << expected.class_name << " under " << parent->Describe() << ": " << creator.GetErrorText();
        }
    }
}

TEST_F(ModelRulesTest, RelationsByNameAndTheirLimits) {
    auto& port = MakePort();
    auto& other_port = MakePort();
    auto& device = MakeDevice(nullptr);
    auto& igmp = MakeByName("IgmpHostConfig", &device);
    auto& ipv4 = MakeByName("Ipv4If", &device);
    auto& stream = MakeByName("StreamBlock", &port);
    struct {
        CScriptable& source;
        const char* relation;
        CScriptable& target;
        bool allowed;
    } const cases[] = {
        {device, "AffiliationPort", port, true},
        {device, "AffiliationPort", other_port, false},
        {device, "TopLevelIf-Targets", ipv4, true},
        {igmp, "UsesIf", ipv4, true},
        {igmp, "UsesIf", port, false},
        {stream, "SrcBinding", ipv4, true},
        {stream, "DstBinding", device, false},
        {igmp, "SrcBinding", ipv4, false},
    };
    for (const auto& expected : cases) {
        std::string error;
        EXPECT_EQ(framework::CRelationHelper::Instance().AddRelation(&expected.source, expected.relation,
                                                                     {expected.target.GetHandle()}, error),
                  expected.allowed)
            << expected.relation << " to " << expected.target.Describe() << ": " << error;
    }
}

TEST_F(ModelRulesTest, EveryClassThatIsNotAbstractHasItsCppClass) {
    const auto plain_object =
        framework::CMetaClassManager::Instance().GetClass(CScriptable::CLASS_ID())->GetFactory().make;
    for (const framework::CMetaClass* each : framework::CMetaClassManager::Instance().GetClasses()) {
        if (each->GetClassId().GetPluginId() == 0) continue;
        if (each->GetDefinition().is_abstract) {
            EXPECT_THROW(framework::CScriptableCreator().Create(each, nullptr), common::COrvLogicError)
                << each->GetName();
        } else {
            const auto make = each->GetFactory().make;
            EXPECT_TRUE(make && make != plain_object) << each->GetName();
        }
    }
}

TEST_F(ModelRulesTest, PortsKnowTheirAddressGroupAndChassis) {
    auto& port = MakePort("//127.0.0.1/1/1");
    EXPECT_EQ(port.GetMessenger().ToMessengerString(), "//127.0.0.1/1/1");
    EXPECT_EQ(port.GetPortGroup(), nullptr);
    EXPECT_EQ(port.GetChassis(), nullptr);
    auto& chassis = Make<core::CPhysicalChassis>(&Project());
    auto& group = Make<core::CPortGroup>(&chassis);
    Relate(port, group, ids::relations::AffiliationPortGroup);
    EXPECT_EQ(port.GetPortGroup(), &group);
    EXPECT_EQ(port.GetChassis(), &chassis);

    auto& elsewhere = MakePort();
    elsewhere.Set(ids::Scriptable::Name, "Port //1/1");
    EXPECT_EQ(elsewhere.GetMessenger().ToMessengerString(), "Port //1/1");
    port.SetObjectState(CScriptable::STATE_UNCHANGED);
    port.Set(ids::Port::Online, false);
    EXPECT_FALSE(port.IsObjectDirty(false)) << "whether a port is online is no configuration";
}

TEST_F(ModelRulesTest, TheProjectIsTheNewestThatIsNotDeleted) {
    auto* const first = &Project();
    EXPECT_EQ(core::CProject::GetCurrentActiveInstance(), first);
    auto& second = Make<core::CProject>(first->GetParent());
    EXPECT_EQ(core::CProject::GetCurrentActiveInstance(), &second);
    second.MarkDelete(true, true);
    EXPECT_EQ(core::CProject::GetCurrentActiveInstance(), first);
    second.Delete();
    EXPECT_EQ(core::CProject::GetCurrentActiveInstance(), first);
}

}  // namespace
}  // namespace orv::test
