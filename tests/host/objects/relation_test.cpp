#include "object_model_fixture.h"
#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/relation_helper.h"
#include "orv/framework/relation_manager.h"

namespace object_model_test {
namespace {

class RelationTest : public ObjectModelTest {
  protected:
    RelationTest() {
        a_.Set("Name", "a");
        b_.Set("Name", "b");
        box_.Set("Name", "box");
        SettleAfterApply(Project());
        Events().clear();
    }
    ScriptableVec Related(const CScriptable& object, RelationType type) {
        ScriptableVec related;
        object.GetObjects(related, CScriptable::CLASS_ID(), type);
        return related;
    }

    TestItem& a_ = MakeItem();
    TestItem& b_ = MakeItem();
    CScriptable& box_ = MakeBox();
};

TEST_F(RelationTest, IsReadFromBothEndsByIdAndByClassName) {
    ASSERT_TRUE(a_.AddObject(b_, kLikes));
    ASSERT_TRUE(a_.AddObject(box_, kUses));
    EXPECT_EQ(Related(a_, kLikes), ScriptableVec{&b_});
    EXPECT_EQ(Related(b_, kLikes.Reverse()), ScriptableVec{&a_});
    EXPECT_EQ(a_.GetObject(ClassId(kBox), kUses), &box_);
    EXPECT_EQ(a_.GetObject("CTestBox", kUses), &box_);
    EXPECT_EQ(box_.GetObjects("testitem", kUses.Reverse()), ScriptableVec{&a_});
    EXPECT_EQ(a_.GetObject("TestBox", kLikes), nullptr);
    EXPECT_EQ(a_.GetObject("NoSuchClass", kLikes), nullptr);
    EXPECT_TRUE(b_.ContainsObject(a_, kLikes.Reverse()));
    EXPECT_FALSE(a_.ContainsObject(b_, kLikes.Reverse()));
    EXPECT_EQ(Related(Project(), kParentChild).size(), 4u)
        << "three objects and the project's result options";
    EXPECT_EQ(Related(a_, kChildParent), ScriptableVec{&Project()});

    EXPECT_EQ(Events(), (std::vector<std::string>{"a +Likes>b", "b +Likes<a", "a +Uses>box"}));
    EXPECT_TRUE(a_.IsObjectDirty(false));
    EXPECT_FALSE(b_.IsObjectDirty(false)) << "the source changed, not the target";
}

TEST_F(RelationTest, RefusalsSayWhy) {
    CScriptable& other_box = MakeBox();
    other_box.Set("Name", "other");
    ASSERT_TRUE(a_.AddObject(box_, kUses));
    const auto refused = [](CScriptable& from, CScriptable& to, RelationType type) {
        std::string why;
        EXPECT_FALSE(from.AddObject(to, type, &why));
        return why;
    };
    const std::string uses = "relation TestUses from TestItem \"a\" to ";
    EXPECT_EQ(refused(a_, box_, kUses), uses + "TestBox \"box\" exists already");
    EXPECT_EQ(refused(a_, other_box, kUses),
              uses + "TestBox \"other\": the source has 1 of at most 1 already");
    EXPECT_EQ(refused(other_box, a_, kUses.Reverse()),
              uses + "TestBox \"other\": the source has 1 of at most 1 already");
    EXPECT_EQ(refused(a_, b_, kUses), uses + "TestItem \"b\" is not part of the data model");
    EXPECT_EQ(refused(a_, b_, kParentChild), "TestItem \"b\" cannot be a child of TestItem \"a\"");
    b_.refuse_relations = true;
    EXPECT_EQ(refused(a_, b_, kLikes),
              "relation TestLikes from TestItem \"a\" to TestItem \"b\": it does not want to");
    CScriptable& inner = MakeBox(&box_);
    EXPECT_NE(refused(inner, box_, kParentChild).find("cannot be its own ancestor"), std::string::npos);
    std::string why;
    EXPECT_FALSE(a_.RemoveObject(b_, kLikes, true, &why));
    EXPECT_EQ(why, "relation TestLikes from TestItem \"a\" to TestItem \"b\" does not exist");
}

TEST_F(RelationTest, RemovedObjectsAreRememberedUntilTheNextApply) {
    a_.AddObject(b_, kLikes);
    SettleAfterApply(Project());
    ASSERT_TRUE(b_.RemoveObject(a_, kLikes.Reverse()));
    EXPECT_TRUE(Related(a_, kLikes).empty());
    EXPECT_TRUE(a_.IsObjectDirty(false));
    ScriptableVec removed;
    a_.GetRemovedObjects(removed, kItem, kLikes);
    b_.GetRemovedObjects(removed, kItem, kLikes.Reverse());
    a_.GetRemovedObjects(removed, kBox, kLikes);
    EXPECT_EQ(removed, (ScriptableVec{&b_, &a_}));

    removed.clear();
    a_.AddObject(b_, kLikes);
    a_.GetRemovedObjects(removed, kItem, kLikes);
    EXPECT_TRUE(removed.empty()) << "related again";
    a_.RemoveObject(b_, kLikes);
    SettleAfterApply(Project());
    a_.GetRemovedObjects(removed, kItem, kLikes);
    EXPECT_TRUE(removed.empty());
}

TEST_F(RelationTest, AChildMovesToAnotherParent) {
    ASSERT_TRUE(box_.AddObject(a_, kParentChild));
    EXPECT_EQ(a_.GetParent(), &box_);
    EXPECT_FALSE(Project().ContainsObject(a_, kParentChild));
    EXPECT_EQ(Events(),
              (std::vector<std::string>{"a -ParentChild<" + Project().GetName(), "a +ParentChild<box"}));
    box_.Set(kActive, false);
    ASSERT_TRUE(Project().AddObject(a_, kParentChild));
    EXPECT_TRUE(a_.GetActive()) << "its new parent is active";
}

TEST_F(RelationTest, SetObjectsReplaces) {
    TestItem& c = MakeItem();
    a_.AddObject(b_, kLikes);
    a_.SetObjects({&c, &a_}, kLikes);
    EXPECT_EQ(Related(a_, kLikes), (ScriptableVec{&c, &a_}));
    EXPECT_THROW(a_.SetObjects({&box_}, kLikes), COrvRunTimeError);
}

TEST_F(RelationTest, ByNameWithOrWithoutTheEnd) {
    auto& helper = CRelationHelper::Instance();
    std::string error;
    EXPECT_TRUE(helper.AddRelation(&a_, "TestLikes-Targets", {b_.GetHandle()}, error));
    EXPECT_TRUE(helper.AddRelation(&box_, "testuses-sources", {a_.GetHandle(), b_.GetHandle()}, error));
    EXPECT_EQ(Related(a_, kLikes), ScriptableVec{&b_});
    EXPECT_EQ(Related(box_, kUses.Reverse()), (ScriptableVec{&a_, &b_}));

    EXPECT_FALSE(helper.AddRelation(&a_, "TestLoves", {b_.GetHandle()}, error));
    EXPECT_EQ(error, "no data model has a relation \"TestLoves\"");
    EXPECT_FALSE(helper.AddRelation(&b_, "TestLikes", {a_.GetHandle(), 999999}, error));
    EXPECT_EQ(error, "relation TestLikes from TestItem \"b\": no object has the handle 999999");
    EXPECT_TRUE(Related(b_, kLikes).empty()) << "all or none";
}

class Watcher {
  public:
    void Changed(CScriptable& source, CScriptable& other, RelationType type, bool added) {
        events.push_back(source.GetName() + (added ? "+" : "-") + other.GetName() +
                         std::to_string(type.direction));
    }
    RelationChangeDelegate Bound() { return RelationChangeDelegate::To<&Watcher::Changed>(this); }
    std::vector<std::string> events;
};

TEST_F(RelationTest, DelegatesSeeEveryRelationOfTheirObject) {
    Watcher watcher;
    b_.RegisterRelationChangeDelegate(watcher.Bound());
    a_.AddObject(b_, kLikes);
    b_.AddObject(box_, kUses);
    a_.AddObject(a_, kLikes);
    a_.MarkDelete(true, true);
    EXPECT_EQ(watcher.events, (std::vector<std::string>{"b+a1", "b+box0", "b-a1"}));
    b_.UnregisterRelationChangeDelegate(watcher.Bound());
    b_.RemoveObject(box_, kUses);
    EXPECT_EQ(watcher.events.size(), 3u);
}

TEST_F(RelationTest, MetadataIsFoundThroughBaseClasses) {
    const auto& classes = CMetaClassManager::Instance();
    const auto& relations = CRelationManager::Instance();
    const auto* special = classes.GetClass(ClassId(kSpecialItem));
    const auto* box = classes.GetClass(ClassId(kBox));
    ASSERT_NE(relations.FindRelation(*special, *box, kUses), nullptr);
    EXPECT_EQ(relations.FindRelation(*special, *box, kUses)->name, "TestUses");
    EXPECT_NE(relations.FindRelation(*box, *special, kUses.Reverse()), nullptr);
    EXPECT_EQ(relations.FindRelation(*box, *special, kUses), nullptr);
}

}  // namespace
}  // namespace object_model_test
