#include <vector>

#include "object_model_fixture.h"
#include "orv/framework/apply.h"

namespace object_model_test {
namespace {

class PropertyTest : public ObjectModelTest {};

TEST_F(PropertyTest, StartsWithDefaultsAndKeepsWhatIsSet) {
    TestItem& item = MakeItem();
    EXPECT_EQ(item.GetU32(kCount), 3u);
    EXPECT_EQ(item.GetU8(kColour), 1);
    EXPECT_EQ(item.GetString(kText), "none");
    EXPECT_FALSE(item.GetNullableHasValue(kMaybe));
    EXPECT_TRUE(item.GetCollection<std::uint32_t>(kNumbers).empty());
    EXPECT_EQ(item.GetIpv6(kAddress).ToString(), "2001:db8::1");

    item.Set(kCount, std::uint32_t{100});
    item.Set(kText, "a literal is a text");
    item.Set(kMaybe, std::uint16_t{7});
    item.SetCollection<std::uint32_t>(kNumbers, {4, 5});
    item.AddToCollection<std::uint32_t>(kNumbers, 6);
    EXPECT_EQ(item.GetU32(kCount), 100u);
    EXPECT_EQ(item.GetT<unsigned int>(kCount), 100u);
    EXPECT_EQ(item.GetString(kText), "a literal is a text");
    EXPECT_EQ(item.GetU16(kMaybe), 7);
    EXPECT_EQ(item.GetCollection<std::uint32_t>(kNumbers), (std::vector<std::uint32_t>{4, 5, 6}));

    EXPECT_EQ(MakeItem().GetU32(kCount), 3u) << "another object keeps its own values";
}

TEST_F(PropertyTest, TextSetsAndReadsEveryType) {
    TestItem& item = MakeItem();
    const struct {
        const char* name;
        const char* text;
        const char* read_back;
    } rows[] = {
        {"Count", "42", "42"},
        {"count", "0x10", "16"},
        {"Colour", "blue", "BLUE"},
        {"Colour", "0", "RED"},
        {"Text", "a b", "a b"},
        {"Maybe", "9", "9"},
        {"Maybe", "", ""},
        {"Numbers", "1 2", "1 2"},
        {"Numbers", "", ""},
        {"Address", "FE80::1", "fe80::1"},
        {"Active", "FALSE", "false"},
        {"Name", "Kitchen", "Kitchen"},
    };
    for (const auto& row : rows) {
        item.Set(row.name, row.text);
        EXPECT_EQ(item.Get(row.name), row.read_back) << row.name;
    }
    EXPECT_EQ(item.GetName(), "Kitchen");
    EXPECT_FALSE(item.GetActive());
}

TEST_F(PropertyTest, RefusalsNameObjectAndProperty) {
    TestItem& item = MakeItem();
    item.Set("Name", "Lamp");
    const std::string lamp = "TestItem \"Lamp\"";
    const auto refused = [&](const char* name, const std::string& text) {
        return ThrownBy<COrvRunTimeError>([&] { item.Set(name, text); });
    };
    for (const auto& [name, text] : std::vector<std::pair<const char*, std::string>>{{"Count", "0"},
                                                                                     {"Count", "101"},
                                                                                     {"Count", "many"},
                                                                                     {"Colour", "PINK"},
                                                                                     {"Colour", "2"},
                                                                                     {"Maybe", "70000"},
                                                                                     {"Address", "10.0.0.1"},
                                                                                     {"Fixed", "true"}}) {
        const std::string message = refused(name, text);
        EXPECT_EQ(message.find(lamp), 0u) << message;
        EXPECT_NE(message.find(name), std::string::npos) << message;
    }
    EXPECT_EQ(refused("Weight", "1"), lamp + " has no property \"Weight\"");
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { item.Set(kCount, std::uint32_t{101}); }).find(lamp), 0u);
    EXPECT_EQ(item.GetU32(kCount), 3u) << "a refused value leaves the old one";
}

