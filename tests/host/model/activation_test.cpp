// Models become known as a whole, with everything that they need.
#include <cstdlib>

#include "data_model_fixture.h"

namespace data_model_test {

namespace {

using ActivationTest = DataModelTest;

TEST_F(ActivationTest, ClassesReferToEachOtherInAnyOrderAndAcrossFiles) {
    Write("b/derived.yaml", R"(datamodel: 0x71000000
name: parts
requires: [0x72000000]
classes:
  - {name: PartLeaf, id: 0x71003000, base: PartMiddle, parents: [PartRoot, PartLeaf], children: [OtherThing],
     properties: [{name: Mode, id: 0x71003001, type: u8, enum: PartMode, default: far}]}
  - {name: PartMiddle, id: 0x71002000, base: partroot}
relations:
  - {name: PartUses, id: 0x71000001, from: PartLeaf, to: OtherThing, max: 3, dirties-source: false}
)");
    Write("root.yaml", R"(datamodel: 0x71000000
name: parts
enumerations:
  PartMode: {NEAR: 1, FAR: 2}
classes:
  - name: PartRoot
    id: 0x71001000
    base: Scriptable
    display: Root of parts
    doc: Where parts begin.
    properties:
      - {name: Size, id: 0x71001001, type: u32, default: 0x10, min: 1, max: 99, unit: ms, display: The size, doc: How big.}
relations:
  - {name: PartUses, id: 0x71000001, from: PartRoot, to: PartRoot}
)");
    Write("other.yaml", R"(datamodel: 0x72000000
name: other
classes: [{name: OtherThing, id: 0x72001000, base: Scriptable, abstract: true, singleton: true}]
)");
    ASSERT_EQ(ActivationError(0x71000000), "");
    const auto& manager = CMetaClassManager::Instance();
    EXPECT_TRUE(manager.IsActive(0x72000000));
    const CMetaClass* leaf = manager.GetClass("CPartLeaf");
    ASSERT_NE(leaf, nullptr);
    EXPECT_EQ(leaf->GetBase()->GetBase(), manager.GetClass(orv::common::ClassId(0x71001000)));
    EXPECT_EQ(leaf->GetDefinition().parents, (std::vector<std::string>{"PartRoot", "PartLeaf"}));
    EXPECT_EQ(manager.GetDefaultChildren(*leaf), std::vector{manager.GetClass("OtherThing")});
    EXPECT_TRUE(manager.GetClass("OtherThing")->GetDefinition().is_abstract);
    EXPECT_TRUE(manager.GetClass("OtherThing")->GetDefinition().is_singleton);

    const CPropertyMeta* size = leaf->FindProperty("size");
    ASSERT_NE(size, nullptr);
    EXPECT_EQ(size->default_value, PropertyValue(std::uint32_t{16}));
    EXPECT_EQ(size->minimum, 1);
    EXPECT_EQ(size->maximum, 99);
    EXPECT_EQ(*size->FindAttribute("unit"), "ms");
    EXPECT_EQ(*size->FindAttribute("displayName"), "The size");
    EXPECT_EQ(*size->FindAttribute("doc"), "How big.");
    EXPECT_EQ(size->FindAttribute("colour"), nullptr);
    EXPECT_EQ(leaf->GetDefaults().at(leaf->FindProperty("Mode")->slot), PropertyValue(std::uint8_t{2}));

    // The relation of the classes themselves goes before that of their bases only if it was declared first;
    // here each pair has its own.
    const auto& relations = CRelationManager::Instance();
    const CMetaClass& root = *manager.GetClass("PartRoot");
    const CMetaClass& other = *manager.GetClass("OtherThing");
    const CRelationMeta* uses = relations.FindRelation(*leaf, other, {0x71000001, 0});
    ASSERT_NE(uses, nullptr);
    EXPECT_EQ(uses->max_targets, 3u);
    EXPECT_FALSE(uses->dirties_source);
    EXPECT_EQ(relations.FindRelation(other, *leaf, {0x71000001, 1}), uses);
    EXPECT_EQ(relations.FindRelation(other, *leaf, {0x71000001, 0}), nullptr);
    EXPECT_EQ(relations.FindRelation(root, other, {0x71000001, 0}), nullptr);
    ASSERT_NE(relations.FindRelation(*leaf, root, {0x71000001, 0}), nullptr);
    EXPECT_EQ(relations.FindRelation(*leaf, root, {0x71000001, 0})->max_targets, 0u);
    EXPECT_EQ(relations.FindType("PARTUSES"), 0x71000001u);
    EXPECT_EQ(relations.GetTypeName(0x71000001), "PartUses");
    EXPECT_EQ(relations.FindType("PartUsesNot"), 0u);
}

TEST_F(ActivationTest, PropertiesWithoutDefaultStartAsTheLeastThatIsAllowed) {
    Write("m.yaml", R"(datamodel: 0x73000000
name: defaults
enumerations: {DefaultMode: {SOME: 3, MORE: 4}}
classes:
  - name: DefaultHolder
    id: 0x73001000
    base: Scriptable
    properties:
      - {name: Flag, id: 0x73001001, type: bool}
      - {name: Number, id: 0x73001002, type: s32}
      - {name: High, id: 0x73001003, type: u8, min: 7}
      - {name: Low, id: 0x73001004, type: s16, max: -7}
      - {name: Mode, id: 0x73001005, type: u8, enum: defaultmode}
      - {name: Nothing, id: 0x73001006, type: double, nullable: true, min: 1}
      - {name: List, id: 0x73001007, type: string, collection: true}
      - {name: Texts, id: 0x73001008, type: string, collection: true, default: [a b, "", no]}
      - {name: Address, id: 0x73001009, type: ipv6}
      - {name: Something, id: 0x7300100a, type: double, nullable: true, default: 1.5}
)");
    ASSERT_EQ(ActivationError(0x73000000), "");
    const CMetaClass* meta_class = CMetaClassManager::Instance().GetClass("DefaultHolder");
    std::string texts;
    for (const CPropertyMeta& property : meta_class->GetDefinition().own_properties) {
        texts += property.name + "=" + property.Format(property.default_value) + ";";
    }
    EXPECT_EQ(texts,
              "Flag=false;Number=0;High=7;Low=-7;Mode=SOME;Nothing=;List=;Texts=\"a b\" \"\" no;Address=::;"
              "Something=1.5;");
}

TEST_F(ActivationTest, ARelationMayBeDeclaredForClassesOfOtherModels) {
    Write("first.yaml", R"(datamodel: 0x74000000
name: first
classes: [{name: FirstThing, id: 0x74001000, base: Scriptable}, {name: FirstPart, id: 0x74002000, base: Scriptable}]
relations: [{name: FirstLink, id: 0x74000001, from: FirstThing, to: FirstThing}]
default-children: {FirstThing: [FirstPart]}
)");
    Write("second.yaml", R"(datamodel: 0x75000000
name: second
requires: [0x74000000]
classes: [{name: SecondThing, id: 0x75001000, base: Scriptable}]
relations: [{name: FirstLink, id: 0x74000001, from: FirstThing, to: SecondThing}]
default-children: {FirstThing: [SecondThing]}
)");
    ASSERT_EQ(ActivationError(0x75000000), "");
    const auto& manager = CMetaClassManager::Instance();
    const CMetaClass& first = *manager.GetClass("FirstThing");
    const CMetaClass& second = *manager.GetClass("SecondThing");
    EXPECT_NE(CRelationManager::Instance().FindRelation(first, second, {0x74000001, 0}), nullptr);
    EXPECT_EQ(CRelationManager::Instance().FindRelation(second, first, {0x74000001, 0}), nullptr);
    EXPECT_EQ(manager.GetDefaultChildren(first), (std::vector{manager.GetClass("FirstPart"), &second}));
}

TEST_F(ActivationTest, WhatFailedCanBeActivatedOnceItIsRepaired) {
    Write("m.yaml",
          "datamodel: 0x76000000\nname: repaired\nclasses:\n- {name: Repaired, id: 0x76001000, base: "
          "Nobody}\n");
    EXPECT_NE(ActivationError(0x76000000), "");
    Write("m.yaml",
          "datamodel: 0x76000000\nname: repaired\nclasses:\n- {name: Repaired, id: 0x76001000, base: "
          "Project}\n");
    EXPECT_EQ(ActivationError(0x76000000), "");
    // An active model is not read again.
    Write("m.yaml", "datamodel: broken\n");
    EXPECT_EQ(ActivationError(0x76000000), "");
}

TEST_F(ActivationTest, ModelsThatRequireEachOtherAreRefused) {
    Write("a.yaml", "datamodel: 0x77000000\nname: a\nrequires: [0x78000000]\n");
    Write("b.yaml", "datamodel: 0x78000000\nname: b\nrequires:\n- 0x77000000\n");
    EXPECT_EQ(ActivationError(0x77000000),
              "a.yaml:3: required: b.yaml:4: required: data model 0x77000000 requires itself");
    EXPECT_FALSE(CMetaClassManager::Instance().IsActive(0x78000000));
}

TEST_F(ActivationTest, AFolderWithinASearchedFolderIsReadOnce) {
    Write("inner/m.yaml",
          "datamodel: 0x79000000\nname: m\nclasses:\n- {name: Inner, id: 0x79001000, base: Scriptable}\n");
    CMetaClassManager::Instance().AddSearchFolder(folder_ / "inner" / ".." / "inner");
    std::filesystem::create_directory_symlink(folder_ / "inner", folder_ / "again");
    CMetaClassManager::Instance().AddSearchFolder(folder_ / "again");
    EXPECT_EQ(ActivationError(0x79000000), "");
}

/// Runs in a process of its own, because the environment is read once.
TEST(SearchPath, TheEnvironmentReplacesTheFolderBesideTheHost) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    const auto search_elsewhere = [] {
        setenv("ORV_DATAMODEL_PATH", "/nowhere/one::/nowhere/two", 1);
        try {
            CMetaClassManager::Instance().ActivateDataModel(0x01000000);
        } catch (const COrvRunTimeError& error) {
            std::fputs(error.what(), stderr);
            std::exit(3);
        }
        std::exit(0);
    };
    EXPECT_EXIT(search_elsewhere(), testing::ExitedWithCode(3),
                "^data model 0x01000000: no file has this id in /nowhere/one, /nowhere/two$");
}

}  // namespace

}  // namespace data_model_test
