// Values of objects, and who learns of their changes.
#include "host/host_fixture.h"
#include "orv/framework/apply.h"
#include "orv/framework/change_log.h"
#include "orv/framework/notification_service.h"

namespace {

using namespace host_test;  // NOLINT: a test

using testing::StartsWith;

constexpr PropId kColour = 0x7e002002, kText = 0x7e002003, kMaybe = 0x7e002004, kNumbers = 0x7e002005;

struct PropertyTest : HostTest {
    TestItem& item = MakeItem();
};

TEST_F(PropertyTest, KeepsWhatIsSetForItsObjectAlone) {
    EXPECT_FALSE(item.GetNullableHasValue(kMaybe));
    item.Set(kCount, 100u);
    item.Set(kText, "a literal is a text");
    item.Set(kMaybe, std::uint16_t{7});
    item.SetCollection<std::uint32_t>(kNumbers, {4, 5});
    item.AddToCollection<std::uint32_t>(kNumbers, 6);
    EXPECT_EQ(item.GetU32(kCount), 100u);
    EXPECT_EQ(item.GetString(kText), "a literal is a text");
    EXPECT_EQ(item.GetU16(kMaybe), 7);
    EXPECT_THAT(item.GetCollection<std::uint32_t>(kNumbers), ElementsAre(4, 5, 6));
    EXPECT_EQ(MakeItem().GetU32(kCount), 3u);
    const std::pair<const char*, const char*> rows[] = {{"count", "16"},     {"Colour", "BLUE"},
                                                        {"Maybe", ""},       {"Numbers", "1"},
                                                        {"Active", "false"}, {"Name", "Kitchen"}};
    for (const auto& [name, text] : rows) {
        item.Set(name, text);
        EXPECT_EQ(item.Get(name), text) << name;
    }
    EXPECT_EQ(item.GetName(), "Kitchen");
    EXPECT_FALSE(item.GetActive());
}

TEST_F(PropertyTest, RefusalsNameObjectAndProperty) {
    item.Set("Name", "Lamp");
    const std::string lamp = "TestItem \"Lamp\"";
    const std::pair<const char*, const char*> cases[] = {
        {"Count", "101"}, {"Colour", "PINK"}, {"Address", "10.0.0.1"}, {"Fixed", "true"}, {"Weight", "1"}};
    for (const auto& [name, text] : cases) {
        EXPECT_THAT(ThrownBy<COrvRunTimeError>([&, name = name, text = text] { item.Set(name, text); }),
                    testing::AllOf(StartsWith(lamp), HasSubstr(name)));
    }
    EXPECT_THAT(ThrownBy<COrvRunTimeError>([&] { item.Set(kCount, 101u); }), StartsWith(lamp));
    EXPECT_EQ(item.GetU32(kCount), 3u) << "a refused value leaves the old one";
    const auto wrong_use = [](auto use) { return ThrownBy<COrvLogicError>(use); };
    EXPECT_EQ(wrong_use([&] { item.GetU32(0x7e002fff); }), lamp + " has no property 0x7e002fff");
    EXPECT_THAT(wrong_use([&] { item.GetU8(kCount); }), HasSubstr("Count is of type u32"));
    EXPECT_THAT(wrong_use([&] { item.Set(kCount, std::uint8_t{1}); }), HasSubstr("Count is of type u32"));
    EXPECT_THAT(wrong_use([&] { item.GetU16(kMaybe); }), HasSubstr("Maybe holds no value"));
}

TEST_F(PropertyTest, OnlyAChangeIsToldAndMakesDirty) {
    item.Set("Name", "Lamp");
    SettleAfterApply(Project());
    TestItem::events.clear();
    ASSERT_FALSE(item.IsObjectDirty(true));
    item.Set(kCount, 3u);  // the value it has already
    item.Set(kMoment, std::uint64_t{1});
    EXPECT_FALSE(item.IsObjectDirty(false)) << "run-time state";
    item.Set(kCount, 4u);
    EXPECT_EQ(item.GetObjectState(), CScriptable::STATE_MODIFIED);
    EXPECT_TRUE(Project().IsObjectDirty(true) && !Project().IsObjectDirty(false));
    EXPECT_THAT(TestItem::events, ElementsAre("Lamp.Moment", "Lamp.Count"));
}

struct Listener {
    explicit Listener(CScriptable& item) : item_(item) {}
    void Changed(CScriptable* object, PropId id) {
        EXPECT_EQ(object, &item_);
        EXPECT_EQ(id, kCount);
        ++calls;
        if (other) item_.UnregisterPropertyChangeDelegate(kCount, other->Bound());
    }
    PropertyChangeDelegate Bound() { return PropertyChangeDelegate::To<&Listener::Changed>(this); }

    int calls = 0;
    Listener* other = nullptr;

