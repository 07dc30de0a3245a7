// What counts as a change, and the order of changes.
#include "orv/framework/change_log.h"

#include <gmock/gmock.h>

#include <functional>

#include "object_model_fixture.h"
#include "orv/framework/apply.h"

namespace object_model_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ChangeLogTest : public ObjectModelTest {
  protected:
    static CChangeLog& Log() { return CChangeLog::Instance(); }

    TestItem& a = MakeItem();
    TestItem& b = MakeItem();
    CScriptable& box = MakeBox();
};

TEST_F(ChangeLogTest, TellsWhoChangedInTheOrderOfTheLastChanges) {
    const struct {
        const char* name;
        std::function<void()> change;
        ScriptableVec changed;
    } cases[] = {
        {"nothing", [&] {}, {}},
        {"the same value", [&] { a.Set(kCount, a.GetU32(kCount)); }, {}},
        {"a property", [&] { a.Set(kCount, 7u); }, {&a}},
        {"a property that is not saved", [&] { a.Set(kMoment, std::uint64_t{7}); }, {&a}},
        {"two objects, one of them twice",
         [&] { a.Set(kCount, 8u), b.Set(kCount, 8u), a.Set(kCount, 9u); },
         {&a, &b}},
        {"the active state of a tree", [&] { box.Set("Active", "false"); }, {&box}},
        {"a relation", [&] { a.AddObject(b, kLikes); }, {&a}},
        {"its end, which both remember", [&] { a.RemoveObject(b, kLikes); }, {&a, &b}},
        {"another parent", [&] { box.AddObject(a, kParentChild); }, {&Project(), &a}},
        {"a mark for deletion", [&] { a.MarkDelete(true, true); }, {&a}},
        {"destruction", [&] { a.Delete(); }, {&box}},
        {"a state that is set", [&] { b.SetObjectState(CScriptable::STATE_MODIFIED); }, {&b}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const CChangeLog::Moment before = Log().GetNow();
        c.change();
        EXPECT_THAT(Log().GetChangedSince(before), testing::ElementsAreArray(c.changed));
        EXPECT_THAT(Log().GetChangedSince(Log().GetNow()), IsEmpty());
    }
}

TEST_F(ChangeLogTest, ReadersDoNotDisturbEachOther) {
    const CChangeLog::Moment first = Log().GetNow();
    a.Set(kCount, 1u);
    const CChangeLog::Moment second = Log().GetNow();
    b.Set(kCount, 1u);
    EXPECT_THAT(Log().GetChangedSince(second), ElementsAre(&b));
    EXPECT_THAT(Log().GetChangedSince(first), ElementsAre(&a, &b));
    a.Set(kCount, 2u);
    EXPECT_THAT(Log().GetChangedSince(second), ElementsAre(&b, &a));
    EXPECT_THAT(Log().GetChangedSince(0), testing::Contains(&box));
}

TEST_F(ChangeLogTest, SettlingIsNoChangeButComesAfterWhatItSettled) {
    a.Set(kCount, 1u);
    const CChangeLog::Moment before = Log().GetNow();
    EXPECT_LT(Log().GetSettled(), before);
    SettleAfterApply(Project());
    EXPECT_GT(Log().GetSettled(), before);
    EXPECT_THAT(Log().GetChangedSince(before), IsEmpty());
    EXPECT_FALSE(a.IsObjectDirty(false));
}

}  // namespace
}  // namespace object_model_test
