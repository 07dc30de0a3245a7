// What the classes of the data models do besides storing values.
#include "modules_fixture.h"
#include "orv/core/physical_chassis.h"
#include "orv/core/port_group.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/ids/framework_ids.h"

namespace orv::test {
namespace {

using framework::CScriptable;
using ModelRulesTest = ModulesTest;

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
