#include <rapidcheck.h>

#include "object_model_fixture.h"
#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"

namespace object_model_test {
namespace {

class LifecycleTest : public ObjectModelTest {};

TEST_F(LifecycleTest, CreationGivesHandleNameParentAndDefaultChildren) {
    CScriptableCreator creator;
    CScriptable* item = creator.Create("CTestSpecialItem", &Project(), true, true, 12345678);
    ASSERT_NE(item, nullptr) << creator.GetErrorText();
    EXPECT_EQ(item->GetHandle(), 12345678u);
    EXPECT_EQ(item->GetU32(0x1005), 12345678u);
    EXPECT_EQ(CHandleRegistry::Instance().Find(12345678), item);
    EXPECT_EQ(item->GetName(), "TestSpecialItem 12345678");
    EXPECT_EQ(item->GetObjectState(), CScriptable::STATE_NEW);
    EXPECT_TRUE(item->IsObjectDirty(false));
    EXPECT_NE(item->GetObject(ClassId(kBox), kParentChild), nullptr);
    EXPECT_TRUE(item->IsTypeOf(ClassId(kItem)));
    EXPECT_TRUE(item->IsTypeOf("CTestItem"));
    EXPECT_FALSE(item->IsTypeOf("TestBox"));
    EXPECT_EQ(creator.Create(kSpecialItem, &Project(), false)->GetObject(ClassId(kBox), kParentChild),
              nullptr);
}

TEST_F(LifecycleTest, RefusedCreationLeavesNothingBehind) {
    CScriptableCreator creator;
    CScriptable& box = MakeBox();
    box.Set("Name", "box");
    TestItem& item = MakeItem();
    creator.Create(kSingle, &Project());
    const std::size_t objects = CHandleRegistry::Instance().GetSize();
    const struct {
        std::uint32_t class_id;
        std::uint32_t handle;
        std::string text;
    } rows[] = {
        {0x7e009000, 0, "no active data model has the class 0x7e009000"},
        {kSpecialItem, 0, "cannot create TestSpecialItem: it cannot be a child of TestBox \"box\""},
        {kItem, item.GetHandle(),
         "cannot create TestItem: the handle " + std::to_string(item.GetHandle()) + " is in use"},
        {kSingle, 0, "cannot create TestSingle: there is one already"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(creator.Create(row.class_id, &box, true, true, row.handle), nullptr);
        EXPECT_EQ(creator.GetErrorText(), row.text);
    }
    EXPECT_EQ(ThrownBy<COrvLogicError>([&] { creator.Create(kAbstract, &box); }),
              "Trying to create an abstract class : CTestAbstract");
    TestItem::refuse_init = true;
    EXPECT_EQ(creator.Create(kItem, &box), nullptr);
    EXPECT_EQ(creator.GetErrorText(), "cannot create TestItem: its initialisation refused");
    EXPECT_EQ(CHandleRegistry::Instance().GetSize(), objects);
    ScriptableVec children;
    box.GetObjects(children, CScriptable::CLASS_ID(), kParentChild);
    EXPECT_TRUE(children.empty());
}

TEST_F(LifecycleTest, DeletionIsPendingUntilAnApply) {
    TestItem& kept = MakeItem();
    TestItem& doomed = MakeItem();
    TestItem& last = MakeItem();
    kept.AddObject(doomed, kLikes);
    doomed.AddObject(last, kLikes);
    SettleAfterApply(Project());
    const std::uint32_t handle = doomed.GetHandle();

    ASSERT_TRUE(doomed.MarkDelete(true, true));
    EXPECT_TRUE(doomed.IsDeleted());
    EXPECT_EQ(doomed.GetObjectState(), CScriptable::STATE_PENDING_DELETE);
    EXPECT_EQ(CHandleRegistry::Instance().Find(handle), &doomed);
    ScriptableVec items;
    Project().GetObjects(items, kItem, kParentChild);
    EXPECT_EQ(items, (ScriptableVec{&kept, &last, &doomed})) << "still a child, behind the live ones";
    items.clear();
    Project().GetRemovedObjects(items, kItem, kParentChild);
    EXPECT_EQ(items, ScriptableVec{&doomed});
    EXPECT_EQ(kept.GetObject(ClassId(kItem), kLikes), nullptr) << "other relations end at once";
    EXPECT_TRUE(kept.IsObjectDirty(false));
    EXPECT_FALSE(last.IsObjectDirty(false));
    items.clear();
    kept.GetRemovedObjects(items, kItem, kLikes);
    EXPECT_EQ(items, ScriptableVec{&doomed});

    SettleAfterApply(Project());
    EXPECT_EQ(CHandleRegistry::Instance().Find(handle), nullptr);
    items.clear();
    Project().GetObjects(items, kItem, kParentChild);
    EXPECT_EQ(items, (ScriptableVec{&kept, &last}));
    EXPECT_FALSE(Project().IsObjectDirty(true));
}

TEST_F(LifecycleTest, AnObjectMayRefuseItsDeletion) {
    TestItem& item = MakeItem();
    item.keep = true;
    EXPECT_FALSE(item.MarkDelete(true, true));
    EXPECT_FALSE(item.IsDeleted());
    EXPECT_EQ(item.GetObjectState(), CScriptable::STATE_NEW);
    item.keep = false;
}

TEST_F(LifecycleTest, DeletingAParentMarksWhatIsBelow) {
    CScriptable& box = MakeBox();
    TestItem& inside = MakeItem(&box);
    TestItem& outside = MakeItem();
    outside.AddObject(inside, kLikes);
    box.MarkDelete(true, true);
    EXPECT_TRUE(inside.IsDeleted());
    EXPECT_EQ(outside.GetObject(ClassId(kItem), kLikes), nullptr);
    ScriptableVec found;
    CScriptableLocator::Instance().GetObjectsEx(found, kItem, nullptr,
                                                CScriptableLocator::LOCATE_SKIP_DELETED);
    EXPECT_EQ(found, ScriptableVec{&outside});
}

TEST_F(LifecycleTest, LocatorWalksParentsBeforeChildren) {
    CScriptable& box = MakeBox();
    CScriptable& inner = MakeBox(&box);
    TestItem& deep = MakeItem(&inner);
    ScriptableVec found;
    auto& locator = CScriptableLocator::Instance();
    locator.GetObjectsEx(found, CScriptable::CLASS_ID(), &box);
    EXPECT_EQ(found, (ScriptableVec{&box, &inner, &deep}));
    box.Set(kActive, false);
    found.clear();
    locator.GetObjectsEx(found, kItem, &box, CScriptableLocator::LOCATE_SKIP_INACTIVE_ROOTS);
    EXPECT_TRUE(found.empty());
    locator.GetObjectsEx(found, kItem, &Project(), CScriptableLocator::LOCATE_SKIP_INACTIVE_ROOTS);
    EXPECT_EQ(found, ScriptableVec{&deep}) << "only the root counts";
}

TEST_F(LifecycleTest, ACloneCopiesPropertiesChildrenAndTheRelationsThatItsClassAllows) {
    CScriptable& box = MakeBox();
    TestItem& item = MakeItem(&box);
    TestItem& friend_inside = MakeItem(&box);
    TestItem& friend_outside = MakeItem();
    CScriptable& used = MakeBox();
    item.Set(kCount, std::uint32_t{77});
    item.Set(kMoment, std::uint64_t{5});
    item.Set(kActive, false);
    item.AddObject(friend_inside, kLikes);
    item.AddObject(friend_outside, kLikes);
    friend_outside.AddObject(item, kLikes);
    item.AddObject(used, kUses);
    box.Set("Name", "Box");

    CScriptable* copy = box.Clone();
    EXPECT_EQ(copy->GetName(), "Box Copy");
    EXPECT_EQ(copy->GetParent(), &Project());
    ScriptableVec items;
    copy->GetObjects(items, kItem, kParentChild);
    ASSERT_EQ(items.size(), 2u);
    CScriptable& twin = *items[0];
    EXPECT_EQ(twin.GetU32(kCount), 77u);
    EXPECT_EQ(twin.GetT<std::uint64_t>(kMoment), 0u) << "run-time state is not copied";
    EXPECT_FALSE(twin.GetActive());
    EXPECT_EQ(twin.GetName(), item.GetName());
    EXPECT_NE(twin.GetHandle(), item.GetHandle());
    EXPECT_EQ(twin.GetObjectState(), CScriptable::STATE_NEW);
    ScriptableVec liked;
    twin.GetObjects(liked, kItem, kLikes);
    EXPECT_EQ(liked, (ScriptableVec{items[1], &friend_outside}))
        << "a relation within the copy leads to the copy";
    EXPECT_TRUE(friend_outside.ContainsObject(twin, kLikes));
    EXPECT_EQ(twin.GetObject(ClassId(kBox), kUses), nullptr) << "the class does not copy these";
}

TEST_F(LifecycleTest, ACloneMayLieBelowItsOriginal) {
    CScriptable& box = MakeBox();
    MakeItem(&box);
    CScriptable* copy = box.Clone(&box);
    ScriptableVec items;
    copy->GetObjects(items, kItem, kParentChild);
    EXPECT_EQ(items.size(), 1u);
    EXPECT_EQ(copy->GetObject(ClassId(kBox), kParentChild), nullptr);
}

TEST_F(LifecycleTest, HandlesAskedForAreNotGivenAgainAndUseNothingUp) {
    CScriptableCreator creator;
    ASSERT_NE(creator.Create(kItem, &Project(), true, true, 0xffffffff), nullptr);
    const std::uint32_t next = MakeItem().GetHandle() + 1;
    ASSERT_NE(creator.Create(kItem, &Project(), true, true, next), nullptr);
    EXPECT_EQ(MakeItem().GetHandle(), next + 1);
    EXPECT_EQ(CHandleRegistry::Instance().Find(0), nullptr);
}

TEST_F(LifecycleTest, AReleasedObjectWithoutParentIsGone) {
    CScriptableCreator creator;
    CScriptable* loose = creator.Create(kItem, nullptr);
    const std::uint32_t handle = loose->GetHandle();
    loose->AddObject(MakeItem(), kLikes);
    ReleaseScriptable(loose);
    EXPECT_EQ(CHandleRegistry::Instance().Find(handle), nullptr);
}

/// Both ends of every relation agree, and every object has its handle and its parent.
void CheckConsistent(const ScriptableVec& objects) {
    for (CScriptable* object : objects) {
        RC_ASSERT(CHandleRegistry::Instance().Find(object->GetHandle()) == object);
        RC_ASSERT(object->GetParent() && object->GetParent()->ContainsObject(*object, kParentChild));
        for (const RelationType type : {kUses, kLikes, kUses.Reverse(), kLikes.Reverse(), kParentChild}) {
            ScriptableVec related;
            object->GetObjects(related, CScriptable::CLASS_ID(), type);
            for (const CScriptable* other : related) {
                ScriptableVec back;
                other->GetObjects(back, CScriptable::CLASS_ID(), type.Reverse());
                RC_ASSERT(std::count(back.begin(), back.end(), object) == 1);
                RC_ASSERT(type == kParentChild || !object->IsDeleted());
            }
        }
    }
}

TEST_F(LifecycleTest, AnySequenceOfChangesLeavesAConsistentTree) {
    const bool holds = rc::check([this] {
        CScriptable& root = MakeBox();
        ScriptableVec objects;
        const int steps = *rc::gen::inRange(1, 80);
        for (int step = 0; step < steps; ++step) {
            const auto pick = [&]() -> CScriptable& {
                return objects.empty() ? root : *objects[*rc::gen::inRange<std::size_t>(0, objects.size())];
            };
            CScriptable& one = pick();
            CScriptable& two = pick();
            const RelationType type = *rc::gen::element(kUses, kLikes, kLikes.Reverse(), kParentChild);
            switch (*rc::gen::inRange(0, 7)) {
                case 0:
                case 1:
                    if (CScriptable* made = CScriptableCreator().Create(
                            *rc::gen::element(kBox, kItem), one.IsTypeOf(ClassId(kBox)) ? &one : &root)) {
                        objects.push_back(made);
                    }
                    break;
                case 2:
                case 3:
                    one.AddObject(two, type);
                    break;
                case 4:
                    if (type != kParentChild) one.RemoveObject(two, type);
                    break;
                case 5:
                    if (&one != &root) one.MarkDelete(true, true);
                    break;
                case 6: {
                    std::erase_if(objects, [](const CScriptable* object) { return object->IsDeleted(); });
                    SettleAfterApply(root);
                    break;
                }
            }
            CheckConsistent(objects);
        }
        root.Delete();
    });
    EXPECT_TRUE(holds);
}

}  // namespace
}  // namespace object_model_test
