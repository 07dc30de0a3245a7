// From a good file to the objects of the host.
#include <fstream>

#include "good_file.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"

namespace {

using namespace test_file_test;  // NOLINT: a test

using namespace orv::framework;  // NOLINT: a test

/// Names that the host gives hold handles, which differ from run to run.
bool HasOwnName(const CScriptable& object) {
    return object.GetName() != object.GetMetaClass()->GetName() + " " + std::to_string(object.GetHandle());
}

/// An object that a handle names, and what it lies below: their names, or else their classes.
std::string PathOf(const CScriptable& object) {
    const CScriptable* parent = object.GetParent();
    return (parent && parent->GetParent() && parent->GetParent()->GetParent() ? PathOf(*parent) + "/" : "") +
           (HasOwnName(object) ? object.GetName() : object.GetMetaClass()->GetName());
}

std::string DescribeValue(const CScriptable& object, const CPropertyMeta& property) {
    if (property.type != PropertyType::Handle) return object.Get(property.name.c_str());
    std::vector<std::uint32_t> handles;
    if (property.collection) {
        handles = object.GetCollection<std::uint32_t>(property.id);
    } else if (object.GetU32(property.id) != 0) {
        handles = {object.GetU32(property.id)};
    }
    std::string text;
    for (const std::uint32_t handle : handles)
        text += (text.empty() ? "" : ", ") + PathOf(*CHandleRegistry::Instance().Find(handle));
    return text;
}

/// The tree below an object, a line each: values that differ from the class's defaults, relations; children
/// below it.
void Draw(const CScriptable& object, const std::string& indent, std::string& text) {
    text += indent + object.GetMetaClass()->GetName() +
            (HasOwnName(object) ? " \"" + object.GetName() + "\"" : "");
    const auto& defaults = object.GetMetaClass()->GetDefaults();
    for (const CPropertyMeta* property : object.GetMetaClass()->GetProperties()) {
        if (property->name == "Name" || property->read_only) continue;
        if (object.GetDataStore()[property->slot] == defaults[property->slot]) continue;
        text += " ." + property->name + "=" + DescribeValue(object, *property);
    }
    for (const auto* relation : CRelationManager::Instance().GetRelations()) {
        if (relation->type <= 2 || !object.IsTypeOf(relation->source)) continue;
        ScriptableVec targets;
        object.GetObjects(targets, relation->target, {relation->type, 0});
        for (const CScriptable* target : targets) text += " " + relation->name + "->" + PathOf(*target);
    }
    text += "\n";
    ScriptableVec children;
    object.GetObjects(children, 0x1000, orv::common::kParentChild);
    for (const CScriptable* child : children) Draw(*child, indent + "  ", text);
}

struct BuildTest : TestFileTest {
    std::string Build(const std::string& text, const std::vector<std::string>& settings = {}) {
        host_.NewProject();
        const auto file = orv::app::TestFile::Parse({"zap.yaml", text, {}}, settings);
        if (!file.IsGood()) return Join(file.GetMistakes());
        return Join(file.Build(host_.GetProject(), CSequencer::Instance()).mistakes);
    }
    static std::string Drawn(const CScriptable& object) {
        std::string text;
        Draw(object, "", text);
        return text;
    }
    void ExpectValid() {
        ValidationContext context;
        ValidatorRegistry::Instance().ValidateTree(host_.GetProject(), context);
        EXPECT_TRUE(context.GetErrors().empty()) << context.GetErrors().front().message;
    }
};

TEST_F(BuildTest, MakesTheTreeThatTheFileDescribes) {
    ASSERT_EQ(Build(kGoodFile), "");
    EXPECT_EQ(Drawn(host_.GetProject()) + Drawn(CSequencer::Instance()), R"(Project
  ResultOptions
  Port "Head end" .Location=//sim/1
    MulticastPortConfig
    Generator
      GeneratorConfig .SchedulingMode=RATE_BASED
    Analyzer
    StreamBlock "News stream" SrcBinding->Sources/Ipv4If DstBinding->News group/Addresses of the news
  Port "Viewers" .Location=//sim/2
    MulticastPortConfig
    Generator
      GeneratorConfig
    Analyzer
  Ipv4Group "News group"
    Ipv4NetworkBlock "Addresses of the news" .NetworkCount=4 .StartIpList=225.1.0.1
  IptvChannelBlock "News" .ChannelName=News MulticastParam->News group
  IptvViewedChannels "All news" .ChannelBlock=News
  IptvViewingProfileConfig "Hasty" .ZapDirection=DIR_RANDOM .Interval=500
  EmulatedDevice "Sources" AffiliationPort->Head end TopLevelIf->Sources/Ipv4If
    EthIIIf
    Ipv4If .Address=10.0.0.1 .AddrList=10.0.0.5 10.0.0.7 StackedOn->Sources/EthIIIf
  EmulatedDevice "Living rooms" .DeviceCount=100 AffiliationPort->Viewers TopLevelIf->Living rooms/IPv4
    EthIIIf "Ethernet"
    Ipv4If "IPv4" StackedOn->Living rooms/Ethernet
    IgmpHostConfig "IGMP" .Version=IGMP_V3 .AllowNoMemberships=true UsesIf->Living rooms/IPv4
    IptvStbBlockConfig "Boxes" .SaveTimeStamps=true MulticastParam->Living rooms/IGMP StbChannel->All news IptvProfile->Hasty
Sequencer
  GeneratorStartCommand .GeneratorList=Head end/Generator
  SequencerLoopCommand "Twice" .IterationCount=2
    IptvStartTestCommand "Start" .TestDuration=2.5 .StbBlockList=Living rooms
    IptvWaitForTestCompletionCommand
)");
    ExpectValid();
}

TEST_F(BuildTest, MakesTheExampleOfTheDocumentation) {
    std::ostringstream page;
    page << std::ifstream(DOCUMENTATION).rdbuf();
    const std::string begin = "```yaml\n";
    const std::size_t start = page.str().find(begin) + begin.size();
    EXPECT_EQ(Build(page.str().substr(start, page.str().find("```", start) - start)), "");
    ExpectValid();
}

TEST_F(BuildTest, WithoutASequenceTheTestIsStartedAndWaitedFor) {
    const std::string start = " .StbBlockList=Project\n  IptvWaitForTestCompletionCommand\n";
    for (const auto& [objects, sequence] : std::map<std::string, std::string>{
             {"", "Sequencer\n  IptvStartTestCommand .TestEnv=REAL_WORLD" + start},
             {"  - Port: P\n    children:\n      - StreamBlock: S\n",
              "Sequencer\n  GeneratorStartCommand .GeneratorList=Project\n  IptvStartTestCommand" + start +
                  "  GeneratorStopCommand .GeneratorList=Project\n"}}) {
        ASSERT_EQ(Build("project:\n" + objects), "");
        EXPECT_EQ(Drawn(CSequencer::Instance()), sequence);
    }
}

TEST_F(BuildTest, ReferencesPreferNamesAndTakeClassesAndPaths) {
    const std::string objects =
        "project:\n"
        "  - EmulatedDevice: a/b\n    children: [{EthIIIf: Port}, {Ipv4If: }]\n"
        "  - EmulatedDevice: a\n    children: [{Ipv4If: c}]\n"
        "  - Port: p\n  - ResultOptions: Kept\n"
        "sequence:\n  - SetRelativesCommand: c\n    RelativeList: [";
    const std::pair<const char*, const char*> cases[] = {
        {"a/b", "a/b"},
        {"Port", "a/b/Port"},
        {"EthIIIf", "a/b/Port"},
        {"a/NetworkInterface", "a/c"},
        {"project/Port", "p"},
        {"Project", "Project"},
        {"p/generator/CGeneratorConfig", "p/Generator/GeneratorConfig"},
        {"Kept", "Kept"},
        {"", ""}};
    for (const auto& [reference, object] : cases) {
        ASSERT_EQ(Build(objects + reference + "]\n"), "") << reference;
        const auto* command = CSequencer::Instance().GetCommands().at(0);
        EXPECT_EQ(DescribeValue(*command, *command->GetMetaClass()->FindProperty("RelativeList")), object);
    }
}

/// A class whose objects refuse themselves: what only the host can know.
struct Unwilling : CScriptable {
    bool OnInit() override { return false; }
};

/// A class whose objects are stacked on nothing.
struct Grounded : CScriptable {
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
    EXPECT_EQ(Build("project:\n"
                    "  - Unwilling: u\n    children: [{EthIIIf: }]\n"
                    "  - EmulatedDevice: d\n    children: [{EthIIIf: e}, {Grounded: g, StackedOn: e}]\n"
                    "sequence:\n  - SetRelativesCommand: c\n    SrcObjectHandle: u\n"),
              R"(zap.yaml:2:5: Unwilling "u": cannot create Unwilling: its initialisation refused
zap.yaml:5:55: Grounded "g", StackedOn: relation StackedOn from Grounded "g" to EthIIIf "e": it stays on the ground
zap.yaml:8:22: SetRelativesCommand "c", SrcObjectHandle: an object that it names was not made
)");
}

TEST_F(BuildTest, ValuesForOneRunGoBeforeThoseOfTheFile) {
    const auto draw = [this](const std::string& text, const std::vector<std::string>& settings) {
        EXPECT_EQ(Build(text, settings), "");
        return Drawn(host_.GetProject()) + Drawn(CSequencer::Instance());
    };
    std::string text = kGoodFile;
    const std::pair<std::string, const char*> replaced[] = {
        {"SchedulingMode: rate_based", "SchedulingMode: MANUAL_BASED"},
        {"DeviceCount: 100", "DeviceCount: 7"},
        {"[10.0.0.5, 10.0.0.7]", "[10.0.0.8, 10.0.0.9]"},
        {"TestDuration: 2.5", "TestDuration: 4"},
        {"AffiliationPort: Viewers", "AffiliationPort: Head end"},
        {"Location: //sim/2", "Location:"},
    };
    for (const auto& [old_value, new_value] : replaced)
        text.replace(text.find(old_value), old_value.size(), new_value);
    EXPECT_EQ(draw(kGoodFile,
                   {"Head end/Generator/GeneratorConfig/schedulingmode=RATE_BASED",
                    "Head end/Generator/GeneratorConfig/SchedulingMode=MANUAL_BASED",
                    "Living rooms/DeviceCount=7", "Sources/Ipv4If/AddrList=[10.0.0.8, 10.0.0.9]",
                    "Start/TestDuration=4", "Living rooms/AffiliationPort=Head end", "Viewers/Location="}),
              draw(text, {}));
    // Of an object that the file does not mention.
    EXPECT_NE(draw("project:\n  - Port: p\n", {"p/Analyzer/Active=false"}).find(".Active=false"),
              std::string::npos);
}

}  // namespace
