// From a good file to the objects of the host.
#include <algorithm>
#include <fstream>
#include <sstream>

#include "good_file.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"

namespace test_file_test {
namespace {

using namespace orv::framework;  // NOLINT: a test

/// Names that the host gives hold handles, which differ from run to run.
std::string NameOf(const CScriptable& object) {
    const std::string& class_name = object.GetMetaClass()->GetName();
    const bool automatic = object.GetName() == class_name + " " + std::to_string(object.GetHandle());
    return automatic ? class_name : class_name + " \"" + object.GetName() + "\"";
}

/// An object that a handle names, and what it lies below.
std::string PathOf(const CScriptable& object) {
    const CScriptable* parent = object.GetParent();
    return (parent && parent->GetParent() && parent->GetParent()->GetParent() ? PathOf(*parent) + "/" : "") +
           NameOf(object);
}

std::string DescribeValue(const CScriptable& object, const CPropertyMeta& property) {
    if (property.type != PropertyType::Handle) return object.Get(property.name.c_str());
    std::vector<std::uint32_t> handles;
    if (property.collection) {
        handles = object.GetCollection<std::uint32_t>(property.id);
    } else if (object.GetU32(property.id) != 0) {
        handles = {object.GetU32(property.id)};
    }
    ScriptableVec all;
    CScriptableLocator::Instance().GetObjectsEx(all, 0x1000, nullptr);
    std::string text;
    for (const CScriptable* one : all) {
        if (std::find(handles.begin(), handles.end(), one->GetHandle()) != handles.end())
            text += (text.empty() ? "" : ", ") + PathOf(*one);
    }
    return text;
}

/// The tree below an object: values that differ from the class's defaults, relations, children.
void Draw(const CScriptable& object, const std::string& indent, std::string& text) {
    text += indent + NameOf(object) + "\n";
    const auto& defaults = object.GetMetaClass()->GetDefaults();
    for (const CPropertyMeta* property : object.GetMetaClass()->GetProperties()) {
        if (property->name == "Name" || property->read_only) continue;
        if (object.GetDataStore()[property->slot] == defaults[property->slot]) continue;
        text += indent + "  ." + property->name + " = " + DescribeValue(object, *property) + "\n";
    }
    for (const auto* relation : CRelationManager::Instance().GetRelations()) {
        if (relation->type <= 2 || !object.IsTypeOf(relation->source)) continue;
        ScriptableVec targets;
        object.GetObjects(targets, relation->target, {relation->type, 0});
        for (const CScriptable* target : targets)
            text += indent + "  " + relation->name + " -> " + PathOf(*target) + "\n";
    }
    ScriptableVec children;
    object.GetObjects(children, 0x1000, orv::common::kParentChild);
    for (const CScriptable* child : children) Draw(*child, indent + "  ", text);
}

class BuildTest : public TestFileTest {
  protected:
    std::string Build(const std::string& text) {
        const auto file = Parse(text);
        if (!file.IsGood()) return Join(file.GetMistakes());
        return Join(file.Build(host_.GetProject(), CSequencer::Instance()).mistakes);
    }
    std::string Drawn() {
        std::string text;
        Draw(host_.GetProject(), "", text);
        Draw(CSequencer::Instance(), "", text);
        return text;
    }
};

TEST_F(BuildTest, MakesTheTreeThatTheFileDescribes) {
    ASSERT_EQ(Build(kGoodFile), "");
    EXPECT_EQ(Drawn(),
              "Project\n"
              "  ResultOptions\n"
              "  Port \"Head end\"\n"
              "    .Location = //sim/1\n"
              "    MulticastPortConfig\n"
              "    Generator\n"
              "      GeneratorConfig\n"
              "        .SchedulingMode = RATE_BASED\n"
              "    Analyzer\n"
              "    StreamBlock \"News stream\"\n"
              "      SrcBinding -> EmulatedDevice \"Sources\"/Ipv4If\n"
              "      DstBinding -> Ipv4Group \"News group\"/Ipv4NetworkBlock \"Addresses of the news\"\n"
              "  Port \"Viewers\"\n"
              "    .Location = //sim/2\n"
              "    MulticastPortConfig\n"
              "    Generator\n"
              "      GeneratorConfig\n"
              "    Analyzer\n"
              "  Ipv4Group \"News group\"\n"
              "    Ipv4NetworkBlock \"Addresses of the news\"\n"
              "      .NetworkCount = 4\n"
              "      .StartIpList = 225.1.0.1\n"
              "  IptvChannelBlock \"News\"\n"
              "    .ChannelName = News\n"
              "    MulticastParam -> Ipv4Group \"News group\"\n"
              "  IptvViewedChannels \"All news\"\n"
              "    .ChannelBlock = IptvChannelBlock \"News\"\n"
              "  IptvViewingProfileConfig \"Hasty\"\n"
              "    .ZapDirection = DIR_RANDOM\n"
              "    .Interval = 500\n"
              "  EmulatedDevice \"Sources\"\n"
              "    AffiliationPort -> Port \"Head end\"\n"
              "    TopLevelIf -> EmulatedDevice \"Sources\"/Ipv4If\n"
              "    EthIIIf\n"
              "    Ipv4If\n"
              "      .Address = 10.0.0.1\n"
              "      .AddrList = 10.0.0.5 10.0.0.7\n"
              "      StackedOn -> EmulatedDevice \"Sources\"/EthIIIf\n"
              "  EmulatedDevice \"Living rooms\"\n"
              "    .DeviceCount = 100\n"
              "    AffiliationPort -> Port \"Viewers\"\n"
              "    TopLevelIf -> EmulatedDevice \"Living rooms\"/Ipv4If \"IPv4\"\n"
              "    EthIIIf \"Ethernet\"\n"
              "    Ipv4If \"IPv4\"\n"
              "      StackedOn -> EmulatedDevice \"Living rooms\"/EthIIIf \"Ethernet\"\n"
              "    IgmpHostConfig \"IGMP\"\n"
              "      .Version = IGMP_V3\n"
              "      .AllowNoMemberships = true\n"
              "      UsesIf -> EmulatedDevice \"Living rooms\"/Ipv4If \"IPv4\"\n"
              "    IptvStbBlockConfig \"Boxes\"\n"
              "      .SaveTimeStamps = true\n"
              "      MulticastParam -> EmulatedDevice \"Living rooms\"/IgmpHostConfig \"IGMP\"\n"
              "      StbChannel -> IptvViewedChannels \"All news\"\n"
              "      IptvProfile -> IptvViewingProfileConfig \"Hasty\"\n"
              "Sequencer\n"
              "  GeneratorStartCommand\n"
              "    .GeneratorList = Port \"Head end\"/Generator\n"
              "  SequencerLoopCommand \"Twice\"\n"
              "    .IterationCount = 2\n"
              "    IptvStartTestCommand \"Start\"\n"
              "      .TestDuration = 2.5\n"
              "      .StbBlockList = EmulatedDevice \"Living rooms\"\n"
              "    IptvWaitForTestCompletionCommand\n");
    ValidationContext context;
    ValidatorRegistry::Instance().ValidateTree(host_.GetProject(), context);
    EXPECT_TRUE(context.GetErrors().empty()) << context.GetErrors().front().message;
}

TEST_F(BuildTest, MakesTheExampleOfTheDocumentation) {
    std::ostringstream page;
    page << std::ifstream(DOCUMENTATION).rdbuf();
    const std::string begin = "```yaml\n";
    const std::size_t start = page.str().find(begin) + begin.size();
    EXPECT_EQ(Build(page.str().substr(start, page.str().find("```", start) - start)), "");
    ValidationContext context;
    ValidatorRegistry::Instance().ValidateTree(host_.GetProject(), context);
    EXPECT_TRUE(context.GetErrors().empty()) << context.GetErrors().front().message;
}

TEST_F(BuildTest, WithoutASequenceTheTestIsStartedAndWaitedFor) {
    const std::string start =
        "    .StbBlockList = Project\n"
        "  IptvWaitForTestCompletionCommand\n";
    for (const auto& [objects, sequence] : std::map<std::string, std::string>{
             {"", "Sequencer\n  IptvStartTestCommand\n    .TestEnv = REAL_WORLD\n" + start},
             {"  - Port: P\n    children:\n      - StreamBlock: S\n",
              "Sequencer\n  GeneratorStartCommand\n    .GeneratorList = Project\n  IptvStartTestCommand\n" +
                  start + "  GeneratorStopCommand\n    .GeneratorList = Project\n"}}) {
        ASSERT_EQ(Build("project:\n" + objects), "");
        std::string text;
        Draw(CSequencer::Instance(), "", text);
        EXPECT_EQ(text, sequence);
        host_.NewProject();
    }
}

TEST_F(BuildTest, ReferencesPreferNamesAndTakeClassesAndPaths) {
    const std::string objects =
        "project:\n"
        "  - EmulatedDevice: a/b\n"
        "    children: [{EthIIIf: Port}, {Ipv4If: }]\n"
        "  - EmulatedDevice: a\n"
        "    children: [{Ipv4If: b}]\n"
        "  - Port: p\n"
        "  - ResultOptions: Kept\n"
        "sequence:\n"
        "  - SetRelativesCommand: c\n"
        "    RelativeList: [";
    const std::pair<const char*, const char*> cases[] = {
        {"a/b", "EmulatedDevice \"a/b\""},
        {"Port", "EmulatedDevice \"a/b\"/EthIIIf \"Port\""},
        {"EthIIIf", "EmulatedDevice \"a/b\"/EthIIIf \"Port\""},
        {"a/NetworkInterface", "EmulatedDevice \"a\"/Ipv4If \"b\""},
        {"project/Port", "Port \"p\""},
        {"Project", "Project"},
        {"p/generator/CGeneratorConfig", "Port \"p\"/Generator/GeneratorConfig"},
        {"Kept", "ResultOptions \"Kept\""},
        {"", ""},
    };
    for (const auto& [reference, object] : cases) {
        host_.NewProject();
        ASSERT_EQ(Build(objects + reference + "]\n"), "") << reference;
        const auto* command = CSequencer::Instance().GetCommands().at(0);
        EXPECT_EQ(DescribeValue(*command, *command->GetMetaClass()->FindProperty("RelativeList")), object)
            << reference;
    }
}

/// A class whose objects refuse themselves: what only the host can know.
class Unwilling : public CScriptable {
  public:
    bool OnInit() override { return false; }
};

/// A class whose objects are stacked on nothing.
class Grounded : public CScriptable {
  public:
    bool OnPreValidateRelationChange(RelationType type, CScriptable&, bool, std::string& reason) override {
        reason = "it stays on the ground";
        return type != orv::ids::relations::StackedOn;
    }
};

template <class T>
void AddClass(std::uint32_t id, const char* name, const char* base) {
    auto& classes = CMetaClassManager::Instance();
    if (classes.GetClass(name)) return;
    const StaticRegisterClass<T> registration(id);
    CMetaClass::Definition definition;
    definition.id = id;
    definition.name = name;
    definition.base = classes.GetClass(base, nullptr, true);
    classes.AddClass(std::move(definition));
}

TEST_F(BuildTest, WhatTheHostRefusesHasAPlaceInTheFile) {
    AddClass<Unwilling>(0x7e00a000, "Unwilling", "EmulatedDevice");
    AddClass<Grounded>(0x7e00b000, "Grounded", "VlanIf");
    EXPECT_EQ(
        Build("project:\n"
              "  - Unwilling: u\n"
              "    DeviceCount: 2\n"
              "    children: [{EthIIIf: }]\n"
              "  - EmulatedDevice: d\n"
              "    children:\n"
              "      - EthIIIf: e\n"
              "      - Grounded: g\n"
              "        StackedOn: e\n"
              "sequence:\n"
              "  - SetRelativesCommand: c\n"
              "    SrcObjectHandle: u\n"),
        "zap.yaml:2:5: Unwilling \"u\": cannot create Unwilling: its initialisation refused\n"
        "zap.yaml:9:20: Grounded \"g\", StackedOn: relation StackedOn from Grounded \"g\" to EthIIIf \"e\": "
        "it "
        "stays on the ground\n"
        "zap.yaml:12:22: SetRelativesCommand \"c\", SrcObjectHandle: an object that it names was not made\n");
}

TEST_F(BuildTest, ValuesForOneRunGoBeforeThoseOfTheFile) {
    const auto draw = [this](const std::string& text, const std::vector<std::string>& settings) {
        const auto file = orv::app::TestFile::Parse({"zap.yaml", text, {}}, settings);
        EXPECT_EQ(Join(file.GetMistakes()), "");
        host_.NewProject();
        EXPECT_EQ(Join(file.Build(host_.GetProject(), CSequencer::Instance()).mistakes), "");
        return Drawn();
    };
    std::string text = kGoodFile;
    const std::vector<std::pair<const char*, const char*>> replaced{
        {"SchedulingMode: rate_based", "SchedulingMode: MANUAL_BASED"},
        {"DeviceCount: 100", "DeviceCount: 7"},
        {"[10.0.0.5, 10.0.0.7]", "[10.0.0.8, 10.0.0.9]"},
        {"TestDuration: 2.5", "TestDuration: 4"},
        {"AffiliationPort: Viewers", "AffiliationPort: Head end"},
        {"Location: //sim/2", "Location:"},
    };
    for (const auto& [old_value, new_value] : replaced)
        text.replace(text.find(old_value), std::string(old_value).size(), new_value);
    EXPECT_EQ(draw(kGoodFile,
                   {"Head end/Generator/GeneratorConfig/schedulingmode=RATE_BASED",
                    "Head end/Generator/GeneratorConfig/SchedulingMode=MANUAL_BASED",
                    "Living rooms/DeviceCount=7", "Sources/Ipv4If/AddrList=[10.0.0.8, 10.0.0.9]",
                    "Start/TestDuration=4", "Living rooms/AffiliationPort=Head end", "Viewers/Location="}),
              draw(text, {}));
    // Of an object that the file does not mention.
    EXPECT_NE(draw("project:\n  - Port: p\n", {"p/Analyzer/Active=false"}).find(".Active = false"),
              std::string::npos);
}

}  // namespace
}  // namespace test_file_test
