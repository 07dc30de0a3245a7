// Models become known as a whole, with everything that they need; those of the program among them.
#include <cstdlib>
#include <set>

#include "data_model_fixture.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/static_registration.h"

namespace {

using namespace host_test;  // NOLINT: a test

CRelationManager& Relations() {
    return CRelationManager::Instance();
}

using ActivationTest = DataModelTest;

TEST_F(ActivationTest, ClassesReferToEachOtherInAnyOrderAndAcrossFiles) {
    folder_.Write("b/derived.yaml", R"(datamodel: 0x71000000
name: parts
requires: [0x72000000]
classes:
  - {name: PartLeaf, id: 0x71003000, base: PartMiddle, parents: [PartRoot, PartLeaf], children: [OtherThing],
     properties: [{name: Mode, id: 0x71003001, type: u8, enum: PartMode, default: far}]}
  - {name: PartMiddle, id: 0x71002000, base: partroot}
relations: [{name: PartUses, id: 0x71000001, from: PartLeaf, to: OtherThing, max: 3, dirties-source: false}]
)");
    folder_.Write("root.yaml", R"(datamodel: 0x71000000
name: parts
enumerations: {PartMode: {NEAR: 1, FAR: 2}}
classes:
  - name: PartRoot
    id: 0x71001000
    base: Scriptable
    properties:
      - {name: Size, id: 0x71001001, type: u32, default: 0x10, min: 1, max: 99, unit: ms, display: The size, doc: How big.}
relations: [{name: PartUses, id: 0x71000001, from: PartRoot, to: PartRoot}]
)");
    folder_.Write("other.yaml", R"(datamodel: 0x72000000
name: other
classes: [{name: OtherThing, id: 0x72001000, base: Scriptable, abstract: true, singleton: true}]
)");
    ASSERT_EQ(ActivationError(0x71000000), "nothing thrown");
    EXPECT_TRUE(Classes().IsActive(0x72000000));
    const CMetaClass* leaf = Classes().GetClass("CPartLeaf");
    ASSERT_NE(leaf, nullptr);
    const CMetaClass& root = *leaf->GetBase()->GetBase();
    EXPECT_EQ(&root, Classes().GetClass(ClassId(0x71001000)));
    EXPECT_THAT(leaf->GetDefinition().parents, ElementsAre("PartRoot", "PartLeaf"));
    const CMetaClass& other = *Classes().GetClass("OtherThing");
    EXPECT_THAT(Classes().GetDefaultChildren(*leaf), ElementsAre(&other));
    EXPECT_TRUE(other.GetDefinition().is_abstract && other.GetDefinition().is_singleton);

    const CPropertyMeta* size = leaf->FindProperty("size");
    ASSERT_NE(size, nullptr);
    EXPECT_EQ(size->default_value, PropertyValue(std::uint32_t{16}));
    EXPECT_TRUE(size->minimum == 1 && size->maximum == 99);
    for (const auto& [name, text] :
         {std::pair{"unit", "ms"}, {"displayName", "The size"}, {"doc", "How big."}})
        EXPECT_EQ(*size->FindAttribute(name), text);
    EXPECT_EQ(size->FindAttribute("colour"), nullptr);
    EXPECT_EQ(leaf->GetDefaults().at(leaf->FindProperty("Mode")->slot), PropertyValue(std::uint8_t{2}));

    const CRelationMeta* uses = Relations().FindRelation(*leaf, other, {0x71000001, 0});
    ASSERT_NE(uses, nullptr);
    EXPECT_EQ(uses->max_targets, 3u);
    EXPECT_FALSE(uses->dirties_source);
    EXPECT_EQ(Relations().FindRelation(other, *leaf, {0x71000001, 1}), uses);
    EXPECT_EQ(Relations().FindRelation(other, *leaf, {0x71000001, 0}), nullptr);
    EXPECT_EQ(Relations().FindRelation(root, other, {0x71000001, 0}), nullptr);
    EXPECT_EQ(Relations().FindType("PARTUSES"), 0x71000001u);
    EXPECT_EQ(Relations().FindType("PartUsesNot"), 0u);
}

TEST_F(ActivationTest, WhatFailedCanBeActivatedOnceItIsRepaired) {
    const std::string model =
        "datamodel: 0x76000000\nname: m\nclasses:\n- {name: Repaired, id: 0x76001000, base: ";
    folder_.Write("m.yaml", model + "Nobody}\n");
    EXPECT_THAT(ActivationError(0x76000000), HasSubstr("Nobody"));
    folder_.Write("m.yaml", model + "Project}\n");
    EXPECT_EQ(ActivationError(0x76000000), "nothing thrown");
    folder_.Write("m.yaml", "datamodel: broken\n");
    EXPECT_EQ(ActivationError(0x76000000), "nothing thrown") << "an active model is not read again";
}

/// Runs in a process of its own, because the environment is read once.
TEST(SearchPath, TheEnvironmentReplacesTheFolderBesideTheHost) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto search_elsewhere = [] {
        setenv("ORV_DATAMODEL_PATH", "/nowhere/one::/nowhere/two", 1);
        std::fputs(ThrownBy<COrvRunTimeError>([] { Classes().ActivateDataModel(0x01000000); }).c_str(),
                   stderr);
        std::exit(3);
    };
    EXPECT_EXIT(search_elsewhere(), testing::ExitedWithCode(3),
                "^data model 0x01000000: no file has this id in /nowhere/one, /nowhere/two$");
}

