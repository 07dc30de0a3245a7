// Every kind of mistake, and its text; the sections "simulation" and "live".
#include <ctime>
#include <fstream>

#include "good_file.h"
#include "orv/common/exceptions.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"

namespace {

using namespace test_file_test;  // NOLINT: a test

TEST_F(TestFileTest, MistakesOfTheTextAndItsSections) {
    const char* const alias = "anchors and aliases are not known here; expected the value itself\n";
    const std::string aliases = std::string(alias) + alias + alias + alias + alias + alias;
    const char* const in_line =
        "the quote that opens here is not closed in its line; expected a quote at the end";
    ExpectMistakes(
        {{"^", "the file is empty; expected the sections of a test"},
         {"project: ^[\n", "the list or the keys that begin here are not closed; expected \"]\" or \"}\""},
         {"project:\n  - Port: [a\n  b^: }\n",
          "this is no part of the list that begins in line 2; expected \",\" or \"]\""},
         {"^- Port: a\n", "there is a list; expected the sections title, project,"},
         {"^titel: a\nproject:\n",
          "this is no section of a test file; expected title, project, sequence, sweep, simulation, live, "
          "expect; did you mean title?"},
         {"^Project:\n", "did you mean project?"},
         {"title: ^[a]\nproject: ^text\nsequence: ^{a: b}\n",
          "title: there is a list; expected a text\n\"text\" is wrong; expected a list of objects\nsequence: "
          "there are keys"},
         {"project:\n^project:\n", "project: the key is given twice, first in line 1"},
         {"project:\n^---\nproject:\n", "a second document begins here; expected one in a file"},
         {"title: ^!include other.yaml\nproject:\n? ^[a]\n: b\n",
          "the tag !include is not known here; expected the value without a tag\na list cannot be a key; "
          "expected a name"},
         // The target of an alias is not checked, so it has no other mistake.
         {"project:\n  - Port: ^&a p\n    Location: ^*a\n  - EmulatedDevice: d\n    DeviceCount: ^*a\n    "
          "AffiliationPort: ^*a\n  - ^*a\nsimulation: ^*a\n",
          aliases},
         // Quotes that are closed in the wrong place, or not at all.
         {"project:\n  - Port: ^\"Head end\n    Location: //sim/1\n  - Port: b\n",
          "the quote that opens here is not closed; expected a quote at the end of the text"},
         {"project:\n  - Port: ^\"Head end\n    Location: \"//sim/1\"\n", in_line},
         {"project:\n  - Port: ^\"Head end\n    Location: //sim/1\n  - Port: \"\n", in_line},
         {"project:\n  - Port: |^#\n      a\n", "a blank is missing before the comment"},
         {"project:\n  - Port: ^'it's'\n",
          "the text in quotes that begins here is closed in line 2, column 14, and more stands behind it; "
          "expected a quote at the end of the text; within it, '' between single and"},
         // Keys without a blank behind the colon, which YAML reads as texts.
         {"^project:a\n", "a blank is missing behind the colon; expected \"project: a\""},
         {"project:\n  - Port: a\n    Location:^//sim/1\n  - Port: b\n", "expected \"Location: //sim/1\""},
         {"project:\n  - Port:^a\n    Location: b\n",
          "a blank is missing behind the colon; expected \"Port: a\""},
         {"project:\n  - ^Port:a\nsimulation: {^seed:5}\n",
          "project: a blank is missing behind\nsimulation, seed:5: a blank is missing behind the colon; "
          "expected \"seed: 5\""},
         // Places count bytes, whatever stands before them.
         {"\xef\xbb\xbfproject:\n# \xc3\xa9\xe2\x80\xa8\n  - Port: \xc3\xa9\t@\n    \xc3\xa9: ^@\n",
          "no value can begin with @; expected the text in quotes"},
         {"^%TAG !a! tag:a:\n---\nproject:\n", "directives of tags are not known here; expected values"},
         {"project:\r\n^\t- Port: a\r\n", "there is a tab; expected blanks"},
         {"project:\n  - Port: \xc3\xa9^\xe9\n", "this is not UTF-8; expected a file in UTF-8"},
         {"project:\n  - Port: a^\x1b[2J\n", "the control character U+001B is not allowed in a file"},
         {"project:\n  - Port: ^\xef\xbf\xbe\n",
          "the character U+FFFE is not allowed in a file; expected text"},
         {"^title: a\n", "project: the section is missing; expected the objects of the test"}},
        "");
    EXPECT_EQ(ListMistakes("title:\ta\rproject:\r\r  - Prot: a\r\n\t- Port: a\r\n"),
              "zap.yaml:5:1: there is a tab; expected blanks\n");
}

TEST_F(TestFileTest, MistakesOfObjects) {
    const char* const no_object =
        " is no object; expected \"Class: name\", and the object's properties below\n";
    ExpectMistakes({
        {"  - ^Prot: a\n", "Prot: no data model has this class; did you mean Port?"},
        {"  - ^Port\n  - ^[]\n  -^\n", std::string("project: \"Port\"") + no_object + "project: a list" +
                                           no_object + "project: nothing" + no_object},
        {"  - Port: ^{Location: here}\n",
         "Port: there are keys and values; expected the object's name; its properties in the lines below"},
        {"  - ^StreamBlock: a\n", "StreamBlock: it cannot be below Project; expected a parent of class Port"},
        {"  - ^MulticastHostConfig: a\n", "MulticastHostConfig: the class is abstract"},
        // All else depends on which one is meant.
        {"  - EmulatedDevice: d\n    children:\n      - ^MulticastHostConfig:\n        Version: 9\n        "
         "children: [{Port: p}]\n      - {IptvStbBlockConfig: b, MulticastParam: d/IgmpHostConfig}\n    "
         "TopLevelIf: d/MulticastHostConfig/Ipv4If\n",
         "MulticastHostConfig: the class is abstract; expected one of IgmpHostConfig, MldHostConfig"},
        {"  - ^Sequencer: s\n  - Port: p\n    children:\n      - ^IptvPortResults:\n",
         "Sequencer: objects of this class are the host's own\nIptvPortResults: objects of this class"},
        {"  - ^WaitCommand: w\nsequence:\n  - ^Port: p\n  - SequencerLoopCommand: l\n    children: [{^Port: "
         "q}]\n",
         "WaitCommand: a command stands in the sequence only; expected an object of the configuration\nPort: "
         "this is no command; expected a command\nPort: this is no command"},
        {"  - Port: a\n  - EmulatedDevice: ^a\n",
         "EmulatedDevice: \"a\" is the name of the Port in line 2 already; expected another name"},
        {"  - Port: p\n    children:\n      - Generator: g\n      - ^Generator: h\n",
         "Port \"p\" has only one, which stands in line 4 already; expected all its properties in one place"},
        {"  - Port: p\n    children: ^here\n",
         "Port \"p\", children: \"here\" is wrong; expected a list of objects"},
        {"  - Port: p\n    children:\n    ^Children:\n", "Port \"p\", Children: the key is given twice"},
        {"  - ^DeviceCount: 3\n    EmulatedDevice: d\n    ^Devicecuont: 4\n",
         "the object does not begin with its class, which stands in line 3; expected \"EmulatedDevice: "
         "d\"\nDevicecuont: the class has neither property nor relation of this name; did you mean "
         "DeviceCount?"},
    });
}

TEST_F(TestFileTest, MistakesOfProperties) {
    ExpectMistakes({
        {"  - EmulatedDevice: d\n    DeviceCount: ^0\n    ^devicecount: 3\n",
         "EmulatedDevice \"d\", DeviceCount: \"0\" is wrong; expected a whole number from 1 to "
         "65535\ndevicecount: the property is given twice"},
        {"  - EmulatedDevice: d\n    DeviceCount: ^100 STBs\n",
         "DeviceCount: \"100 STBs\" is wrong; expected a whole"},
        {"  - EmulatedDevice: d\n    ^DeviceCount:\n",
         "DeviceCount: there is nothing; expected a whole number"},
        {"  - EmulatedDevice: d\n    DeviceCount: ^[1]\n    ^Handle: 5\n    ^Name: x\n",
         "DeviceCount: there is a list; expected a whole number\nHandle: the property is set by the host "
         "only\nName: the name stands behind the class"},
        {"  - IptvViewingProfileConfig: v\n    ZapDirection: ^DIR_RANDON\n    ZapBehavior: ^7\n    "
         "UnicastOnly: ^yes\n",
         "\"DIR_RANDON\" is wrong; expected one of DIR_UP, DIR_DOWN, DIR_RANDOM; did you mean "
         "DIR_RANDOM?\n\"7\" is wrong; expected one of ZAP_ONLY, ZAP_AND_VIEW\n\"yes\" is wrong; expected "
         "true or false"},
        {"  - EmulatedDevice: d\n    children:\n      - Ipv4If:\n        Address: ^10.0.0.256\n        "
         "AddrList: [10.0.0.1, ^ten, ^{a: b}]\n        GatewayMac: ^00:11\n      - VlanIf:\n        IdStep: "
         "^-40000\n",
         "Ipv4If, Address: \"10.0.0.256\" is wrong; expected an IPv4 address\nAddrList: \"ten\" is "
         "wrong\nAddrList: there are keys and values; expected an IPv4 address\n\"00:11\" is wrong; expected "
         "a MAC address\nVlanIf, IdStep: \"-40000\" is wrong; expected a whole number from -32768 to 32767"},
        // Numbers that contradict the names, and values of the other protocol.
        {"  - EmulatedDevice: d\n    children: [{IgmpHostConfig: i, Version: ^3}, {MldHostConfig: m, "
         "Version: ^igmp_v2}, {IgmpHostConfig: j, Version: igmp_v3}]\n",
         "\"3\" is wrong; expected one of IGMP_V1, IGMP_V2, IGMP_V3\n\"igmp_v2\" is wrong; expected one of "
         "MLD_V1,"},
        {"sequence:\n  - IptvStartTestCommand:\n    TestDuration: ^long\n",
         "IptvStartTestCommand, TestDuration: \"long\" is wrong; expected a number"},
    });
}

TEST_F(TestFileTest, MistakesOfReferences) {
    ExpectMistakes(
        {{"    AffiliationPort: ^r\n    TopLevelIf: ^frist/Ipv4If\n",
          "AffiliationPort: \"r\" names no object; expected an object's name or path\n\"frist/Ipv4If\" names "
          "no object; expected an object's name or path; did you mean first/Ipv4If?"},
         {"    AffiliationPort: ^first\n",
          "AffiliationPort: EmulatedDevice \"first\" is of the wrong class; expected Port"},
         {"    AffiliationPort: [p, ^q]\n",
          "AffiliationPort: these are too many objects; expected at most 1"},
         {"    TopLevelIf: [^Ethernet, ^Ipv4If, first/Ipv4If, ^first/Ipv4If, ^{a: b}]\n",
          "TopLevelIf: \"Ethernet\" names 2 objects; expected one of first/Ethernet, "
          "second/Ethernet\n\"Ipv4If\" names 2 objects\nTopLevelIf: Ipv4If is given twice\nthere are keys "
          "and values; expected an object's name"},
         {"    AffiliationPort: p\n    ^affiliationport: q\n",
          "affiliationport: the relation is given twice; expected one list of all its objects"},
         {"    ^StbChannel: p\n    ^AfiliationPort: p\n    ^ParentChild: p\n",
          "StbChannel: this is a relation of IptvStbBlockConfig only\nthe class has neither property nor "
          "relation of this name; did you mean AffiliationPort?\nthis name; expected one of children, "
          "Active, LocalActive, DeviceCount, AffiliationPort, TopLevelIf, UsesIf"},
         {"  - IptvViewedChannels: v\n    ChannelBlock: ^[p]\n  - IptvViewedChannels: w\n    ChannelBlock: "
          "^/\n",
          "ChannelBlock: there is a list; expected an object's name or path\nChannelBlock: \"/\" names no "
          "object"},
         {"  - ^Prot: odd\n  - EmulatedDevice: e\n    AffiliationPort: odd\n",
          "Prot: no data model has this class"},
         // Of several the one that fits; of several that fit, all are named.
         {"    children:\n      - Ipv4If: p\n      - {VlanIf: q, StackedOn: ^q}\n    AffiliationPort: p\n    "
          "TopLevelIf: [p, q, ^Ethernet]\n",
          "VlanIf \"q\", StackedOn: the interface is stacked on itself\nTopLevelIf: \"Ethernet\" names 2 "
          "objects"},
         {"  - IptvChannelBlock: c\n    MulticastParam: ^p\n",
          "MulticastParam: Port \"p\" is of the wrong class; expected MulticastGroup (Ipv4Group, Ipv6Group)"},
         // Handles are of classes, too.
         {"  - IptvViewedChannels: v\n    ChannelBlock: ^d\nsequence:\n  - IptvStartTestCommand:\n    "
          "StbBlockList: [d, ^p, Project, ^d]\n",
          "ChannelBlock: EmulatedDevice \"d\" is of the wrong class; expected IptvChannelBlock\nPort \"p\" "
          "is of the wrong class; expected IptvStbBlockConfig, EmulatedDevice, Project\nEmulatedDevice \"d\" "
          "is given twice"},
         // Interfaces that are stacked on themselves: of each cycle the last relation.
         {"    children:\n      - {VlanIf: a, StackedOn: c}\n      - {VlanIf: b, StackedOn: a}\n      - "
          "{VlanIf: c, StackedOn: ^b}\n      - {VlanIf: top, StackedOn: c}\n      - {VlanIf: lone, "
          "StackedOn: ^lone}\n",
          "the interface is stacked on itself, by way of VlanIf \"b\", VlanIf \"a\"\nthe interface is "
          "stacked on itself"}},
        "project:\n  - Port: p\n  - Port: q\n  - EmulatedDevice: first\n    children: [{EthIIIf: Ethernet}, "
        "{Ipv4If: }]\n  - EmulatedDevice: second\n    children: [{EthIIIf: Ethernet}, {Ipv4If: }]\n  - "
        "EmulatedDevice: d\n");
}

TEST_F(TestFileTest, MistakesOfValuesForOneRunNameTheOption) {
    const Mistaken cases[] = {
        {"d/DeviceCount", "this sets nothing; expected NAME/Property=VALUE"},
        {"DeviceCount=3", "this sets nothing"},
        {"Homes/DeviceCount=3",
         "\"Homes\" names no object; expected an object's name or path; did you mean Home?"},
        {"Home/DeviceCount=many",
         "EmulatedDevice \"Home\", DeviceCount: \"many\" is wrong; expected a whole number from 1 to 65535"},
        {"Home/Devicecuont=3",
         "EmulatedDevice \"Home\", Devicecuont: the class has neither property nor relation of this name"},
        {"Home/AffiliationPort=[p",
         "EmulatedDevice \"Home\", AffiliationPort: the list or the keys that begin here are not closed"},
        {"Home/AffiliationPort=q", "EmulatedDevice \"Home\", AffiliationPort: \"q\" names no object"},
        {"Home/children=[]",
         "children: objects cannot be set, but stand in the file; expected a property or relation"},
    };
    // What is replaced is not looked at.
    const orv::app::FileText file{"zap.yaml", "project:\n  - EmulatedDevice: Home\n    Active: maybe\n", {}};
    const auto set = [&file](const std::string& setting) {
        return Join(orv::app::TestFile::Parse(file, {setting, "Home/Active=true"}).GetMistakes());
    };
    for (const auto& [setting, says] : cases)
        EXPECT_THAT(set(setting), testing::StartsWith("--set " + setting + ": " + says));
    EXPECT_EQ(set("Home/DeviceCount=4"), "");
}

TEST_F(TestFileTest, AllMistakesComeAtOnceInTheOrderOfTheFileAndNothingIsMade) {
    ExpectMistakes({{"simulation: {^sead: 1}\nsequence:\n  - ^WaitComand:\nproject:\n  - EmulatedDevice: d\n "
                     "   AffiliationPort: ^nowhere\n    children:\n      - Ipv4If: ^{PrefixLength: 33}\n     "
                     " - Ipv4If:\n        PrefixLength: ^33\n    DeviceCount: ^many\n",
                     "sead: this is not known here\nWaitComand: no data model has this class; did you mean "
                     "WaitCommand?\n\"nowhere\" names no object\nIpv4If: there are keys\nPrefixLength: "
                     "\"33\" is wrong; expected a whole number from 0 to 32\n\"many\" is wrong"}},
                   "");
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

TEST_F(TestFileTest, DeepNesting) {
    for (const char* piece : {"[", "{a: ", "- ", "? "}) {
        std::string text = "project:\n  ";
        for (int i = 0; i < 20000; ++i) text += piece;
        EXPECT_NE(ListMistakes(text).find("values lie too deep within each other"), std::string::npos)
            << piece;
    }
}

/// Eight times as many objects take about eight times as long, right or wrong.
TEST_F(TestFileTest, ManyObjectsTakeTimeInProportion) {
    const char* const kinds[] = {
        "  - EmulatedDevice: Homes {0}\n    TopLevelIf: Homes {0}/Ipv4If\n    children:\n      - EthIIIf: "
        "Ethernet\n"
        "      - Ipv4If: IP\n        StackedOn: Homes {0}/Ethernet\n",
        "  - EmulatedDevice: Homes {0}\n    AffiliationPort: Viewer\n    TopLevelIf: Home {0}/Ipv4If\n",
        "  - Port: Viewers {0}\n  - EmulatedDevice: Homes {0}\n    AffiliationPort: Project/Viewers {0}\n",
        "  - Emulateddevise: Homes {0}\n  - EmulatedDevice: Home {0}\n    Devicecuont: 5\n",
    };
    const auto time = [](const char* kind, int count) {
        std::string text = "project:\n";
        for (int i = 0; i < count; ++i) text += fmt::format(fmt::runtime(kind), i);
        const std::clock_t start = std::clock();  // CPU time, independent of other load
        Parse(text);
        return static_cast<double>(std::clock() - start);
    };
    for (const char* kind : kinds) EXPECT_LT(time(kind, 1600), 20 * time(kind, 200)) << kind;
}

std::string Describe(const orv::il::Distribution& distribution) {
    const char* names[] = {"constant", "uniform", "normal", "exponential"};
    return fmt::format("{} {} {}", names[static_cast<int>(distribution.kind)], distribution.a,
                       distribution.b);
}

const std::string kObjects = "project:\n  - Port: Viewers\n  - IptvChannelBlock: News\n";

TEST_F(TestFileTest, SimulationIsRead) {
    const auto file =
        Parse(kObjects +
              "simulation:\n"
              "  ports: {Viewers: {leave_delay: {normal: [112, 5.5]}, loss: 0}}\n"
              "  channel_blocks:\n"
              "    News: {loss: 0.5, unicast_join_delay: {uniform: [1, 2]}, jitter: {exponential: [3, 4]}}\n"
              "  seed: 18446744073709551615\n"
              "  defaults: {join_delay: 37, loss: 1 %, payload_error: 0.25, burst_rate: 2}\n"
              "  faults:\n"
              "    Viewers:\n"
              "      - {kind: refuse, request: Start, occurrence: 2}\n"
              "      - {kind: late_end_of_test, delay_ms: 0x1f4}\n");
    ASSERT_EQ(Join(file.GetMistakes()), "");
    const auto& simulation = file.GetSimulation();
    const auto& viewers = simulation.ports.at("Viewers");
    const auto news = simulation.channel_blocks.at("News").ApplyTo(viewers);
    const auto& faults = simulation.faults.at("Viewers");
    ASSERT_EQ(faults.size(), 2u);
    // Without the section leaving takes 60 ms. A port is as the defaults, though they stand below, and a
    // block as its port where it does not say anything itself.
    EXPECT_EQ(fmt::format("{}; {}, {}; {}, {}, {}", simulation.seed,
                          Describe(simulation.defaults.leave_delay), simulation.defaults.loss,
                          Describe(viewers.join_delay), viewers.loss, viewers.payload_error),
              "18446744073709551615; constant 60 0, 0.01; constant 37 0, 0, 0.25");
    EXPECT_EQ(fmt::format("{}, {}, {}, {}, {}", Describe(news.leave_delay), Describe(news.unicast_join_delay),
                          Describe(news.jitter), news.burst_rate, news.loss),
              "normal 112 5.5, uniform 1 2, exponential 3 4, 2, 0.5");
    EXPECT_TRUE(faults[0].kind == orv::il::Fault::Kind::Refuse &&
                faults[1].kind == orv::il::Fault::Kind::LateEndOfTest);
    EXPECT_EQ(fmt::format("{} {} {}", faults[0].request, faults[0].occurrence, faults[1].delay_ms),
              "Start 2 500");
}

TEST_F(TestFileTest, LiveSectionIsRead) {
    const auto read = [](const std::string& section) {
        const auto settings = Parse(kObjects + section).GetLiveSettings();
        const auto& unicast = settings.unicast;
        return fmt::format("{} {} {} {} {} {:x} {}", settings.membership.suppress_reports,
                           settings.membership.robustness, unicast.port_mapping, unicast.reduced_size,
                           static_cast<int>(unicast.sbit), unicast.ssrc_base.value_or(1),
                           unicast.max_bitrate);
    };
    const std::string otherwise =
        fmt::format("false 2 false false 0 1 {}", orv::nic::UnicastSettings().max_bitrate);
    for (const char* absent : {"", "live:\n"}) EXPECT_EQ(read(absent), otherwise);
    EXPECT_EQ(
        read("live: {report_suppression: true, robustness: 7, port_mapping: true, reduced_size_rtcp: true, "
             "s_bit: join_time, channel_ssrc_base: 0xe1010000, burst_bitrate_limit: 8000000000}\n"),
        "true 7 true true 2 e1010000 8000000000");
}

TEST_F(TestFileTest, MistakesOfTheSimulation) {
    const std::string seed = "expected a whole number from 0 to 18446744073709551615";
    const std::string fraction = "is wrong; expected a fraction from 0 to 1, or from 0 % to 100 %\n";
    const std::string time =
        "expected milliseconds from 0 to 1000000000, {uniform: [least, most]}, {normal: [mean, deviation]} "
        "or {exponential: [shift, mean]}";
    const std::string kinds =
        "expected lose_response, refuse, go_offline, late_end_of_test, repeat_end_of_test, miss_end_of_test, "
        "spoil_notification, late_response, repeat_response, lose_notification, late_notification, "
        "repeat_notification";
    ExpectMistakes(
        {{"  seed: ^-1\n  ^sede: 1\n", "simulation, seed: \"-1\" is wrong; " + seed + "\n" +
                                           "simulation, sede: this is not known here; expected seed, "
                                           "defaults, ports, channel_blocks, faults; did you mean"},
         {"  seed: ^+5\n", "simulation, seed: \"+5\" is wrong; " + seed},
         {"  seed: ^007\n", "simulation, seed: \"007\" is wrong; " + seed},
         {"  defaults: {packet_rate: ^10000001, burst_rate: ^1e300, jitter: ^1000000001, loss: ^+1 %}\n",
          "defaults, packet_rate: \"10000001\" is wrong; expected a number above 0, at most 10000000\n"
          "defaults, burst_rate: \"1e300\" is wrong; expected a number above 0, at most 1000\n"
          "defaults, jitter: \"1000000001\" is wrong; " +
              time + "\ndefaults, loss: \"+1 %\" " + fraction},
         {"  defaults: ^5\n", "simulation, defaults: \"5\" is wrong; expected keys and values"},
         {"  defaults: {loss: ^101 %, late: ^-0.1, join_failure: ^nan, packet_rate: ^0, ^jiter: 1}\n",
          "loss: \"101 %\" " + fraction + "late: \"-0.1\" " + fraction + "join_failure: \"nan\" " + fraction +
              "packet_rate: \"0\" is wrong; expected a number above 0, at most 10000000\n"
              "jiter: this is not known here; expected join_delay, leave_delay, unicast_join_delay, "
              "unicast_leave_delay, retransmission_delay, jitter, address_delay, packet_rate, burst_rate, "
              "join_capacity, "
              "join_failure, address_failure, "
              "loss, reordering, duplication, late, payload_error, retransmission_loss; did you mean "
              "jitter?"},
         {"  defaults: {join_delay: ^-1, leave_delay: ^[1], jitter: ^{normal: [1, 2], uniform: [1, 2]}}\n",
          "join_delay: \"-1\" is wrong; expected milliseconds\nleave_delay: there is a list; expected\n"
          "jitter: there are keys and values; expected milliseconds"},
         {"  defaults: {join_delay: {uniform: ^[2, 1]}, jitter: {^gauss: 1}, leave_delay: {normal: ^[1]}}\n",
          "uniform: the parameters are wrong; expected [least, most] in milliseconds, each\n"
          "gauss: this is no distribution; expected uniform, normal, exponential\n"
          "normal: the parameters are wrong; expected [mean, standard deviation] in milliseconds, each"},
         {"  defaults: {jitter: {exponential: ^[0, 1e10]}}\n",
          "exponential: the parameters are wrong; expected [shift, mean] in milliseconds, each"},
         {"  ports: {^News: {}}\n  channel_blocks: {^Newz: {}}\n",
          "simulation, ports, News: this is not known here; expected Viewers\n"
          "simulation, channel_blocks, Newz: this is not known here; expected News; did you mean News?"},
         {"  faults: {Viewers: ^{}}\n",
          "faults, Viewers: there are keys and values; expected a list of faults"},
         // Faults that could never come.
         {"  faults: {Viewers: [{kind: refuse, request: ^Strat}, {kind: refuse, request: "
          "^iptvcd_1.Start}]}\n",
          "request: \"Strat\" is wrong; expected the name of a request; did you mean Start?\n"
          "request: \"iptvcd_1.Start\" is wrong; expected the name of a request; did you mean Start?"},
         {"  faults: {Viewers: [^{kind: late_end_of_test}, {kind: late_end_of_test, delay_ms: ^0}]}\n",
          "delay_ms: this is missing; expected a whole number from 1 to 1000000000\n"
          "delay_ms: \"0\" is wrong; expected a whole number from 1 to 1000000000"},
         {"  faults: {Viewers: [{kind: miss_end_of_test, ^request: Start, ^delay_ms: 5}, {kind: "
          "spoil_notification, ^request: Start}, {kind: go_offline, ^delay_ms: 5}]}\n",
          "request: a fault of kind miss_end_of_test takes none\ndelay_ms: a fault of kind miss_end_of_test\n"
          "request: a fault of kind spoil_notification takes none\ndelay_ms: a fault of kind go_offline"},
         {"  faults: {Viewers: [{kind: ^go_ofline}, ^{request: Start}, {kind: refuse, occurrence: ^0, "
          "^delay: 1}, ^x, ^~]}\n",
          "kind: \"go_ofline\" is wrong; " + kinds +
              "; did you mean go_offline?\nkind: this is missing\noccurrence: \"0\" is wrong; expected a "
              "whole number from 1 to 4294967295\n"
              "delay: this is not known here; expected kind, request, occurrence, delay_ms\n"
              "faults, Viewers: \"x\" is wrong; expected keys and values\nkind: this is missing"}},
        kObjects + "simulation:\n");
}

TEST_F(TestFileTest, MistakesOfTheSweep) {
    const std::string form = "expected a list of values, {from: ..., to: ..., step: ...} or {search: ";
    const std::string number = " is wrong; expected a decimal number of at most 12 digits";
    ExpectMistakes(
        {{" ^text\n", "sweep: \"text\" is wrong; expected properties and their values"},
         {"\n  ^d: [1]\n", "d: this names no property; expected NAME/Property"},
         {"\n  ^e/DeviceCount: [1]\n", "\"e\" names no object"},
         {"\n  ^d/DeviceCuont: [1, 2]\n",
          "has neither property nor relation of this name; did you mean DeviceCount?"},
         {"\n  ^d/children: [1]\n", "children: objects cannot be set, but stand in the file"},
         {"\n  d/DeviceCount: [1]\n  ^EmulatedDevice/devicecount: [2]\n", "the property is given twice"},
         {"\n  d/DeviceCount: [1]\n  d/Active: [true]\n  ^p/Active: [true]\n", "this is a third property"},
         {"\n  d/DeviceCount: ^5\n  p/Location: ^[]\n",
          "DeviceCount: \"5\" is wrong; " + form + "\nLocation: there are no values; " + form},
         {"\n  d/DeviceCount: [1, ^0, 5, ^many, ^[1]]\n  d/AffiliationPort: [p, ^q]\n",
          "EmulatedDevice \"d\", DeviceCount: \"0\" is wrong\n\"many\" is wrong\nthere is a list\n\"q\" "
          "names no object"},
         // All values of a range have its place.
         {"\n  d/DeviceCount: ^{from: 65000, to: 66000, step: 100}\n", "DeviceCount: \"65600\" is wrong"},
         {"\n  d/DeviceCount: {search: ^{from: 1, to: 2, step: 0.5}}\n", "DeviceCount: \"1.5\" is wrong"},
         {"\n  d/DeviceCount: {search: ^{from: 1, to: 65536}}\n", "DeviceCount: \"65536\" is wrong"},
         {"\n  d/DeviceCount: {from: ^1e2, to: ^0x9, step: ^0}\n  d/Active: {from: ^01, to: ^+3, step: "
          "^-1}\n",
          "from: \"1e2\"" + number + "\n\"0x9\"" + number +
              "\n\"0\" is wrong; expected a number above 0\n\"01\"" + number + "\n\"+3\"" + number +
              "\nstep: \"-1\" is wrong; expected a number above 0"},
         {"\n  d/DeviceCount: ^{from: 3, to: 2.9}\n", "DeviceCount: the range ends below its begin"},
         {"\n  d/DeviceCount: ^{^stp: 5, to: 4}\n",
          "from: this is missing\nstp: this is not known here; expected from, to, step; did you mean step?"},
         {"\n  d/DeviceCount: {search: {from: 1, to: 2, repetitions: ^0}, ^step: 2}\n",
          "repetitions: \"0\" is wrong; expected a whole number from 1 to 1000\nstep: this is not known "
          "here"},
         {"\n  d/DeviceCount: {search: {from: 1, to: 2}}\n  ^p/Active: [true]\n",
          "a search varies one property"},
         {"\n  d/DeviceCount: {from: 1, to: 500}\n  ^p/Location: [a, b, c]\n",
          "the sweep has 1500 iterations; expected at most 1000"},
         {"\n  d/DeviceCount: ^{from: 1, to: 2, step: 0.000001}\n",
          "these are 1000001 values; expected at most 1000"}},
        "project:\n  - Port: p\n  - EmulatedDevice: d\nsweep:");
    const std::string swept = "project:\n  - EmulatedDevice: d\nsweep: {d/DeviceCount: [1, 2]}\n";
    EXPECT_EQ(Join(orv::app::TestFile::Parse({"zap.yaml", swept, {}},
                                             {"d/Active=true", "EmulatedDevice/devicecount=3"})
                       .GetMistakes()),
              "--set EmulatedDevice/devicecount=3: EmulatedDevice \"d\", devicecount: the sweep of the test "
              "file varies "
              "this, in line 3; expected a property that is not swept\n");
}

TEST_F(TestFileTest, MistakesOfTheLiveSection) {
    const std::string range = "expected a whole number from 1 to 7";
    ExpectMistakes(
        {{" {robustness: ^0}\n", "live, robustness: \"0\" is wrong; " + range},
         {" {robustness: ^8}\n", "live, robustness: \"8\" is wrong; " + range},
         {"\n  robustness: ^[2]\n", "live, robustness: there is a list; " + range},
         {" {report_suppression: ^often}\n",
          "report_suppression: \"often\" is wrong; expected true or false"},
         {" {s_bit: ^HEADER, channel_ssrc_base: ^4294967296}\n",
          "s_bit: \"HEADER\" is wrong; expected AUTOMATIC, HEADER_EXTENSION, JOIN_TIME\n"
          "channel_ssrc_base: \"4294967296\" is wrong; expected a whole number from 0 to 4294967295"},
         {" {^robustnes: 2}\n",
          "expected report_suppression, robustness, port_mapping, reduced_size_rtcp, s_bit, "
          "channel_ssrc_base, burst_bitrate_limit; did you mean robustness?"},
         {" ^2\n", "live: \"2\" is wrong; expected keys and values"}},
        kObjects + "live:");
}

TEST_F(TestFileTest, ExpectationsCountWhatTheResultsHave) {
    const auto* results = orv::framework::CMetaClassManager::Instance().GetClass("IptvStbBlockResults");
    for (const orv::app::Count& count : orv::app::GetCounts()) {
        for (const char* property : count.properties)
            EXPECT_TRUE(!property || results->FindProperty(std::string(property))) << property;
    }
}

TEST_F(TestFileTest, MistakesOfTheExpectations) {
    const std::string objects =
        kObjects +
        "  - {EmulatedDevice: D, children: [IptvStbBlockConfig: B, IptvStbBlockConfig: Twin]}\n"
        "  - {EmulatedDevice: E, children: [IptvStbBlockConfig: Twin]}\nexpect:";
    ExpectMistakes(
        {{" ^test\n", "expect: \"test\" is wrong; expected a list of texts"},
         {R"(
  - ^lost
  - ^[test]
  - ^{a: b, c: d}
  - ^~
  - ^portt Viewers: lost <= 0
  - '^Boxes: lost <= 0'
  - "^: lost <= 0"
  - "test ^A: lost <= 0"
  - ^port: lost <= 0
  - "port Viewers^:lost <= 0"
)",
          R"("lost" is wrong; expected SUBJECT: FIGURE COMPARISON NUMBER UNIT, such as
there is a list; expected SUBJECT
there are keys
there is nothing
"portt Viewers" names no subject; expected test, port NAME, STB block NAME, profile NAME, channel range NAME; did you mean port?
"Boxes" names no subject
the subject is missing
the test has no name here
the name is missing
a blank is missing behind the colon)"},
         // Subject and figure are both told, in quotes, without them, and where escapes hide the place.
         {R"(
  - "port ^Viewer: ^views > 1"
  - port  ^viewers:  ^join latancy max > 1 s
  - ^^"port View\x65r: views > 1"
  - STB block ^Twin: views > 1
  - channel range ^R: views > 1
)",
          R"("Viewer" names no port; expected Viewers; did you mean Viewers?
a port has no views; expected join latency, leave latency, change latency, gap latency, overlap latency, unicast join latency, retransmission latency, packets, lost, reordered, duplicate, late, payload errors
"viewers" names no port
"join latancy" is no figure; expected join latency, leave latency, change latency
a port has no views
"Viewer" names no port
"Twin" names 2 STB blocks; expected a name that only one of them has
"R" names no channel range; expected nothing: the test has none)"},
         {R"(
  - "STB block B: ^lsot"
  - "STB block B: ^<= 5"
  - "STB block B: lost ^=< 5"
  - "STB block B: lost <= ^-1"
  - "STB block B: lost ^<="
  - "STB block B: lost < ^nan"
  - "STB block B: lost < 1^e3"
  - "STB block B: lost < ^1."
  - "STB block B: ^join latency < 5 ms"
  - "STB block B: join latency ^p98 < 5 ms"
  - "STB block B: lost ^max < 5"
  - "STB block B: gap latency max < ^5"
  - "STB block B: gap latency max < 5 ^%"
  - "STB block B: lost < 5 ^ms"
  - "STB block B: views < 5^%"
)",
          R"(the comparison is missing; expected <=, <, >=, >, =, ==, !=
the figure is missing
"=<" is no comparison
"-1" is wrong; expected a number from 0 in decimal
the number is missing
"nan" is wrong
"e3" is no unit
"1." is wrong
the statistic of the join latency is missing; expected min, mean, max, p50, p90, p95, p99, p99.9
"p98" is no statistic
"max" does not belong here: "lost" is a count; expected a comparison
the unit of the gap latency is missing; expected us, µs, ms, s, min
"%" is no unit of a latency
"ms" is no unit of "lost"; expected %, or none
"%" is no unit of "views"; expected none)"}},
        objects);
}

}  // namespace
