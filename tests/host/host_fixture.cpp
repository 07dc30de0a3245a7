#include "host/host_fixture.h"

#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"

namespace host_test {

namespace {

const StaticRegisterClass<TestItem> item_registration{kItem};
const StaticRegisterClass<TestCommand> command_registration{kTestCommand};

}  // namespace

void TestItem::OnPropertyModified(Property& property) {
    events.push_back(GetName() + "." + property.meta.name);
}

void TestItem::OnRelationModified(RelationType type, CScriptable& object, bool added) {
    const char* const names[] = {"Uses", "Likes"};
    const std::string name = type.type == 1 ? "ParentChild" : names[type.type - kUses.type];
    events.push_back(GetName() + (added ? " +" : " -") + name + (type.direction ? "<" : ">") +
                     object.GetName());
}

bool TestItem::OnPreValidateRelationChange(RelationType, CScriptable&, bool, std::string& reason) {
    if (refuse_relations) reason = "it does not want to";
    return !refuse_relations;
}

bool TestItem::CloneRelationType(const CScriptable&, const RelationType& type) const {
    return type.type != kUses.type;
}

void TestCommand::OnCommandStateChange(CommandState from, CommandState to) {
    const char* const names[] = {"IDLE", "PENDING", "RUNNING", "COMPLETED", "FAILED", "CANCELLED"};
    states += std::string(names[from]) + ">" + names[to] + " ";
}

HostTest::HostTest(ClockKind clock) : host_({clock}) {
    CMetaClassManager::Instance().AddSearchFolder(TEST_MODEL_FOLDER);
    CMetaClassManager::Instance().ActivateDataModel(0x7e000000);
    TestItem::refuse_init = false;
    TestItem::events.clear();
}

CScriptable& HostTest::MakeByName(const std::string& class_name, CScriptable* parent) {
    CScriptableCreator creator;
    CScriptable* object = creator.Create(class_name, parent ? parent : &Project());
    if (!object) throw std::runtime_error(creator.GetErrorText());
    return *object;
}

CScriptable& HostTest::MakeThing(const std::string& name, CScriptable* parent, std::uint32_t id) {
    CScriptable& thing = Make(id, parent);
    thing.Set("Name", name);
    return thing;
}

TestCommand& HostTest::MakeCommand(const std::string& name, CScriptable* parent) {
    auto& command = Make<TestCommand>(parent);
    command.Set("Name", name);
    return command;
}

void HostTest::Relate(CScriptable& from, CScriptable& to, RelationType type) {
    std::string error;
    EXPECT_TRUE(from.AddObject(to, type, &error)) << error;
}

ScriptableVec HostTest::Related(const CScriptable& object, RelationType type, ClassId class_id) {
    ScriptableVec related;
    object.GetObjects(related, class_id, type);
    return related;
}

ScriptableVec HostTest::Removed(const CScriptable& object, RelationType type, ClassId class_id) {
    ScriptableVec removed;
    object.GetRemovedObjects(removed, class_id, type);
    return removed;
}

std::string NamesOf(const ScriptableVec& objects) {
    std::string names;
    for (const CScriptable* object : objects) names += (names.empty() ? "" : " ") + object->GetName();
    return names;
}

}  // namespace host_test
