// Errors of a data-model file name file and line, and nothing of the model is then known.
#include "data_model_fixture.h"

namespace data_model_test {

namespace {

constexpr std::uint32_t kModel = 0x7d000000;

struct ErrorCase {
    const char* name;
    const char* text;
    const char* expected;
};

/// A whole file.
const ErrorCase kFileCases[] = {
    {"Empty", "", "m.yaml:1: the file is empty"},
    {"NoMapping", "- a\n", "m.yaml:1: expected keys and values"},
    {"NoId", "name: bad\n", "m.yaml:1: key \"datamodel\" is missing"},
    {"IdIsNoNumber", "name: bad\ndatamodel: none\n",
     "m.yaml:2: expected a whole number (decimal or 0x hexadecimal), found \"none\""},
    {"IdTooLarge", "datamodel: 0x17d000000\nname: bad\n",
     "m.yaml:1: expected a number from 0 to 0xffffffff, found \"0x17d000000\""},
    {"IdNegative", "datamodel: -1\n", "m.yaml:1: expected a number from 0 to 0xffffffff, found \"-1\""},
    {"TwoIds", "datamodel: 0x7d000000\ndatamodel: 0x7d000000\n",
     "m.yaml:2: key \"datamodel\" is given twice, first in line 1"},
    {"MalformedYaml", "datamodel: 0x7d000000\nname: [a\n", "m.yaml:3: end of sequence flow not found"},
    {"TwoDocuments", "datamodel: 0x7d000000\nname: bad\n---\nname: more\n",
     "m.yaml:4: a second document; one is expected in a file"},
    {"NoName", "datamodel: 0x7d000000\n", "m.yaml:1: key \"name\" is missing"},
    {"NameWithBlank", "datamodel: 0x7d000000\nname: two words\n",
     "m.yaml:2: expected a name of letters, digits and underscores, found \"two words\""},
    {"UnknownKey", "datamodel: 0x7d000000\nname: bad\nclass: []\n",
     "m.yaml:3: unknown key \"class\"; there are datamodel, name, requires, enumerations, "
     "enumeration-aliases, classes, "
     "relations, "
     "default-children"},
};

/// What follows the lines "datamodel" and "name".
const ErrorCase kModelCases[] = {
    {"NothingBehindKey", "classes:\nrelations: []\n", "m.yaml:3: expected a list"},
    {"RequiresNumber", "requires: 0x01000000\n", "m.yaml:3: expected a list"},
    {"OctalId", "requires: [010]\n",
     "m.yaml:3: expected a whole number (decimal or 0x hexadecimal), found \"010\""},
    {"ExponentId", "requires: [1e3]\n",
     "m.yaml:3: expected a whole number (decimal or 0x hexadecimal), found \"1e3\""},
    {"UnknownParent", "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, parents: [Nobody]}\n",
     "m.yaml:4: there is no class \"Nobody\""},
    {"UnknownChild", "classes:\n- {name: A, id: 0x7d001000, base: Scriptable,\n   children: [A, Nobody]}\n",
     "m.yaml:5: there is no class \"Nobody\""},
    {"ChildrenWithoutEnd",
     "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, children: [B]}\n"
     "- {name: B, id: 0x7d002000, base: Scriptable, children: [A]}\n",
     "m.yaml:4: default child B brings along an object of class A again, without end"},
    {"ChildrenWithoutEndThroughAnotherModel",
     "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, children: [Project]}\n"
     "default-children:\n  Project: [A]\n",
     "m.yaml:4: default child Project brings along an object of class A again, without end"},
    {"UnknownBase", "classes:\n- name: A\n  id: 0x7d001000\n  base: Nobody\n",
     "m.yaml:6: there is no class \"Nobody\""},
    {"NoBase", "classes:\n- {name: A, id: 0x7d001000}\n", "m.yaml:4: class A: key \"base\" is missing"},
    {"BaseCycle",
     "classes:\n- {name: A, id: 0x7d001000, base: B}\n- {name: B, id: 0x7d002000, base: C2}\n"
     "- {name: C2, id: 0x7d003000, base: A}\n",
     "m.yaml:4: class A is its own base class"},
    {"OwnBase", "classes:\n- {name: A, id: 0x7d001000, base: A}\n",
     "m.yaml:4: class A is its own base class"},
    {"ForeignClassId", "classes:\n- {name: A, id: 0x7e001000, base: Scriptable}\n",
     "m.yaml:4: class A: id 0x7e001000 is outside the data model 0x7d000000"},
    {"UnevenClassId", "classes:\n- {name: A, id: 0x7d001001, base: Scriptable}\n",
     "m.yaml:4: class A: the low twelve bits of the id 0x7d001001 must be zero"},
    {"ClassIdTwice",
     "classes:\n- {name: A, id: 0x7d001000, base: Scriptable}\n- {name: B, id: 0x7d001000, base: "
     "Scriptable}\n",
     "m.yaml:5: the id of class B is declared twice, first at m.yaml:4"},
    {"ClassNameTwice",
     "classes:\n- {name: Aa, id: 0x7d001000, base: Scriptable}\n- {name: aA, id: 0x7d002000, base: "
     "Scriptable}\n",
     "m.yaml:5: class aA is declared twice, first at m.yaml:4"},
    {"ClassOfAnotherModel", "classes:\n- {name: PROJECT, id: 0x7d001000, base: Scriptable}\n",
     "m.yaml:4: class PROJECT: an active data model has the class Project with this id or name"},
    {"ClassLikeEnumeration",
     "enumerations:\n  Mode: {ON: 1}\nclasses:\n- {name: mode, id: 0x7d001000, base: Scriptable}\n",
     "m.yaml:6: class mode has the name of the enumeration at m.yaml:4"},
    {"NoForTrue", "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, abstract: no}\n",
     "m.yaml:4: expected true or false, found \"no\""},
    {"CapitalTrue", "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, singleton: True}\n",
     "m.yaml:4: expected true or false, found \"True\""},
    {"EnumerationTwice", "enumerations:\n  Mode: {ON: 1}\n  MODE: {ON: 1}\n",
     "m.yaml:5: enumeration MODE is declared twice, first at m.yaml:4"},
    {"EnumerationNameTwice", "enumerations:\n  Mode: {ON: 1, on: 2}\n",
     "m.yaml:4: enumeration Mode has the name on twice"},
    {"EnumerationValueTwice", "enumerations:\n  Mode: {ON: 1, OFF: 0x1}\n",
     "m.yaml:4: enumeration Mode: OFF has the value of ON"},
    {"EnumerationValueNoNumber", "enumerations:\n  Mode: {ON: yes}\n",
     "m.yaml:4: expected a whole number (decimal or 0x hexadecimal), found \"yes\""},
    {"AliasOfNoEnumeration", "enumeration-aliases:\n  Mode: {ON: OFF}\n",
     "m.yaml:4: the file has no enumeration Mode"},
    {"AliasOfNoName", "enumerations:\n  Mode: {ON: 1}\nenumeration-aliases:\n  Mode: {GO: OFF}\n",
     "m.yaml:6: enumeration Mode has no name OFF"},
    {"AliasTwice", "enumerations:\n  Mode: {ON: 1}\nenumeration-aliases:\n  Mode: {on: ON}\n",
     "m.yaml:6: enumeration Mode has the name on twice"},
    {"EnumerationEmpty", "enumerations:\n  Mode: {}\n", "m.yaml:4: enumeration Mode has no values"},
    {"RelationFromUnknown", "relations:\n- {name: R, id: 0x7d000001, from: Nobody, to: Scriptable}\n",
     "m.yaml:4: there is no class \"Nobody\""},
    {"RelationToUnknown", "relations:\n- {name: R, id: 0x7d000001, from: Scriptable, to: Nobody}\n",
     "m.yaml:4: there is no class \"Nobody\""},
    {"RelationTwice",
     "relations:\n- {name: R, id: 0x7d000001, from: Project, to: System}\n"
     "- {name: R, id: 0x7d000001, from: Project, to: System}\n",
     "m.yaml:5: relation R from Project to System is declared twice, first at m.yaml:4"},
    {"RelationNameOfTwoIds",
     "relations:\n- {name: R, id: 0x7d000001, from: Project, to: System}\n"
     "- {name: r, id: 0x7d000002, from: System, to: Project}\n",
     "m.yaml:5: relation r has another id at m.yaml:4"},
    {"RelationIdOfTwoNames",
     "relations:\n- {name: R, id: 0x7d000001, from: Project, to: System}\n"
     "- {name: S, id: 0x7d000001, from: System, to: Project}\n",
     "m.yaml:5: relation S: the id is that of relation R at m.yaml:4"},
    {"RelationNameOfAnotherModel",
     "relations:\n- {name: resultchild, id: 0x7d000001, from: Project, to: System}\n",
     "m.yaml:4: relation resultchild has another id in an active data model"},
    {"RelationIdOfAnotherModel", "relations:\n- {name: R, id: 2, from: Project, to: System}\n",
     "m.yaml:4: relation R: the id is that of relation ResultChild of an active data model"},
    {"RelationOfAnotherModel", "relations:\n- {name: ResultChild, id: 2, from: Scriptable, to: Result}\n",
     "m.yaml:4: relation ResultChild from Scriptable to Result is declared by an active data model already"},
    {"RelationMaxNegative", "relations:\n- {name: R, id: 0x7d000001, from: Project, to: System, max: -1}\n",
     "m.yaml:4: expected a number from 0 to 0xffffffff, found \"-1\""},
    {"DefaultChildrenOfUnknown", "default-children:\n  Nobody: [Project]\n",
     "m.yaml:4: there is no class \"Nobody\""},
    {"MissingRequired", "requires:\n- 0x7c000000\n",
     "m.yaml:4: required: data model 0x7c000000: no file has this id in "},
    {"RequiresItself", "requires: [0x7d000000]\n",
     "m.yaml:3: required: data model 0x7d000000 requires itself"},
};

/// Properties of a class, from line 7 on.
const ErrorCase kPropertyCases[] = {
    {"NoName", "{id: 0x7d001001, type: u8}", "m.yaml:7: key \"name\" is missing"},
    {"NoId", "{name: P, type: u8}", "m.yaml:7: key \"id\" is missing"},
    {"NoType", "{name: P, id: 0x7d001001}", "m.yaml:7: key \"type\" is missing"},
    {"UnknownType", "{name: P, id: 0x7d001001, type: u24}", "m.yaml:7: property P: unknown type \"u24\""},
    {"UnknownKey", "{name: P, id: 0x7d001001, type: u8, Default: 1}",
     "m.yaml:7: unknown key \"Default\"; there are name, id, type, default, min, max, enum, collection, "
     "nullable, "
     "read-only, transient, display, unit, doc, of, only"},
    {"KeyTwice", "{name: P, id: 0x7d001001, type: u8, min: 1, min: 2}",
     "m.yaml:7: key \"min\" is given twice, first in line 7"},
    {"IdOutsideClass", "{name: P, id: 0x7d002001, type: u8}",
     "m.yaml:7: property P: id 0x7d002001 is outside its class 0x7d001000"},
    {"IdOfClass", "{name: P, id: 0x7d001000, type: u8}",
     "m.yaml:7: property P: id 0x7d001000 is outside its class 0x7d001000"},
    {"IdTwice", "{name: P, id: 0x7d001001, type: u8},\n {name: Q, id: 0x7d001001, type: u8}",
     "m.yaml:8: the id of property Q is declared twice, first at m.yaml:7"},
    {"NameTwice", "{name: P, id: 0x7d001001, type: u8},\n {name: p, id: 0x7d001002, type: u8}",
     "m.yaml:8: property p is declared twice, first at m.yaml:7"},
    {"NameOfBase", "{name: localactive, id: 0x7d001001, type: bool}",
     "m.yaml:7: property localactive is declared by a base class of A already"},
    {"OctalDefault", "{name: P, id: 0x7d001001, type: u8, default: 010}",
     "m.yaml:7: default of property P: \"010\" is no whole number from 0 to 255"},
    {"OctalMinimum", "{name: P, id: 0x7d001001, type: u8, min: 010}",
     "m.yaml:7: expected a number, found \"010\""},
    {"DefaultOutsideType", "{name: P, id: 0x7d001001, type: s16, default: 32768}",
     "m.yaml:7: default of property P: \"32768\" is no whole number from -32768 to 32767"},
    {"DefaultBelow", "{name: P, id: 0x7d001001, type: u32, min: 5, max: 100000, default: 4}",
     "m.yaml:7: default of property P: 4 is outside 5 to 100000"},
    {"DefaultAbove", "{name: P, id: 0x7d001001, type: double, max: 0.5, default: 0.6}",
     "m.yaml:7: default of property P: 0.6 is outside at most 0.5"},
    {"DefaultOfWrongType", "{name: P, id: 0x7d001001, type: ipv4, default: '::1'}",
     "m.yaml:7: default of property P: \"::1\" is no ipv4 address"},
    {"DefaultNoForFalse", "{name: P, id: 0x7d001001, type: bool, default: no}",
     "m.yaml:7: default of property P: \"no\" is neither true nor false"},
    {"DefaultOutsideEnumeration", "{name: P, id: 0x7d001001, type: u8, enum: Mode, default: LOW}",
     "m.yaml:7: default of property P: \"LOW\" is none of ON, FAR"},
    {"DefaultNumberOutsideEnumeration", "{name: P, id: 0x7d001001, type: u8, enum: Mode, default: 2}",
     "m.yaml:7: default of property P: 2 is none of ON, FAR"},
    {"DefaultListOfOne", "{name: P, id: 0x7d001001, type: u8, default: [1]}",
     "m.yaml:7: expected a text, found a structure"},
    {"DefaultOneOfList", "{name: P, id: 0x7d001001, type: u8, collection: true, default: 1}",
     "m.yaml:7: expected a list"},
    {"DefaultListElement", "{name: P, id: 0x7d001001, type: u8, collection: true, max: 9, default: [1, 10]}",
     "m.yaml:7: default of property P: 10 is outside 0 to 9"},
    {"DefaultOnLaterLine", "{name: P, id: 0x7d001001, type: u8,\n     default: 256}",
     "m.yaml:8: default of property P: \"256\" is no whole number from 0 to 255"},
    {"MinimumAboveMaximum", "{name: P, id: 0x7d001001, type: u8, min: 3, max: 2}",
     "m.yaml:7: property P: min is greater than max"},
    {"RangeOutsideType", "{name: P, id: 0x7d001001, type: u8, max: 256}",
     "m.yaml:7: property P: min and max must be values of the type u8"},
    {"RangeOutside64Bits", "{name: P, id: 0x7d001001, type: u64, max: 18446744073709551616}",
     "m.yaml:7: property P: min and max must be values of the type u64"},
    {"RangeOfFractions", "{name: P, id: 0x7d001001, type: u8, min: 0.5}",
     "m.yaml:7: property P: min and max must be values of the type u8"},
    {"RangeOfText", "{name: P, id: 0x7d001001, type: string, max: 5}",
     "m.yaml:7: property P: a range needs a numeric type, not string"},
    {"UnknownEnumeration", "{name: P, id: 0x7d001001, type: u8, enum: Colour}",
     "m.yaml:7: property P: there is no enumeration \"Colour\""},
    {"EnumerationOfBool", "{name: P, id: 0x7d001001, type: bool, enum: Mode}",
     "m.yaml:7: property P: an enumeration needs an integer type, not bool"},
    {"EnumerationOfHandle", "{name: P, id: 0x7d001001, type: handle, enum: Mode}",
     "m.yaml:7: property P: an enumeration needs an integer type, not handle"},
    {"EnumerationTooWide", "{name: P, id: 0x7d001001, type: s16, enum: Far}",
     "m.yaml:7: property P: the value of Far FAR does not fit into the type s16"},
    {"CollectionOfPaths", "{name: P, id: 0x7d001001, type: output-file-path, collection: true}",
     "m.yaml:7: property P: there are no collections of type output-file-path"},
    {"ClassesOfANumber", "{name: P, id: 0x7d001001, type: u32, of: [A]}",
     "m.yaml:7: property P: only handles are of classes, not u32"},
    {"ClassesOfNone", "{name: P, id: 0x7d001001, type: handle, of: []}",
     "m.yaml:7: property P: the list of classes is empty"},
    {"UnknownClassOfAHandle", "{name: P, id: 0x7d001001, type: handle,\n  of: [A, Nobody]}",
     "m.yaml:8: there is no class \"Nobody\""},
    {"ValuesOfAClassWithoutEnumeration", "{name: P, id: 0x7d001001, type: u8, only: {A: [ON]}}",
     "m.yaml:7: property P: only enumerations have such values"},
    {"UnknownClassOfValues", "{name: P, id: 0x7d001001, type: u8, enum: Mode,\n  only: {Nobody: [ON]}}",
     "m.yaml:8: there is no class \"Nobody\""},
    {"UnknownValueOfAClass", "{name: P, id: 0x7d001001, type: u8, enum: Mode,\n  only: {A: [ON, LOW]}}",
     "m.yaml:8: enumeration Mode has no name LOW"},
    {"NullableText", "{name: P, id: 0x7d001001, type: string, nullable: true}",
     "m.yaml:7: property P: collections and texts cannot be nullable: an empty one and none would look "
     "alike"},
};

class ReaderErrorTest : public DataModelTest {
  protected:
    void Check(const ErrorCase& test, const std::string& file) {
        SCOPED_TRACE(test.name);
        Write("m.yaml", file);
        const std::string found = ActivationError(kModel);
        // The folders searched are those of all tests so far.
        const bool lists_folders = std::string_view(test.expected).ends_with(" in ");
        EXPECT_EQ(lists_folders ? found.substr(0, std::string_view(test.expected).size()) : found,
                  test.expected);
        const auto& manager = CMetaClassManager::Instance();
        EXPECT_FALSE(manager.IsActive(kModel));
        EXPECT_EQ(manager.GetClass(orv::common::ClassId(0x7d001000)), nullptr);
        EXPECT_EQ(CRelationManager::Instance().FindType("R"), 0u);
        std::filesystem::remove(folder_ / "m.yaml");
    }
};

TEST_F(ReaderErrorTest, Files) {
    CMetaClassManager::Instance().ActivateDataModel(0);
    for (const ErrorCase& test : kFileCases) Check(test, test.text);
}

TEST_F(ReaderErrorTest, Models) {
    for (const ErrorCase& test : kModelCases)
        Check(test, std::string("datamodel: 0x7d000000\nname: bad\n") + test.text);
}

TEST_F(ReaderErrorTest, Properties) {
    for (const ErrorCase& test : kPropertyCases) {
        Check(test, std::string("datamodel: 0x7d000000\nname: bad\n"
                                "enumerations: {Mode: {ON: 1, FAR: 200}, Far: {NEAR: 0, FAR: 32768}}\n"
                                "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, properties: [\n") +
                        "\n" + test.text + "]}\n");
    }
}

TEST_F(ReaderErrorTest, AFileOfTheFolderThatCannotBeReadIsNotPassedOver) {
    Write("good.yaml", "datamodel: 0x7d000000\nname: good\n");
    Write("deep/er/bad.yaml", "datamodel 0x7d000000\n");
    EXPECT_EQ(ActivationError(kModel), "deep/er/bad.yaml:1: expected keys and values");
}

TEST_F(ReaderErrorTest, FilesOfOneModelHaveOneNameAndNoClassTwice) {
    Write("a.yaml",
          "datamodel: 0x7d000000\nname: bad\nclasses:\n- {name: A, id: 0x7d001000, base: Scriptable}\n");
    Write("b.yaml", "datamodel: 0x7d000000\nname: Bad\n");
    EXPECT_EQ(ActivationError(kModel), "b.yaml:2: the data model is named bad at a.yaml:2");
    Write("b.yaml",
          "datamodel: 0x7d000000\nname: bad\nclasses:\n\n- {name: A, id: 0x7d002000, base: Scriptable}\n");
    EXPECT_EQ(ActivationError(kModel), "b.yaml:5: class A is declared twice, first at a.yaml:4");
}

}  // namespace

}  // namespace data_model_test
