#include "host/host_fixture.h"

#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/static_registration.h"

namespace host_test {

namespace {

class Thing : public CScriptable {};

const StaticRegisterClass<Thing> thing_registration{kThing};
const StaticRegisterClass<TestCommand> command_registration{kTestCommand};

CMetaClass::Definition Define(std::uint32_t id, const std::string& name, const std::string& base) {
    CMetaClass::Definition definition;
    definition.id = id;
    definition.name = name;
    definition.base = CMetaClassManager::Instance().GetClass(base, nullptr, true);
    return definition;
}

void AddTestClasses() {
    auto& manager = CMetaClassManager::Instance();
    if (manager.GetClass(kThing)) return;
    CMetaClass::Definition thing = Define(kThing, "Thing", "Scriptable");
    CPropertyMeta value;
    value.id = kValue;
    value.name = "Value";
    value.type = PropertyType::U32;
    value.default_value = std::uint32_t{0};
    thing.own_properties.push_back(value);
    manager.AddClass(thing);
    manager.AddClass(Define(kSpecialThing, "SpecialThing", "Thing"));
    manager.AddClass(Define(kTestCommand, "TestCommand", "Command"));
    CRelationManager::Instance().AddRelation({kUses.type, "ThingUses", kThing, kThing});
}

}  // namespace

bool TestCommand::DoRunnableValidate(std::string& reason) const {
    reason = blocked;
    return blocked.empty();
}

void TestCommand::OnCommandStateChange(CommandState from, CommandState to) {
    const char* const names[] = {"IDLE", "PENDING", "RUNNING", "COMPLETED", "FAILED", "CANCELLED"};
    states += std::string(names[from]) + ">" + names[to] + " ";
}

HostTest::HostTest() : host_({ClockKind::Virtual}) {
    AddTestClasses();
}

CScriptable& HostTest::MakeThing(const std::string& name, CScriptable* parent, std::uint32_t id) {
    CScriptable& thing = CScriptableCreator().MakeAs<CScriptable>(id, parent ? parent : &Project());
    thing.Set("Name", name);
    return thing;
}

TestCommand& HostTest::MakeCommand(const std::string& name, CScriptable* parent) {
    auto& command = CScriptableCreator().Make<TestCommand>(parent ? parent : &Project());
    command.Set("Name", name);
    return command;
}

std::string NamesOf(const ScriptableVec& objects) {
    std::string names;
    for (const CScriptable* object : objects) names += (names.empty() ? "" : " ") + object->GetName();
    return names;
}

}  // namespace host_test
