// Look-ups in classes: properties by id and name, lineage, factories.
#include <gtest/gtest.h>

#include "data_model_fixture.h"
#include "orv/framework/static_registration.h"

namespace data_model_test {

namespace {

using orv::common::ClassId;
using orv::common::PropId;

/// A class with many properties, so that ids collide in the table.
CMetaClass::Definition MakeDefinition(std::uint32_t id, const std::string& name, const CMetaClass* base,
                                      int properties) {
    CMetaClass::Definition definition;
    definition.id = id;
    definition.name = name;
    definition.base = base;
    for (int i = 1; i <= properties; ++i) {
        CPropertyMeta property;
        property.id = id + static_cast<std::uint32_t>(i);
        property.name = name + std::to_string(i);
        property.type = PropertyType::U32;
        property.default_value = static_cast<std::uint32_t>(i);
        definition.own_properties.push_back(property);
    }
    return definition;
}

TEST(MetaClass, EveryPropertyIsFoundAndNoOther) {
    const CMetaClass base(MakeDefinition(0x6f001000, "Base", nullptr, 300));
    const CMetaClass derived(MakeDefinition(0x6f002000, "Derived", &base, 77));
    ASSERT_EQ(derived.GetProperties().size(), 377u);
    for (std::size_t slot = 0; slot < 377; ++slot) {
        const CPropertyMeta* property = derived.GetProperties()[slot];
        EXPECT_EQ(property->slot, slot);
        EXPECT_EQ(derived.FindProperty(property->id), property);
        EXPECT_EQ(derived.FindProperty(property->name), property);
        EXPECT_EQ(derived.GetDefaults()[slot], property->default_value);
    }
    EXPECT_EQ(derived.FindProperty("bAsE300"), derived.FindProperty(PropId(0x6f00112c)));
    EXPECT_EQ(base.FindProperty(PropId(0x6f002001)), nullptr);
    for (std::uint32_t index = 78; index < 0x1000; ++index) {
        ASSERT_EQ(derived.FindProperty(PropId(0x6f002000 + index)), nullptr) << index;
    }
    const CMetaClass empty(MakeDefinition(0x6f003000, "Empty", nullptr, 0));
    EXPECT_EQ(empty.FindProperty(PropId(0x6f003001)), nullptr);
    EXPECT_EQ(empty.FindProperty(PropId(0)), nullptr);
}

TEST(MetaClass, TypesFollowTheLineage) {
    CMetaClassManager& manager = CMetaClassManager::Instance();
    const CMetaClass& animal = manager.AddClass(MakeDefinition(0x6e001000, "Animal", nullptr, 0));
    const CMetaClass& cat = manager.AddClass(MakeDefinition(0x6e002000, "Cat", &animal, 0));
    const CMetaClass& dog = manager.AddClass(MakeDefinition(0x6e003000, "Dog", &animal, 0));
    EXPECT_TRUE(cat.IsTypeOf(cat));
    EXPECT_TRUE(cat.IsTypeOf(animal));
    EXPECT_FALSE(cat.IsTypeOf(dog));
    EXPECT_FALSE(animal.IsTypeOf(cat));
    EXPECT_TRUE(cat.IsTypeOf(ClassId(0x6e001000)));
    EXPECT_FALSE(cat.IsTypeOf(ClassId(0x6e003000)));
    EXPECT_TRUE(cat.IsTypeOf("CANIMAL"));
    EXPECT_TRUE(cat.IsTypeOf("cat"));  // its own C is not the leading one
    EXPECT_TRUE(cat.IsTypeOf("CCat"));
    EXPECT_FALSE(cat.IsTypeOf("at"));
    EXPECT_FALSE(cat.IsTypeOf("Unicorn"));

    EXPECT_EQ(manager.GetClass("CDog"), &dog);
    EXPECT_EQ(manager.GetClass("Dog", &animal), &dog);
    EXPECT_EQ(manager.GetClass("Dog", &cat), nullptr);
    EXPECT_EQ(manager.GetClass("Animal", &dog), nullptr);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { manager.GetClass("Unicorn", nullptr, true); }),
              "no active data model has the class \"Unicorn\"");
    EXPECT_THROW(manager.AddClass(MakeDefinition(0x6e001000, "Other", nullptr, 0)), COrvLogicError);
    EXPECT_THROW(manager.AddClass(MakeDefinition(0x6e004000, "animal", nullptr, 0)), COrvLogicError);
}