TEST_F(PropertyTest, WrongUseIsAnErrorOfTheProgram) {
    TestItem& item = MakeItem();
    const std::string unknown = ThrownBy<COrvLogicError>([&] { item.GetU32(0x7e002fff); });
    EXPECT_EQ(unknown, item.Describe() + " has no property 0x7e002fff");
    EXPECT_NE(ThrownBy<COrvLogicError>([&] { item.GetU8(kCount); }).find("Count is of type u32"),
              std::string::npos);
    EXPECT_NE(
        ThrownBy<COrvLogicError>([&] { item.Set(kCount, std::uint8_t{1}); }).find("Count is of type u32"),
        std::string::npos);
    EXPECT_NE(ThrownBy<COrvLogicError>([&] { item.GetU16(kMaybe); }).find("Maybe holds no value"),
              std::string::npos);
}

TEST_F(PropertyTest, OnlyAChangeIsToldAndMakesDirty) {
    TestItem& item = MakeItem();
    item.Set("Name", "Lamp");
    SettleAfterApply(Project());
    Events().clear();
    ASSERT_FALSE(item.IsObjectDirty(true));

    item.Set(kCount, std::uint32_t{3});
    EXPECT_TRUE(Events().empty()) << "the value it has already";
    item.Set(kMoment, std::uint64_t{1});
    EXPECT_FALSE(item.IsObjectDirty(false)) << "run-time state";
    item.Set(kCount, std::uint32_t{4});
    EXPECT_TRUE(item.IsObjectDirty(false));
    EXPECT_EQ(item.GetObjectState(), CScriptable::STATE_MODIFIED);
    EXPECT_TRUE(Project().IsObjectDirty(true));
    EXPECT_FALSE(Project().IsObjectDirty(false));
    EXPECT_EQ(Events(), (std::vector<std::string>{"Lamp.Moment", "Lamp.Count"}));
}

class Listener {
  public:
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
    TestItem& item = MakeItem();
    Listener first(item);
    Listener second(item);
    item.RegisterPropertyChangeDelegate(kCount, first.Bound());
    item.RegisterPropertyChangeDelegate(kCount, first.Bound());
    item.RegisterPropertyChangeDelegate(kCount, second.Bound());
    item.Set(kCount, std::uint32_t{10});
    item.Set(kColour, std::uint8_t{5});
    EXPECT_EQ(first.calls, 1) << "registered twice is registered once";
    EXPECT_EQ(second.calls, 1);

    first.other = &second;  // takes the second one away while both are being called
    item.Set(kCount, std::uint32_t{11});
    EXPECT_EQ(first.calls, 2);
    EXPECT_EQ(second.calls, 1);
    item.UnregisterPropertyChangeDelegate(kCount, first.Bound());
    item.Set(kCount, std::uint32_t{12});
    EXPECT_EQ(first.calls, 2);
}

TEST_F(PropertyTest, ActiveFollowsTheAncestorsAndKeepsTheOwnChoice) {
    CScriptable& outer = MakeBox();
    CScriptable& inner = MakeBox(&outer);
    TestItem& on = MakeItem(&inner);
    TestItem& off = MakeItem(&inner);
    off.Set(kActive, false);
    SettleAfterApply(Project());

    outer.Set(kActive, false);
    EXPECT_FALSE(inner.GetActive());
    EXPECT_FALSE(on.GetBool(kActive));
    EXPECT_TRUE(on.IsObjectDirty(false));
    EXPECT_FALSE(off.IsObjectDirty(false)) << "it was inactive before";
    EXPECT_FALSE(MakeItem(&inner).GetActive()) << "created below an inactive object";
    outer.Set(kActive, true);
    EXPECT_TRUE(on.GetActive());
    EXPECT_FALSE(off.GetActive());

    on.stays_active = true;
    outer.Set(kActive, false);
    EXPECT_TRUE(on.GetActive());
    outer.DoPropagateActiveState(true, true);
    EXPECT_TRUE(off.GetActive()) << "asked for by name, the whole subtree becomes active";
}

}  // namespace
}  // namespace object_model_test
