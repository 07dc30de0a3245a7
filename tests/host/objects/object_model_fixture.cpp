#include "object_model_fixture.h"

#include "orv/framework/static_registration.h"

namespace object_model_test {

namespace {

const StaticRegisterClass<TestItem> registration{kItem};

std::string DescribeChange(RelationType type, const CScriptable& object, bool added) {
    const char* names[] = {"Uses", "Likes"};
    const std::string name = type.type == 1 ? "ParentChild" : names[type.type - kUses.type];
    return (added ? "+" : "-") + name + (type.direction ? "<" : ">") + object.GetName();
}

}  // namespace

std::vector<std::string>& Events() {
    static std::vector<std::string> events;
    return events;
}

bool TestItem::OnMarkDelete() {
    Events().push_back(GetName() + " mark delete");
    return !keep;
}

void TestItem::OnPropertyModified(Property& property) {
    Events().push_back(GetName() + "." + property.meta.name);
}

void TestItem::OnRelationModified(RelationType type, CScriptable& object, bool added) {
    Events().push_back(GetName() + " " + DescribeChange(type, object, added));
}

bool TestItem::OnPreValidateRelationChange(RelationType, CScriptable&, bool, std::string& reason) {
    if (refuse_relations) reason = "it does not want to";
    return !refuse_relations;
}

bool TestItem::CloneRelationType(const CScriptable&, const RelationType& type) const {
    return type.type != kUses.type;
}

ObjectModelTest::ObjectModelTest() : host_({ClockKind::Virtual}) {
    CMetaClassManager::Instance().AddSearchFolder(TEST_MODEL_FOLDER);
    CMetaClassManager::Instance().ActivateDataModel(0x7e000000);
    TestItem::refuse_init = false;
    Events().clear();
}

}  // namespace object_model_test