  private:
    CScriptable& item_;
};

TEST_F(PropertyTest, DelegatesAreCalledUntilTheyAreUnregistered) {
    Listener first(item), second(item);
    for (Listener* each : {&first, &first, &second})
        item.RegisterPropertyChangeDelegate(kCount, each->Bound());
    item.Set(kCount, 10u);
    item.Set(kColour, std::uint8_t{5});
    EXPECT_EQ(first.calls, 1) << "registered twice is registered once";
    EXPECT_EQ(second.calls, 1);
    first.other = &second;  // takes the second one away while both are being called
    item.Set(kCount, 11u);
    EXPECT_EQ(second.calls, 1);
    item.UnregisterPropertyChangeDelegate(kCount, first.Bound());
    item.Set(kCount, 12u);
    EXPECT_EQ(first.calls, 2);
}

TEST_F(PropertyTest, ActiveFollowsTheAncestorsAndKeepsTheOwnChoice) {
    CScriptable &outer = MakeBox(), &inner = MakeBox(&outer);
    TestItem &on = MakeItem(&inner), &off = MakeItem(&inner);
    off.Set(kActive, false);
    SettleAfterApply(Project());
    outer.Set(kActive, false);
    EXPECT_FALSE(inner.GetActive() || on.GetBool(kActive));
    EXPECT_TRUE(on.IsObjectDirty(false));
    EXPECT_FALSE(off.IsObjectDirty(false)) << "it was inactive before";
    EXPECT_FALSE(MakeItem(&inner).GetActive()) << "created below an inactive object";
    outer.Set(kActive, true);
    EXPECT_TRUE(on.GetActive() && !off.GetActive());
    on.stays_active = true;
    outer.Set(kActive, false);
    EXPECT_TRUE(on.GetActive());
    outer.DoPropagateActiveState(true, true);
    EXPECT_TRUE(off.GetActive()) << "asked for by name, the whole subtree becomes active";
}

struct ChangeLogTest : HostTest {
    static CChangeLog& Log() { return CChangeLog::Instance(); }

    TestItem &a = MakeItem(), &b = MakeItem();
    CScriptable& box = MakeBox();
};

TEST_F(ChangeLogTest, TellsWhoChangedInTheOrderOfTheLastChanges) {
    const auto count = [](CScriptable& item, std::uint32_t value) { item.Set(kCount, value); };
    const std::tuple<const char*, std::function<void()>, ScriptableVec> cases[] = {
        {"the same value", [&] { count(a, a.GetU32(kCount)); }, {}},
        {"a property", [&] { count(a, 7); }, {&a}},
        {"a property that is not saved", [&] { a.Set(kMoment, std::uint64_t{7}); }, {&a}},
        {"two objects, one of them twice", [&] { count(a, 8), count(b, 8), count(a, 9); }, {&a, &b}},
        {"with a reader between",
         [&] { count(a, 8), Log().TakeMoment(), count(b, 9), count(a, 9); },
         {&b, &a}},
        {"the active state of a tree", [&] { box.Set("Active", "false"); }, {&box}},
        {"a relation", [&] { a.AddObject(b, kLikes); }, {&a}},
        {"its end, which both remember", [&] { a.RemoveObject(b, kLikes); }, {&a, &b}},
        {"another parent", [&] { box.AddObject(a, kParentChild); }, {&Project(), &a}},
        {"a mark for deletion", [&] { a.MarkDelete(true, true); }, {&a}},
        {"destruction", [&] { a.Delete(); }, {&box}},
        {"a state that is set", [&] { b.SetObjectState(CScriptable::STATE_MODIFIED); }, {&b}}};
    for (const auto& [name, change, changed] : cases) {
        const CChangeLog::Moment before = Log().TakeMoment();
        change();
        EXPECT_EQ(Log().GetChangedSince(before), changed) << name;
        EXPECT_THAT(Log().GetChangedSince(Log().TakeMoment()), IsEmpty());
        EXPECT_THAT(Log().GetChangedSince(0), testing::Contains(&b));
    }
}

TEST_F(HostTest, RegisteredObjectsReportTheirChangesUntilTheyEnd) {
    auto& service = CNotificationService::Instance();
    const LogCatcher log;
    std::string trace;
    const int tracing = service.AddListener([&](CScriptable& object, CNotificationService::Change change) {
        trace += object.GetName() + std::to_string(static_cast<int>(change)) + " ";
    });
    CScriptable &a = MakeThing("a"), &b = MakeThing("b");
    for (CScriptable* object : ScriptableVec{&a, &a, nullptr}) service.RegisterCallback(object);
    for (CScriptable* object : {&a, &a, &b}) object->Set(kValue, 2u);
    a.AddObject(b, kThingUses);
    EXPECT_EQ(trace, "a0 a1 a2 ");
    int later = 0, later_calls = 0;
    const int failing = service.AddListener([&](auto&&...) {
        service.RemoveListener(later);
        throw std::runtime_error("spoilt");
    });
    later = service.AddListener([&](auto&&...) { ++later_calls; });
    a.Delete();
    EXPECT_THAT(trace, testing::EndsWith("3 "));
    EXPECT_EQ(later_calls, 0) << "a listener may remove others, and its failure stays with it";
    EXPECT_TRUE(log.Has(LogLevelType::Error, "spoilt"));
    for (const int id : {tracing, failing}) service.RemoveListener(id);
}

}  // namespace
