#include <rapidcheck.h>

#include "host/host_fixture.h"
#include "orv/framework/apply.h"
#include "orv/framework/handle_registry.h"

namespace {

using namespace host_test;  // NOLINT: a test

using LifecycleTest = HostTest;

const auto Find = [](std::uint32_t handle) { return CHandleRegistry::Instance().Find(handle); };

TEST_F(LifecycleTest, CreationGivesHandleNameParentAndDefaultChildren) {
    CScriptableCreator creator;
    CScriptable* item = creator.Create("CTestSpecialItem", &Project(), true, true, 12345678);
    ASSERT_NE(item, nullptr) << creator.GetErrorText();
    EXPECT_EQ(item->GetHandle(), 12345678u);
    EXPECT_EQ(item->GetU32(0x1005), 12345678u);
    EXPECT_EQ(Find(12345678), item);
    EXPECT_EQ(item->GetName(), "TestSpecialItem 12345678");
    EXPECT_EQ(item->GetObjectState(), CScriptable::STATE_NEW);
    EXPECT_TRUE(item->IsObjectDirty(false));
    EXPECT_NE(item->GetObject(ClassId(kBox), kParentChild), nullptr);
    EXPECT_EQ(creator.Create(kSpecialItem, &Project(), false)->GetObject(ClassId(kBox), kParentChild),
              nullptr);
    ASSERT_NE(creator.Create(kItem, &Project(), true, true, 0xffffffff), nullptr);
    const std::uint32_t next = MakeItem().GetHandle() + 1;
    ASSERT_NE(creator.Create(kItem, &Project(), true, true, next), nullptr);
    EXPECT_EQ(MakeItem().GetHandle(), next + 1) << "handles asked for are not given again and use nothing up";
    EXPECT_EQ(Find(0), nullptr);
}

TEST_F(LifecycleTest, RefusedCreationLeavesNothingBehind) {
    constexpr std::uint32_t kAbstract = 0x7e004000, kSingle = 0x7e005000;
    CScriptableCreator creator;
    CScriptable& box = MakeBox();
    box.Set("Name", "box");
    const std::uint32_t handle = MakeItem().GetHandle();
    creator.Create(kSingle, &Project());
    const std::size_t objects = CHandleRegistry::Instance().GetSize();
    const struct {
        std::uint32_t class_id, handle;
        std::string text;
        bool refuse_init = false;
    } rows[] = {
        {0x7eff0000, 0, "no active data model has the class 0x7eff0000"},
        {kSpecialItem, 0, "cannot create TestSpecialItem: it cannot be a child of TestBox \"box\""},
        {kItem, handle, "cannot create TestItem: the handle " + std::to_string(handle) + " is in use"},
        {kSingle, 0, "cannot create TestSingle: there is one already"},
        {kItem, 0, "cannot create TestItem: its initialisation refused", true}};
    for (const auto& row : rows) {
        TestItem::refuse_init = row.refuse_init;
        EXPECT_EQ(creator.Create(row.class_id, &box, true, true, row.handle), nullptr);
        EXPECT_EQ(creator.GetErrorText(), row.text);
    }
    EXPECT_EQ(ThrownBy<COrvLogicError>([&] { creator.Create(kAbstract, &box); }),
              "Trying to create an abstract class : CTestAbstract");
    EXPECT_EQ(CHandleRegistry::Instance().GetSize(), objects);
    EXPECT_THAT(Related(box, kParentChild), IsEmpty());
}

TEST_F(LifecycleTest, DeletionIsPendingUntilAnApply) {
    TestItem &kept = MakeItem(), &doomed = MakeItem(), &last = MakeItem();
    kept.AddObject(doomed, kLikes);
    doomed.AddObject(last, kLikes);
    SettleAfterApply(Project());
    const std::uint32_t handle = doomed.GetHandle();
    doomed.keep = true;
    EXPECT_FALSE(doomed.MarkDelete(true, true)) << "an object may refuse";
    EXPECT_FALSE(doomed.IsDeleted());
    doomed.keep = false;
    ASSERT_TRUE(doomed.MarkDelete(true, true));
    EXPECT_TRUE(doomed.IsDeleted());
    EXPECT_EQ(doomed.GetObjectState(), CScriptable::STATE_PENDING_DELETE);
    EXPECT_EQ(Find(handle), &doomed);
    EXPECT_THAT(Related(Project(), kParentChild, kItem), ElementsAre(&kept, &last, &doomed))
        << "still a child, behind the live ones";
    EXPECT_THAT(Removed(Project(), kParentChild, kItem), ElementsAre(&doomed));
    EXPECT_EQ(kept.GetObject(ClassId(kItem), kLikes), nullptr) << "other relations end at once";
    EXPECT_TRUE(kept.IsObjectDirty(false) && !last.IsObjectDirty(false));
    EXPECT_THAT(Removed(kept, kLikes, kItem), ElementsAre(&doomed));

    SettleAfterApply(Project());
    EXPECT_EQ(Find(handle), nullptr);
    EXPECT_THAT(Related(Project(), kParentChild, kItem), ElementsAre(&kept, &last));
    EXPECT_FALSE(Project().IsObjectDirty(true));
}

TEST_F(LifecycleTest, ACloneCopiesPropertiesChildrenAndTheRelationsThatItsClassAllows) {
    CScriptable& box = MakeBox();
    TestItem &item = MakeItem(&box), &friend_inside = MakeItem(&box), &friend_outside = MakeItem();
    item.Set(kCount, 77u);
    item.Set(kMoment, std::uint64_t{5});
    item.Set(kActive, false);
    item.AddObject(friend_inside, kLikes);
    item.AddObject(friend_outside, kLikes);
    friend_outside.AddObject(item, kLikes);
    item.AddObject(MakeBox(), kUses);
    box.Set("Name", "Box");

    CScriptable* copy = box.Clone();
    EXPECT_EQ(copy->GetName(), "Box Copy");
    EXPECT_EQ(copy->GetParent(), &Project());
    const ScriptableVec items = Related(*copy, kParentChild, kItem);
    ASSERT_EQ(items.size(), 2u);
    CScriptable& twin = *items[0];
    EXPECT_EQ(twin.GetU32(kCount), 77u);
    EXPECT_EQ(twin.GetU64(kMoment), 0u) << "run-time state is not copied";
    EXPECT_FALSE(twin.GetActive());
    EXPECT_EQ(twin.GetName(), item.GetName());
    EXPECT_NE(twin.GetHandle(), item.GetHandle());
    EXPECT_EQ(twin.GetObjectState(), CScriptable::STATE_NEW);
    EXPECT_THAT(Related(twin, kLikes), ElementsAre(items[1], &friend_outside))
        << "within the copy to the copy";
    EXPECT_TRUE(friend_outside.ContainsObject(twin, kLikes));
    EXPECT_EQ(twin.GetObject(ClassId(kBox), kUses), nullptr) << "the class does not copy these";
    CScriptable* below = box.Clone(&box);
    EXPECT_EQ(Related(*below, kParentChild, kItem).size(), 2u);
    EXPECT_EQ(below->GetObject(ClassId(kBox), kParentChild), nullptr) << "the copy is not part of itself";
}

/// Both ends of every relation agree, and every object has its handle and its parent.
void CheckConsistent(const ScriptableVec& objects) {
    for (CScriptable* object : objects) {
        RC_ASSERT(Find(object->GetHandle()) == object);
        RC_ASSERT(object->GetParent() && object->GetParent()->ContainsObject(*object, kParentChild));
        for (const RelationType type : {kUses, kLikes, kUses.Reverse(), kLikes.Reverse(), kParentChild}) {
            ScriptableVec related, back;
            object->GetObjects(related, CScriptable::CLASS_ID(), type);
            for (const CScriptable* other : related) {
                back.clear();
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
            CScriptable &one = pick(), &two = pick();
            const RelationType type = *rc::gen::element(kUses, kLikes, kLikes.Reverse(), kParentChild);
            switch (*rc::gen::inRange(0, 7)) {
                case 0:
                case 1:
                    if (CScriptable* made = CScriptableCreator().Create(
                            *rc::gen::element(kBox, kItem), one.IsTypeOf(ClassId(kBox)) ? &one : &root))
                        objects.push_back(made);
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
                case 6:
                    std::erase_if(objects, [](const CScriptable* object) { return object->IsDeleted(); });
                    SettleAfterApply(root);
                    break;
            }
            CheckConsistent(objects);
        }
        root.Delete();
    });
    EXPECT_TRUE(holds);
}

}  // namespace
