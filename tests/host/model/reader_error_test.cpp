// Errors of a data-model file name file and line, and nothing of the model is then known.
#include "data_model_fixture.h"

namespace {

using namespace host_test;  // NOLINT: a test

constexpr std::uint32_t kModel = 0x7d000000;

const std::string kHead = "datamodel: 0x7d000000\nname: bad\n";

/// Texts that make a whole file with what comes before and behind them, and the error behind "m.yaml:".
struct ErrorCases {
    std::string before, behind, error_begin;
    std::vector<std::pair<const char*, const char*>> cases;
};

const ErrorCases kFiles{
    "",
    "",
    "",
    {{"", "1: the file is empty"},
     {"- a\n", "1: expected keys and values"},
     {"name: bad\n", "1: key \"datamodel\" is missing"},
     {"datamodel: none\n", "1: expected a whole number (decimal or 0x hexadecimal), found \"none\""},
     {"datamodel: 0x17d000000\n", "1: expected a number from 0 to 0xffffffff, found \"0x17d000000\""},
     {"datamodel: 0x7d000000\nname: [a\n", "3: end of sequence flow not found"},
     {"datamodel: 0x7d000000\n", "1: key \"name\" is missing"},
     {"datamodel: 0x7d000000\nname: two words\n",
      "2: expected a name of letters, digits and underscores, found \"two words\""}}};
const ErrorCases kModels{
    kHead,
    "",
    "",
    {{"name: bad\n", "3: key \"name\" is given twice, first in line 2"},
     {"---\nname: more\n", "4: a second document; one is expected in a file"},
     {"class: []\n",
      "3: unknown key \"class\"; there are datamodel, name, requires, enumerations, enumeration-aliases, "
      "classes, relations, default-children"},
     {"classes:\nrelations: []\n", "3: expected a list"},
     {"requires: [010]\n", "3: expected a whole number (decimal or 0x hexadecimal), found \"010\""},
     {"requires:\n- 0x7c000000\n", "4: required: data model 0x7c000000: no file has this id in "},
     {"requires: [0x7d000000]\n", "3: required: data model 0x7d000000 requires itself"},
     {"default-children:\n  Nobody: [Project]\n", "4: there is no class \"Nobody\""},
     {"enumerations:\n  Mode: {}\n", "4: enumeration Mode has no values"}}};
const ErrorCases kClasses{
    kHead + "classes:\n- {name: A, ",
    "}\n",
    "",
    {{"id: 0x7d001000, base: Scriptable, parents: [Nobody]", "4: there is no class \"Nobody\""},
     {"id: 0x7d001000, base: Scriptable,\n   children: [A, Nobody]", "5: there is no class \"Nobody\""},
     {"id: 0x7d001000, base: Scriptable, children: [B]}\n- {name: B, id: 0x7d002000, base: Scriptable, "
      "children: [A]",
      "4: default child B brings along an object of class A again, without end"},
     {"id: 0x7d001000, base: Scriptable, children: [Project]}\ndefault-children: {Project: [A]",
      "4: default child Project brings along an object of class A again, without end"},
     {"id: 0x7d001000,\n   base: Nobody", "5: there is no class \"Nobody\""},
     {"id: 0x7d001000", "4: class A: key \"base\" is missing"},
     {"id: 0x7d001000, base: B}\n- {name: B, id: 0x7d002000, base: A", "4: class A is its own base class"},
     {"id: 0x7d001000, base: A", "4: class A is its own base class"},
     {"id: 0x7e001000, base: Scriptable", "4: class A: id 0x7e001000 is outside the data model 0x7d000000"},
     {"id: 0x7d001001, base: Scriptable",
      "4: class A: the low twelve bits of the id 0x7d001001 must be zero"},
     {"id: 0x7d001000, base: Scriptable}\n- {name: B, id: 0x7d001000, base: A",
      "5: the id of class B is declared twice, first at m.yaml:4"},
     {"id: 0x7d001000, base: Scriptable}\n- {name: a, id: 0x7d002000, base: A",
      "5: class a is declared twice, first at m.yaml:4"},
     {"id: 0x7d001000, base: A}\n- {name: PROJECT, id: 0x7d002000, base: Scriptable",
      "5: class PROJECT: an active data model has the class Project with this id or name"},
     {"id: 0x7d001000, base: A}\nenumerations: {a: {ON: 1}",
      "4: class A has the name of the enumeration at m.yaml:5"},
     {"id: 0x7d001000, base: A, abstract: no", "4: expected true or false, found \"no\""}}};
const ErrorCases kEnumerations{
    kHead + "enumerations:\n  Mode: {ON: 1",
    "}\n",
    "",
    {{"}\n  MODE: {ON: 1", "5: enumeration MODE is declared twice, first at m.yaml:4"},
     {", on: 2", "4: enumeration Mode has the name on twice"},
     {", OFF: 0x1", "4: enumeration Mode: OFF has the value of ON"},
     {"}\nenumeration-aliases:\n  Mode: {GO: OFF", "6: enumeration Mode has no name OFF"},
     {"}\nenumeration-aliases:\n  Mode: {on: ON", "6: enumeration Mode has the name on twice"}}};
const ErrorCases kRelations{
    kHead + "relations:\n- {name: R, id: 0x7d000001, from: Project, to: System}\n- {name: ",
    "}\n",
    "5: ",
    {{"R, id: 0x7d000001, from: Nobody, to: Scriptable", "there is no class \"Nobody\""},
     {"R, id: 0x7d000001, from: Project, to: System",
      "relation R from Project to System is declared twice, first at m.yaml:4"},
     {"r, id: 0x7d000002, from: System, to: Project", "relation r has another id at m.yaml:4"},
     {"S, id: 0x7d000001, from: System, to: Project", "relation S: the id is that of relation R at m.yaml:4"},
     {"resultchild, id: 0x7d000002, from: Project, to: System",
      "relation resultchild has another id in an active data model"},
     {"ResultChild, id: 2, from: Scriptable, to: Result",
      "relation ResultChild from Scriptable to Result is declared by an active data model already"}}};
const std::string kClass = kHead +
                           "enumerations: {Mode: {ON: 1, FAR: 200}, Far: {NEAR: 0, FAR: 32768}}\n"
                           "classes:\n- {name: A, id: 0x7d001000, base: Scriptable, properties: [\n\n";
const ErrorCases kPropertyLists{
    kClass + "{",
    "}]}\n",
    "",
    {{"id: 0x7d001001, type: u8", "7: key \"name\" is missing"},
     {"name: P, id: 0x7d001001, type: u8, Default: 1",
      "7: unknown key \"Default\"; there are name, id, type, default, min, max, enum, collection, nullable, "
      "read-only, transient, display, unit, doc, of, only"},
     {"name: P, id: 0x7d002001, type: u8", "7: property P: id 0x7d002001 is outside its class 0x7d001000"},
     {"name: P, id: 0x7d001001, type: u8},\n {name: Q, id: 0x7d001001, type: u8",
      "8: the id of property Q is declared twice, first at m.yaml:7"},
     {"name: P, id: 0x7d001001, type: u8},\n {name: p, id: 0x7d001002, type: u8",
      "8: property p is declared twice, first at m.yaml:7"},
     {"name: localactive, id: 0x7d001001, type: bool",
      "7: property localactive is declared by a base class of A already"}}};
const ErrorCases kDefaults{
    kClass + "{name: P, id: 0x7d001001, type: ",
    "}]}\n",
    "",
    {{"u8, default: 010", "7: default of property P: \"010\" is no whole number from 0 to 255"},
     {"u32, min: 5, max: 9, default: 4", "7: default of property P: 4 is outside 5 to 9"},
     {"u8, enum: Mode, default: LOW", "7: default of property P: \"LOW\" is none of ON, FAR"},
     {"u8, default: [1]", "7: expected a text, found a structure"},
     {"u8, collection: true, default: 1", "7: expected a list"},
     {"u8, collection: true, max: 9, default: [1, 10]", "7: default of property P: 10 is outside 0 to 9"},
     {"handle,\n  of: [A, Nobody]", "8: there is no class \"Nobody\""},
     {"u8, enum: Mode,\n  only: {Nobody: [ON]}", "8: there is no class \"Nobody\""},
     {"u8, enum: Mode,\n  only: {A: [ON, LOW]}", "8: enumeration Mode has no name LOW"}}};
const ErrorCases kProperties{
    kClass + "{name: P, id: 0x7d001001, type: ",
    "}]}\n",
    "7: property P: ",
    {{"u24", "unknown type \"u24\""},
     {"u8, min: 3, max: 2", "min is greater than max"},
     {"u64, max: 18446744073709551616", "min and max must be values of the type u64"},
     {"string, max: 5", "a range needs a numeric type, not string"},
     {"u8, enum: Colour", "there is no enumeration \"Colour\""},
     {"handle, enum: Mode", "an enumeration needs an integer type, not handle"},
     {"s16, enum: Far", "the value of Far FAR does not fit into the type s16"},
     {"output-file-path, collection: true", "there are no collections of type output-file-path"},
     {"u32, of: [A]", "only handles are of classes, not u32"},
     {"handle, of: []", "the list of classes is empty"},
     {"u8, only: {A: [ON]}", "only enumerations have such values"},
     {"string, nullable: true",
      "collections and texts cannot be nullable: an empty one and none would look alike"}}};

using ReaderErrorTest = DataModelTest;

TEST_F(ReaderErrorTest, NamesTheLineAndTheModelStaysUnknown) {
    Classes().ActivateDataModel(0);
    for (const auto* group : {&kFiles, &kModels, &kClasses, &kEnumerations, &kRelations, &kPropertyLists,
                              &kDefaults, &kProperties}) {
        for (const auto& [text, expected] : group->cases) {
            SCOPED_TRACE(text);
            folder_.Write("m.yaml", group->before + text + group->behind);
            const std::string error = "m.yaml:" + group->error_begin + expected;
            std::string found = ActivationError(kModel);
            if (error.ends_with(" in "))
                found.resize(error.size());  // the folders of all tests so far follow
            EXPECT_EQ(found, error);
            EXPECT_FALSE(Classes().IsActive(kModel));
            EXPECT_EQ(Classes().GetClass(ClassId(0x7d001000)), nullptr);
            EXPECT_EQ(CRelationManager::Instance().FindType("R"), 0u);
        }
    }
}

TEST_F(ReaderErrorTest, AllFilesOfTheFolderCount) {
    folder_.Write("good.yaml", kHead);
    folder_.Write("deep/er/bad.yaml", "datamodel 0x7d000000\n");
    EXPECT_EQ(ActivationError(kModel), "deep/er/bad.yaml:1: expected keys and values");
    folder_.Write("deep/er/bad.yaml", "datamodel: 0x7d000000\nname: Bad\n");
    EXPECT_EQ(ActivationError(kModel), "good.yaml:2: the data model is named Bad at deep/er/bad.yaml:2");
    folder_.Write("good.yaml", kHead + "classes:\n\n- {name: A, id: 0x7d002000, base: Scriptable}\n");
    folder_.Write("deep/er/bad.yaml", kHead + "classes:\n- {name: A, id: 0x7d001000, base: Scriptable}\n");
    EXPECT_EQ(ActivationError(kModel), "good.yaml:5: class A is declared twice, first at deep/er/bad.yaml:4");
}

}  // namespace