CScriptable* MakeNothing() {
    return nullptr;
}
CScriptable* MakeNothingElse() {
    return nullptr;
}
void DestroyNothing(CScriptable*) {}

TEST(MetaClass, TheNearestFactoryIsTaken) {
    CMetaClass::InitMakeDestroyFuncs(0x6d001000, &MakeNothing, &DestroyNothing);  // before the class is known
    CMetaClassManager& manager = CMetaClassManager::Instance();
    const CMetaClass& root = manager.AddClass(MakeDefinition(0x6d001000, "FactoryRoot", nullptr, 0));
    const CMetaClass& middle = manager.AddClass(MakeDefinition(0x6d002000, "FactoryMiddle", &root, 0));
    const CMetaClass& leaf = manager.AddClass(MakeDefinition(0x6d003000, "FactoryLeaf", &middle, 0));
    const CMetaClass& stranger = manager.AddClass(MakeDefinition(0x6d004000, "FactoryStranger", nullptr, 0));
    EXPECT_EQ(leaf.GetFactory().make, &MakeNothing);
    CMetaClass::InitMakeDestroyFuncs(0x6d002000, &MakeNothingElse, &DestroyNothing);  // and after
    EXPECT_EQ(root.GetFactory().make, &MakeNothing);
    EXPECT_EQ(middle.GetFactory().make, &MakeNothingElse);
    EXPECT_EQ(leaf.GetFactory().make, &MakeNothingElse);
    EXPECT_EQ(stranger.GetFactory().make, nullptr);
    EXPECT_EQ(stranger.GetFactory().destroy, nullptr);
}

TEST(MetaClass, ASecondFactoryIsAnErrorThatNamesBoth) {
    CMetaClass::InitMakeDestroyFuncs(0x6c001000, &MakeNothing, &DestroyNothing);
    const std::string both = " has two factories: one of host_model_tests and one of host_model_tests";
    const auto again = [] {
        CMetaClass::InitMakeDestroyFuncs(0x6c001000, &MakeNothingElse, &DestroyNothing);
    };
    EXPECT_EQ(ThrownBy<COrvLogicError>(again), "class 0x6c001000" + both);
    const CMetaClass& known =
        CMetaClassManager::Instance().AddClass(MakeDefinition(0x6c001000, "TwiceMade", nullptr, 0));
    EXPECT_EQ(ThrownBy<COrvLogicError>(again), "class 0x6c001000 (TwiceMade)" + both);
    EXPECT_EQ(known.GetFactory().make, &MakeNothing);

    // While a library loads, the same error is kept for the loader.
    CStaticRegistration::TakeErrors();
    CStaticRegistration::Run(again);
    CStaticRegistration::Run([] { throw 5; });
    CStaticRegistration::Run([] {});
    EXPECT_EQ(CStaticRegistration::TakeErrors(),
              (std::vector<std::string>{"class 0x6c001000 (TwiceMade)" + both,
                                        "a static registration threw something that is no exception"}));
    EXPECT_TRUE(CStaticRegistration::TakeErrors().empty());
}

TEST(MetaClass, ARelationIsAddedOnceUnderOneName) {
    CMetaClassManager& manager = CMetaClassManager::Instance();
    manager.AddClass(MakeDefinition(0x6b001000, "RelatedOne", nullptr, 0));
    manager.AddClass(MakeDefinition(0x6b002000, "RelatedTwo", nullptr, 0));
    CRelationManager& relations = CRelationManager::Instance();
    relations.AddRelation({0x6b000001, "Relates", 0x6b001000, 0x6b002000});
    EXPECT_NO_THROW(relations.AddRelation({0x6b000001, "relates", 0x6b002000, 0x6b001000}));
    EXPECT_EQ(ThrownBy<COrvLogicError>([&] {
                  relations.AddRelation({0x6b000001, "Relates", 0x6b001000, 0x6b002000});
              }),
              "relation Relates is declared twice for the same classes");
    EXPECT_THROW(relations.AddRelation({0x6b000001, "Other", 0x6b001000, 0x6b001000}), COrvLogicError);
    EXPECT_THROW(relations.AddRelation({0x6b000002, "Relates", 0x6b001000, 0x6b001000}), COrvLogicError);
}

}  // namespace

}  // namespace data_model_test