/// A class with many properties, so that ids collide in the table.
CMetaClass::Definition Define(std::uint32_t id, const std::string& name, const CMetaClass* base = nullptr,
                              int properties = 0) {
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

void CheckFound(const CMetaClass& meta_class, const CPropertyMeta& property) {
    EXPECT_EQ(meta_class.FindProperty(property.id), &property);
    EXPECT_EQ(meta_class.FindProperty(property.name), &property);
    EXPECT_EQ(meta_class.GetDefaults()[property.slot], property.default_value);
}

TEST(MetaClass, EveryPropertyIsFoundAndNoOther) {
    const CMetaClass base(Define(0x6f001000, "Base", nullptr, 300));
    const CMetaClass derived(Define(0x6f002000, "Derived", &base, 77));
    ASSERT_EQ(derived.GetProperties().size(), 377u);
    for (std::size_t slot = 0; slot < 377; ++slot) {
        EXPECT_EQ(derived.GetProperties()[slot]->slot, slot);
        CheckFound(derived, *derived.GetProperties()[slot]);
    }
    EXPECT_EQ(derived.FindProperty("bAsE300"), derived.FindProperty(PropId(0x6f00112c)));
    EXPECT_EQ(base.FindProperty(PropId(0x6f002001)), nullptr);
    for (std::uint32_t index = 78; index < 0x1000; ++index)
        ASSERT_EQ(derived.FindProperty(PropId(0x6f002000 + index)), nullptr) << index;
    const CMetaClass empty(Define(0x6f003000, "Empty"));
    EXPECT_EQ(empty.FindProperty(PropId(0x6f003001)), nullptr);
    EXPECT_EQ(empty.FindProperty(PropId(0)), nullptr);
}

TEST(MetaClass, TypesFollowTheLineage) {
    const CMetaClass& animal = Classes().AddClass(Define(0x6e001000, "Animal"));
    const CMetaClass& cat = Classes().AddClass(Define(0x6e002000, "Cat", &animal));
    for (const char* name : {"CANIMAL", "cat", "CCat"}) EXPECT_TRUE(cat.IsTypeOf(name)) << name;
    for (const char* name : {"at", "Unicorn", "Dog"}) EXPECT_FALSE(cat.IsTypeOf(name)) << name;
    EXPECT_EQ(Classes().GetClass("Cat", &animal), &cat);
    EXPECT_EQ(Classes().GetClass("Animal", &cat), nullptr);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([] { Classes().GetClass("Unicorn", nullptr, true); }),
              "no active data model has the class \"Unicorn\"");
    EXPECT_THROW(Classes().AddClass(Define(0x6e001000, "Other")), COrvLogicError);
    EXPECT_THROW(Classes().AddClass(Define(0x6e004000, "animal")), COrvLogicError);
}

TEST(MetaClass, ErrorsOfStaticRegistrationsAreKeptForTheLoader) {
    const auto register_it = [] { CMetaClass::InitMakeDestroyFuncs(0x6c001000, nullptr, nullptr); };
    Classes().AddClass(Define(0x6c001000, "TwiceMade"));
    CStaticRegistration::TakeErrors();
    for (int i = 0; i < 2; ++i) CStaticRegistration::Run(register_it);
    CStaticRegistration::Run([] { throw 5; });
    EXPECT_THAT(CStaticRegistration::TakeErrors(),
                ElementsAre(HasSubstr("class 0x6c001000 (TwiceMade) has two factories: "),
                            "a static registration threw something that is no exception"));
    EXPECT_THAT(CStaticRegistration::TakeErrors(), IsEmpty());
}

TEST(ShippedModels, HaveLegalDefaultsThatReadBackAndAClassForEveryFactory) {
    const std::set<std::uint32_t> models = {0, 0x01000000, 0x04000000, 0x19000000, 0x1d000000, 0x21000000};
    for (const std::uint32_t id : models) Classes().ActivateDataModel(id);
    const auto is_shipped = [&](ClassId id) { return models.contains(id.GetValue() & 0xff000000); };
    const auto plain_object = Classes().GetClass(orv::framework::CScriptable::CLASS_ID())->GetFactory().make;
    for (const CMetaClass* meta_class : Classes().GetClasses()) {
        if (!is_shipped(meta_class->GetClassId())) continue;
        const auto module = meta_class->GetClassId().GetValue() & 0xff000000;
        const bool is_plain = module == 0 || module == 0x21000000 || meta_class->GetDefinition().is_abstract;
        EXPECT_TRUE(is_plain || meta_class->GetFactory().make != plain_object) << meta_class->GetName();
        for (const CPropertyMeta* property : meta_class->GetProperties()) {
            SCOPED_TRACE(meta_class->GetName() + "." + property->name);
            EXPECT_NO_THROW(property->Check(property->default_value));
            EXPECT_EQ(property->Parse(property->Format(property->default_value)), property->default_value);
            CheckFound(*meta_class, *property);
        }
    }
    for (const ClassId id : CMetaClass::GetClassesWithFactory())
        EXPECT_TRUE(!is_shipped(id) || Classes().GetClass(id)) << std::hex << id.GetValue();
}

}  // namespace
