// Every kind of mistake, and its text.
#include <fstream>

#include "good_file.h"
#include "orv/common/exceptions.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"

namespace test_file_test {
namespace {

struct Case {
    const char* text;
    const char* mistakes;
};

TEST_F(TestFileTest, MistakesOfTheTextAndItsSections) {
    const Case cases[] = {
        {"", "zap.yaml:1:1: the file is empty; expected the sections of a test\n"},
        {"project: [\n",
         "zap.yaml:1:10: the list or the keys that begin here are not closed; expected \"]\" or \"}\"\n"},
        {"project:\n  - Port: [a\n  b: }\n",
         "zap.yaml:3:4: this is no part of the list that begins in line 2; expected \",\" or \"]\"\n"},
        {"- Port: a\n",
         "zap.yaml:1:1: there is a list; expected the sections title, project, sequence, simulation, live\n"},
        {"titel: a\nproject:\n",
         "zap.yaml:1:1: titel: this is no section of a test file; expected title, project, sequence, "
         "simulation, live; did you mean title?\n"},
        {"title: [a]\nproject: text\nsequence: {a: b}\n",
         "zap.yaml:1:8: title: there is a list; expected a text\n"
         "zap.yaml:2:10: project: \"text\" is wrong; expected a list of objects\n"
         "zap.yaml:3:11: sequence: there are keys and values; expected a list of objects\n"},
        {"project:\nproject:\n", "zap.yaml:2:1: project: the key is given twice, first in line 1\n"},
        {"project:\n---\nproject:\n",
         "zap.yaml:2:1: a second document begins here; expected one in a file\n"},
        {"title: &a text\nproject: *a\n",
         "zap.yaml:1:8: anchors and aliases are not known here; expected the value itself\n"
         "zap.yaml:2:10: anchors and aliases are not known here; expected the value itself\n"},
        {"title: !include other.yaml\nproject:\n? [a]\n: b\n",
         "zap.yaml:1:8: the tag !include is not known here; expected the value without a tag\n"
         "zap.yaml:3:3: a list cannot be a key; expected a name\n"},
        {"Project:\n",
         "zap.yaml:1:1: Project: this is no section of a test file; expected title, project, sequence, "
         "simulation, live; did you mean project?\n"},
        // The target of an alias is not checked, so it has no other mistake.
        {"project:\n  - Port: &a p\n    Location: *a\n  - EmulatedDevice: d\n    DeviceCount: *a\n"
         "    AffiliationPort: *a\n  - *a\nsimulation: *a\n",
         "zap.yaml:2:11: anchors and aliases are not known here; expected the value itself\n"
         "zap.yaml:3:15: anchors and aliases are not known here; expected the value itself\n"
         "zap.yaml:5:18: anchors and aliases are not known here; expected the value itself\n"
         "zap.yaml:6:22: anchors and aliases are not known here; expected the value itself\n"
         "zap.yaml:7:5: anchors and aliases are not known here; expected the value itself\n"
         "zap.yaml:8:13: anchors and aliases are not known here; expected the value itself\n"},
        // Quotes that are closed in the wrong place, or not at all.
        {"project:\n  - Port: \"Head end\n    Location: //sim/1\n  - Port: b\n",
         "zap.yaml:2:11: the quote that opens here is not closed; expected a quote at the end of the text\n"},
        {"project:\n  - Port: \"Head end\n    Location: \"//sim/1\"\n",
         "zap.yaml:2:11: the quote that opens here is not closed in its line; expected a quote at the end of "
         "the text; a longer text stands behind | or >\n"},
        {"project:\n  - Port: \"Head end\n    Location: //sim/1\n  - Port: \"\n",
         "zap.yaml:2:11: the quote that opens here is not closed in its line; expected a quote at the end of "
         "the text; a longer text stands behind | or >\n"},
        {"project:\n  - Port: |#\n      a\n", "zap.yaml:2:12: a blank is missing before the comment\n"},
        {"project:\n  - Port: 'it's'\n",
         "zap.yaml:2:11: the text in quotes that begins here is closed in line 2, column 14, and more stands "
         "behind "
         "it; expected a quote at the end of the text; within it, '' between single and \\\" between double "
         "quotes\n"},
        // Keys without a blank behind the colon, which YAML reads as texts.
        {"project:a\n", "zap.yaml:1:1: a blank is missing behind the colon; expected \"project: a\"\n"},
        {"project:\n  - Port: a\n    Location://sim/1\n  - Port: b\n",
         "zap.yaml:3:14: a blank is missing behind the colon; expected \"Location: //sim/1\"\n"},
        {"project:\n  - Port:a\n    Location: b\n",
         "zap.yaml:2:10: a blank is missing behind the colon; expected \"Port: a\"\n"},
        {"project:\n  - Port:a\nsimulation: {seed:5}\n",
         "zap.yaml:2:5: project: a blank is missing behind the colon; expected \"Port: a\"\n"
         "zap.yaml:3:14: simulation, seed:5: a blank is missing behind the colon; expected \"seed: 5\"\n"},
        // Places count bytes, whatever stands before them.
        {"\xef\xbb\xbfproject:\n# \xc3\xa9\xe2\x80\xa8\n  - Port: \xc3\xa9\t@\n    \xc3\xa9: @\n",
         "zap.yaml:4:9: no value can begin with @; expected the text in quotes\n"},
        {"title:\ta\rproject:\r\r  - Prot: a\r\n\t- Port: a\r\n",
         "zap.yaml:5:1: there is a tab; expected blanks\n"},
        {"%TAG !a! tag:a:\n---\nproject:\n",
         "zap.yaml:1:1: directives of tags are not known here; expected values without tags\n"},
        {"project:\r\n\t- Port: a\r\n", "zap.yaml:2:1: there is a tab; expected blanks\n"},
        {"project:\n  - Port: \xc3\xa9\xe9\n",
         "zap.yaml:2:13: this is not UTF-8; expected a file in UTF-8\n"},
        {"project:\n  - Port: a\x1b[2J\n",
         "zap.yaml:2:12: the control character U+001B is not allowed in a file; expected text\n"},
        {"project:\n  - Port: \xef\xbf\xbe\n",
         "zap.yaml:2:11: the character U+FFFE is not allowed in a file; expected text\n"},
        {"title: a\n", "zap.yaml:1:1: project: the section is missing; expected the objects of the test\n"},
    };
    for (const Case& one : cases) EXPECT_EQ(ListMistakes(one.text), one.mistakes) << one.text;
}

TEST_F(TestFileTest, MistakesOfObjects) {
    const Case cases[] = {
        {"  - Prot: a\n", "zap.yaml:2:5: Prot: no data model has this class; did you mean Port?\n"},
        {"  - Port\n  - []\n  -\n",
         "zap.yaml:2:5: project: \"Port\" is no object; expected \"Class: name\", and the object's "
         "properties below\n"
         "zap.yaml:3:5: project: a list is no object; expected \"Class: name\", and the object's properties "
         "below\n"
         "zap.yaml:4:4: project: nothing is no object; expected \"Class: name\", and the object's properties "
         "below\n"},
        {"  - Port: {Location: here}\n",
         "zap.yaml:2:11: Port: there are keys and values; expected the object's name; its properties in the "
         "lines below\n"},
        {"  - StreamBlock: a\n",
         "zap.yaml:2:5: StreamBlock: it cannot be below Project; expected a parent of class Port\n"},
        {"  - MulticastHostConfig: a\n", "zap.yaml:2:5: MulticastHostConfig: the class is abstract\n"},
        // All else depends on which one is meant.
        {"  - EmulatedDevice: d\n    children:\n      - MulticastHostConfig:\n        Version: 9\n"
         "        children: [{Port: p}]\n      - IptvStbBlockConfig: b\n        MulticastParam: "
         "d/IgmpHostConfig\n    TopLevelIf: d/MulticastHostConfig/Ipv4If\n",
         "zap.yaml:4:9: MulticastHostConfig: the class is abstract; expected one of IgmpHostConfig, "
         "MldHostConfig\n"},
        {"  - Port: p\n    children:\n      - IptvPortResults:\n",
         "zap.yaml:4:9: IptvPortResults: objects of this class are the host's own\n"},
        {"  - WaitCommand: w\nsequence:\n  - Port: p\n  - SequencerLoopCommand: l\n    children: [{Port: "
         "q}]\n",
         "zap.yaml:2:5: WaitCommand: a command stands in the sequence only; expected an object of the "
         "configuration\n"
         "zap.yaml:4:5: Port: this is no command; expected a command\n"
         "zap.yaml:6:17: Port: this is no command; expected a command\n"},
        {"  - Port: a\n  - EmulatedDevice: a\n",
         "zap.yaml:3:21: EmulatedDevice: \"a\" is the name of the Port in line 2 already; expected another "
         "name\n"},
        {"  - Port: p\n    children:\n      - Generator: g\n      - Generator: h\n",
         "zap.yaml:5:9: Generator: Port \"p\" has only one, which stands in line 4 already; expected all its "
         "properties in one place\n"},
        {"  - Port: p\n    children: here\n",
         "zap.yaml:3:15: Port \"p\", children: \"here\" is wrong; expected a list of objects\n"},
        {"  - Port: p\n    children:\n    Children:\n",
         "zap.yaml:4:5: Port \"p\", Children: the key is given twice\n"},
        {"  - DeviceCount: 3\n    EmulatedDevice: d\n    Devicecuont: 4\n",
         "zap.yaml:2:5: project: the object does not begin with its class, which stands in line 3; expected "
         "\"EmulatedDevice: d\" first\n"
         "zap.yaml:4:5: EmulatedDevice \"d\", Devicecuont: the class has neither property nor relation of "
         "this name; "
         "did you mean DeviceCount?\n"},
        {"  - Sequencer: s\n", "zap.yaml:2:5: Sequencer: objects of this class are the host's own\n"},
    };
    for (const Case& one : cases) EXPECT_EQ(ListMistakes(WithObjects(one.text)), one.mistakes) << one.text;
}

TEST_F(TestFileTest, MistakesOfProperties) {
    const Case cases[] = {
        {"  - EmulatedDevice: d\n    DeviceCuont: 3\n",
         "zap.yaml:3:5: EmulatedDevice \"d\", DeviceCuont: the class has neither property nor relation of "
         "this name; did you mean DeviceCount?\n"},
        {"  - EmulatedDevice: d\n    DeviceCount: 0\n    devicecount: 3\n",
         "zap.yaml:3:18: EmulatedDevice \"d\", DeviceCount: \"0\" is wrong; expected a whole number from 1 "
         "to 65535\n"
         "zap.yaml:4:5: EmulatedDevice \"d\", devicecount: the property is given twice\n"},
        {"  - EmulatedDevice: d\n    DeviceCount: 100 STBs\n",
         "zap.yaml:3:18: EmulatedDevice \"d\", DeviceCount: \"100 STBs\" is wrong; expected a whole number "
         "from 1 to 65535\n"},
        {"  - EmulatedDevice: d\n    DeviceCount:\n",
         "zap.yaml:3:5: EmulatedDevice \"d\", DeviceCount: there is nothing; expected a whole number from 1 "
         "to 65535\n"},
        {"  - EmulatedDevice: d\n    DeviceCount: [1]\n    Handle: 5\n    Name: x\n",
         "zap.yaml:3:18: EmulatedDevice \"d\", DeviceCount: there is a list; expected a whole number from 1 "
         "to 65535\n"
         "zap.yaml:4:5: EmulatedDevice \"d\", Handle: the property is set by the host only\n"
         "zap.yaml:5:5: EmulatedDevice \"d\", Name: the name stands behind the class\n"},
        {"  - IptvViewingProfileConfig: v\n    ZapDirection: DIR_RANDON\n    ZapBehavior: 7\n    "
         "UnicastOnly: yes\n",
         "zap.yaml:3:19: IptvViewingProfileConfig \"v\", ZapDirection: \"DIR_RANDON\" is wrong; expected one "
         "of DIR_UP, DIR_DOWN, DIR_RANDOM; did you mean DIR_RANDOM?\n"
         "zap.yaml:4:18: IptvViewingProfileConfig \"v\", ZapBehavior: \"7\" is wrong; expected one of "
         "ZAP_ONLY, ZAP_AND_VIEW\n"
         "zap.yaml:5:18: IptvViewingProfileConfig \"v\", UnicastOnly: \"yes\" is wrong; expected true or "
         "false\n"},
        {"  - EmulatedDevice: d\n    children:\n      - Ipv4If:\n        Address: 10.0.0.256\n"
         "        AddrList: [10.0.0.1, ten, {a: b}]\n        GatewayMac: 00:11\n      - VlanIf:\n        "
         "IdStep: -40000\n",
         "zap.yaml:5:18: Ipv4If, Address: \"10.0.0.256\" is wrong; expected an IPv4 address\n"
         "zap.yaml:6:30: Ipv4If, AddrList: \"ten\" is wrong; expected an IPv4 address\n"
         "zap.yaml:6:35: Ipv4If, AddrList: there are keys and values; expected an IPv4 address\n"
         "zap.yaml:7:21: Ipv4If, GatewayMac: \"00:11\" is wrong; expected a MAC address\n"
         "zap.yaml:9:17: VlanIf, IdStep: \"-40000\" is wrong; expected a whole number from -32768 to "
         "32767\n"},
        // Numbers that contradict the names, and values of the other protocol.
        {"  - EmulatedDevice: d\n    children:\n      - IgmpHostConfig: i\n        Version: 3\n      - "
         "MldHostConfig: m\n"
         "        Version: igmp_v2\n      - IgmpHostConfig: j\n        Version: igmp_v3\n",
         "zap.yaml:5:18: IgmpHostConfig \"i\", Version: \"3\" is wrong; expected one of IGMP_V1, IGMP_V2, "
         "IGMP_V3\n"
         "zap.yaml:7:18: MldHostConfig \"m\", Version: \"igmp_v2\" is wrong; expected one of MLD_V1, "
         "MLD_V2\n"},
        {"sequence:\n  - IptvStartTestCommand:\n    TestDuration: long\n",
         "zap.yaml:4:19: IptvStartTestCommand, TestDuration: \"long\" is wrong; expected a number\n"},
    };
    for (const Case& one : cases) EXPECT_EQ(ListMistakes(WithObjects(one.text)), one.mistakes) << one.text;
}

TEST_F(TestFileTest, MistakesOfReferences) {
    const std::string devices =
        "  - Port: p\n"
        "  - Port: q\n"
        "  - EmulatedDevice: first\n"
        "    children: [{EthIIIf: Ethernet}, {Ipv4If: }]\n"
        "  - EmulatedDevice: second\n"
        "    children: [{EthIIIf: Ethernet}, {Ipv4If: }]\n"
        "  - EmulatedDevice: d\n";
    const Case cases[] = {
        {"    AffiliationPort: r\n    TopLevelIf: frist/Ipv4If\n",
         "zap.yaml:9:22: EmulatedDevice \"d\", AffiliationPort: \"r\" names no object; expected an object's "
         "name or path\n"
         "zap.yaml:10:17: EmulatedDevice \"d\", TopLevelIf: \"frist/Ipv4If\" names no object; expected an "
         "object's name or path; did you mean first/Ipv4If?\n"},
        {"    AffiliationPort: first\n",
         "zap.yaml:9:22: EmulatedDevice \"d\", AffiliationPort: EmulatedDevice \"first\" is of the wrong "
         "class; expected Port\n"},
        {"    AffiliationPort: [p, q]\n",
         "zap.yaml:9:26: EmulatedDevice \"d\", AffiliationPort: these are too many objects; expected at most "
         "1\n"},
        {"    TopLevelIf: [Ethernet, Ipv4If, first/Ipv4If, first/Ipv4If, {a: b}]\n",
         "zap.yaml:9:18: EmulatedDevice \"d\", TopLevelIf: \"Ethernet\" names 2 objects; expected one of "
         "first/Ethernet, second/Ethernet\n"
         "zap.yaml:9:28: EmulatedDevice \"d\", TopLevelIf: \"Ipv4If\" names 2 objects; expected one of "
         "first/Ipv4If, second/Ipv4If\n"
         "zap.yaml:9:50: EmulatedDevice \"d\", TopLevelIf: Ipv4If is given twice\n"
         "zap.yaml:9:64: EmulatedDevice \"d\", TopLevelIf: there are keys and values; expected an object's "
         "name or path\n"},
        {"    AffiliationPort: p\n    affiliationport: q\n",
         "zap.yaml:10:5: EmulatedDevice \"d\", affiliationport: the relation is given twice; expected one "
         "list of all its objects\n"},
        {"    StbChannel: p\n    AfiliationPort: p\n",
         "zap.yaml:9:5: EmulatedDevice \"d\", StbChannel: this is a relation of IptvStbBlockConfig only\n"
         "zap.yaml:10:5: EmulatedDevice \"d\", AfiliationPort: the class has neither property nor relation "
         "of this name; did you mean AffiliationPort?\n"},
        {"    ParentChild: p\n",
         "zap.yaml:9:5: EmulatedDevice \"d\", ParentChild: the class has neither property nor relation of "
         "this name; expected one of children, Active, LocalActive, DeviceCount, AffiliationPort, "
         "TopLevelIf, UsesIf\n"},
        {"  - IptvViewedChannels: v\n    ChannelBlock: [p]\n",
         "zap.yaml:10:19: IptvViewedChannels \"v\", ChannelBlock: there is a list; expected an object's name "
         "or path\n"},
        {"  - IptvViewedChannels: v\n    ChannelBlock: /\n",
         "zap.yaml:10:19: IptvViewedChannels \"v\", ChannelBlock: \"/\" names no object; expected an "
         "object's name or path\n"},
        {"  - Prot: odd\n  - EmulatedDevice: e\n    AffiliationPort: odd\n",
         "zap.yaml:9:5: Prot: no data model has this class; did you mean Port?\n"},
        // Of several the one that fits; of several that fit, all are named.
        {"    children:\n      - Ipv4If: p\n      - VlanIf: q\n        StackedOn: q\n    AffiliationPort: p\n"
         "    TopLevelIf: [p, q, Ethernet]\n",
         "zap.yaml:12:20: VlanIf \"q\", StackedOn: the interface is stacked on itself\n"
         "zap.yaml:14:24: EmulatedDevice \"d\", TopLevelIf: \"Ethernet\" names 2 objects; expected one of "
         "first/Ethernet, second/Ethernet\n"},
        {"  - IptvChannelBlock: c\n    MulticastParam: p\n",
         "zap.yaml:10:21: IptvChannelBlock \"c\", MulticastParam: Port \"p\" is of the wrong class; expected "
         "MulticastGroup "
         "(Ipv4Group, Ipv6Group)\n"},
        // Handles are of classes, too.
        {"  - IptvViewedChannels: v\n    ChannelBlock: d\n",
         "zap.yaml:10:19: IptvViewedChannels \"v\", ChannelBlock: EmulatedDevice \"d\" is of the wrong "
         "class; "
         "expected IptvChannelBlock\n"},
        {"sequence:\n  - IptvStartTestCommand:\n    StbBlockList: [d, p, Project, d]\n",
         "zap.yaml:11:23: IptvStartTestCommand, StbBlockList: Port \"p\" is of the wrong class; expected "
         "IptvStbBlockConfig, EmulatedDevice, Project\n"
         "zap.yaml:11:35: IptvStartTestCommand, StbBlockList: EmulatedDevice \"d\" is given twice\n"},
        // Interfaces that are stacked on themselves: of each cycle the last relation.
        {"    children:\n      - VlanIf: a\n        StackedOn: c\n      - VlanIf: b\n        StackedOn: a\n"
         "      - VlanIf: c\n        StackedOn: b\n      - VlanIf: top\n        StackedOn: c\n"
         "      - VlanIf: lone\n        StackedOn: lone\n",
         "zap.yaml:15:20: VlanIf \"c\", StackedOn: the interface is stacked on itself, by way of VlanIf "
         "\"b\", VlanIf \"a\"\n"
         "zap.yaml:19:20: VlanIf \"lone\", StackedOn: the interface is stacked on itself\n"},
    };
    for (const Case& one : cases)
        EXPECT_EQ(ListMistakes(WithObjects(devices + one.text)), one.mistakes) << one.text;
}

TEST_F(TestFileTest, MistakesOfValuesForOneRunNameTheOption) {
    const Case cases[] = {
        {"d/DeviceCount", "--set d/DeviceCount: this sets nothing; expected NAME/Property=VALUE\n"},
        {"DeviceCount=3", "--set DeviceCount=3: this sets nothing; expected NAME/Property=VALUE\n"},
        {"Homes/DeviceCount=3",
         "--set Homes/DeviceCount=3: \"Homes\" names no object; expected an object's name or path; did you "
         "mean Home?\n"},
        {"Home/DeviceCount=many",
         "--set Home/DeviceCount=many: EmulatedDevice \"Home\", DeviceCount: \"many\" is wrong; expected a "
         "whole number "
         "from 1 to 65535\n"},
        {"Home/Devicecuont=3",
         "--set Home/Devicecuont=3: EmulatedDevice \"Home\", Devicecuont: the class has neither property nor "
         "relation of "
         "this name; did you mean DeviceCount?\n"},
        {"Home/AffiliationPort=[p",
         "--set Home/AffiliationPort=[p: EmulatedDevice \"Home\", AffiliationPort: the list or the keys that "
         "begin here "
         "are not closed; expected \"]\" or \"}\"\n"},
        {"Home/AffiliationPort=q",
         "--set Home/AffiliationPort=q: EmulatedDevice \"Home\", AffiliationPort: \"q\" names no object; "
         "expected an "
         "object's name or path\n"},
        {"Home/children=[]",
         "--set Home/children=[]: children: objects cannot be set, but stand in the file; expected a "
         "property "
         "or relation\n"},
        {"Home/DeviceCount=4", ""},
    };
    // What is replaced is not looked at.
    const orv::app::FileText file{"zap.yaml", "project:\n  - EmulatedDevice: Home\n    Active: maybe\n", {}};
    for (const Case& one : cases) {
        const auto test = orv::app::TestFile::Parse(file, {one.text, "Home/Active=true"});
        EXPECT_EQ(Join(test.GetMistakes()), one.mistakes) << one.text;
    }
}

TEST_F(TestFileTest, AllMistakesComeAtOnceInTheOrderOfTheFileAndNothingIsMade) {
    EXPECT_EQ(ListMistakes("simulation: {sead: 1}\n"
                           "sequence:\n"
                           "  - WaitComand:\n"
                           "project:\n"
                           "  - EmulatedDevice: d\n"
                           "    AffiliationPort: nowhere\n"
                           "    children:\n"
                           "      - Ipv4If: {PrefixLength: 33}\n"
                           "      - Ipv4If:\n"
                           "        PrefixLength: 33\n"
                           "    DeviceCount: many\n"),
              "zap.yaml:1:14: simulation, sead: this is not known here; expected seed, defaults, ports, "
              "channel_blocks, faults; did you mean seed?\n"
              "zap.yaml:3:5: WaitComand: no data model has this class; did you mean WaitCommand?\n"
              "zap.yaml:6:22: EmulatedDevice \"d\", AffiliationPort: \"nowhere\" names no object; expected "
              "an object's name or path\n"
              "zap.yaml:8:17: Ipv4If: there are keys and values; expected the object's name; its properties "
              "in the lines below\n"
              "zap.yaml:10:23: Ipv4If, PrefixLength: \"33\" is wrong; expected a whole number from 0 to 32\n"
              "zap.yaml:11:18: EmulatedDevice \"d\", DeviceCount: \"many\" is wrong; expected a whole number "
              "from 1 to 65535\n");
    const auto file = Parse("project:\n  - Port: p\n  - Port: p\n");
    EXPECT_THROW(file.Build(host_.GetProject(), orv::framework::CSequencer::Instance()),
                 orv::common::COrvLogicError);
    orv::framework::ScriptableVec ports;
    orv::framework::CScriptableLocator::Instance().GetObjectsEx(ports, orv::ids::Port::CLASS, nullptr);
    EXPECT_TRUE(ports.empty());
}

TEST_F(TestFileTest, AFileThatCannotBeRead) {
    EXPECT_EQ(Join(orv::app::TestFile::Load("no/such/file.yaml").GetMistakes()),
              "no/such/file.yaml: the file cannot be read: No such file or directory\n");
    EXPECT_EQ(Join(orv::app::TestFile::Load(testing::TempDir()).GetMistakes()),
              testing::TempDir() + ": the file cannot be read: Is a directory\n");
    const std::string path = testing::TempDir() + "good_file.yaml";
    std::ofstream(path) << kGoodFile;
    EXPECT_EQ(Join(orv::app::TestFile::Load(path).GetMistakes()), "");
}

}  // namespace
}  // namespace test_file_test
