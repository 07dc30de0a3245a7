#include "host/host_fixture.h"
#include "orv/framework/apply.h"

namespace {

using namespace host_test;  // NOLINT: a test

struct RelationTest : HostTest {
    RelationTest() {
        a_.Set("Name", "a");
        b_.Set("Name", "b");
        box_.Set("Name", "box");
        SettleAfterApply(Project());
        TestItem::events.clear();
    }

    TestItem &a_ = MakeItem(), &b_ = MakeItem();
    CScriptable& box_ = MakeBox();
};

TEST_F(RelationTest, IsReadFromBothEndsByIdAndByClassName) {
    ASSERT_TRUE(a_.AddObject(b_, kLikes));
    ASSERT_TRUE(a_.AddObject(box_, kUses));
    EXPECT_THAT(Related(a_, kLikes), ElementsAre(&b_));
    EXPECT_THAT(Related(b_, kLikes.Reverse()), ElementsAre(&a_));
    EXPECT_EQ(a_.GetObject(ClassId(kBox), kUses), &box_);
    EXPECT_EQ(a_.GetObject("CTestBox", kUses), &box_);
    EXPECT_EQ(box_.GetObjects("testitem", kUses.Reverse()), ScriptableVec{&a_});
    EXPECT_EQ(a_.GetObject("TestBox", kLikes), nullptr);
    EXPECT_EQ(a_.GetObject("NoSuchClass", kLikes), nullptr);
    EXPECT_TRUE(b_.ContainsObject(a_, kLikes.Reverse()) && !a_.ContainsObject(b_, kLikes.Reverse()));
    EXPECT_THAT(TestItem::events, ElementsAre("a +Likes>b", "b +Likes<a", "a +Uses>box"));
    EXPECT_TRUE(a_.IsObjectDirty(false));
    EXPECT_FALSE(b_.IsObjectDirty(false)) << "the source changed, not the target";
    ASSERT_TRUE(b_.RemoveObject(a_, kLikes.Reverse()));
    EXPECT_THAT(Related(a_, kLikes), IsEmpty());
    EXPECT_THAT(Removed(b_, kLikes.Reverse(), kItem), ElementsAre(&a_));
    a_.AddObject(b_, kLikes);
    EXPECT_THAT(Removed(b_, kLikes.Reverse(), kItem), IsEmpty()) << "related again";
}

TEST_F(RelationTest, RefusalsSayWhy) {
    CScriptable& other_box = MakeBox();
    other_box.Set("Name", "other");
    CScriptable& inner = MakeBox(&box_);
    ASSERT_TRUE(a_.AddObject(box_, kUses));
    b_.refuse_relations = true;
    const std::string uses = "relation TestUses from TestItem \"a\" to ";
    const std::string likes = "relation TestLikes from TestItem \"a\" to TestItem \"b\"";
    const std::string full = uses + "TestBox \"other\": the source has 1 of at most 1 already";
    const struct {
        CScriptable &from, &to;
        RelationType type;
        std::string why;
    } cases[] = {{a_, box_, kUses, uses + "TestBox \"box\" exists already"},
                 {a_, other_box, kUses, full},
                 {other_box, a_, kUses.Reverse(), full},
                 {a_, b_, kUses, uses + "TestItem \"b\" is not part of the data model"},
                 {a_, b_, kParentChild, "TestItem \"b\" cannot be a child of TestItem \"a\""},
                 {a_, b_, kLikes, likes + ": it does not want to"},
                 {inner, box_, kParentChild, "cannot be its own ancestor"}};
    std::string why;
    for (const auto& c : cases) {
        EXPECT_FALSE(c.from.AddObject(c.to, c.type, &why));
        EXPECT_THAT(why, HasSubstr(c.why));
    }
    EXPECT_FALSE(a_.RemoveObject(b_, kLikes, true, &why));
    EXPECT_EQ(why, likes + " does not exist");
    EXPECT_THROW(a_.SetObjects({&box_}, kLikes), COrvRunTimeError);
}

TEST_F(RelationTest, AChildMovesToAnotherParent) {
    ASSERT_TRUE(box_.AddObject(a_, kParentChild));
    EXPECT_EQ(a_.GetParent(), &box_);
    EXPECT_FALSE(Project().ContainsObject(a_, kParentChild));
    EXPECT_THAT(TestItem::events, ElementsAre("a -ParentChild<" + Project().GetName(), "a +ParentChild<box"));
    box_.Set(kActive, false);
    ASSERT_TRUE(Project().AddObject(a_, kParentChild));
    EXPECT_TRUE(a_.GetActive()) << "its new parent is active";
}

}  // namespace
