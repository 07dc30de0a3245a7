// "validate" and "run" accept and reject the same files.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <regex>

#include "generated_file.h"
#include "session_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using Applies = bool (*)(GeneratedFile&, GeneratedObject&);

/// One change that makes a good file a bad one.
struct Violation {
    const char* object;    ///< class of the object that is changed
    const char* property;  ///< what is changed
    const char* text;      ///< its new value; empty: none
    const char* mistake;   ///< the expected mistake
    Applies applies = nullptr;
    /// Class of the object in the mistake, if another one; empty: any of several.
    const char* said_of = nullptr;
    const char* said_property = nullptr;
};

/// Of the first active devices: device, interface, protocol, or STB block.
bool IsOn(GeneratedFile&, GeneratedObject& object) {
    std::string all = object.name;
    for (const auto& [key, text] : object.values) all += key == "StackedOn" || key == "UsesIf" ? text : "";
    return std::regex_search(all, std::regex("(Homes|Boxes) \\d 1"));
}
bool IsOnAndHasNeighbour(GeneratedFile& file, GeneratedObject& object) {
    return file.devices == 2 && IsOn(file, object);
}
std::string Get(GeneratedObject& object, const char* key) {
    const std::string* value = object.Find(key);
    return value ? *value : std::string();
}
bool IsOnEthernet(GeneratedFile& file, GeneratedObject& object) {
    for (GeneratedObject* layer : file.Find("Aal5If")) return !layer;
    return IsOn(file, object);
}
bool IsOnEthernetAndHasNeighbour(GeneratedFile& file, GeneratedObject& object) {
    return file.devices == 2 && IsOnEthernet(file, object);
}
bool HasBusyNeighbour(GeneratedFile& file) {
    for (GeneratedObject* boxes : file.Find("IptvStbBlockConfig")) {
        if (boxes->name == "Boxes 1 2") return !boxes->Find("Active");
    }
    return false;
}
bool IsFirstInVlanAndHasNeighbour(GeneratedFile& file, GeneratedObject& object) {
    return HasBusyNeighbour(file) && Get(object, "StackedOn").starts_with("Homes 1 1/Vlan");
}
bool IsTestedFirst(GeneratedFile& file, GeneratedObject& object) {
    return !file.sequence.empty() && file.Find("ArpNdStartOnAllDevicesCommand").empty() &&
           Get(object, "StackedOn").starts_with("Homes 1 1/");
}
bool IsNumbered(GeneratedFile&, GeneratedObject& object) {
    return object.Find("StartIpList") != nullptr;
}
/// The only start covers all devices.
bool IsCovered(GeneratedFile& file, GeneratedObject& object) {
    return !file.wizard && IsOn(file, object) && !file.sequence.empty() &&
           Get(*file.Find("IptvStartTestCommand").front(), "StbBlockList") == "Project";
}
bool HasTwins(GeneratedFile& file, GeneratedObject& object) {
    return HasBusyNeighbour(file) && Get(object, "Address") == "10.11.0.10" && IsCovered(file, object) &&
           file.Find("VlanIf").empty() && file.Find("Dhcpv4BlockConfig").empty() &&
           file.Find("PppIf").empty();
}
bool IsRepeated(GeneratedFile& file, GeneratedObject&) {
    return !file.Find("SequencerLoopCommand").empty();
}
bool IsOnlyTime(GeneratedFile& file, GeneratedObject& object) {
    const bool ends =
        !file.Find(object.class_name == "WaitCommand" ? "IptvStopTestCommand" : "GeneratorStopCommand")
             .empty();
    return ends && file.Find("IptvStartTestCommand").size() == 1 && !IsRepeated(file, object) &&
           (object.class_name == "WaitCommand" || file.Find("WaitCommand").empty());
}
bool IsOnlyStart(GeneratedFile& file, GeneratedObject&) {
    return file.Find("IptvStartTestCommand").size() == 1;
}
bool SendsChannels(GeneratedFile& file, GeneratedObject& object) {
    return file.testing && !file.wizard && !file.sequence.empty() && object.name == "Head end";
}
bool IsWizards(GeneratedFile& file, GeneratedObject& object) {
    return file.wizard && object.name == "Homes";
}
bool IsIpv4(GeneratedFile& file, GeneratedObject&) {
    return !file.ipv6;
}
bool IsIpv6(GeneratedFile& file, GeneratedObject&) {
    return file.ipv6;
}
bool Zaps(GeneratedFile& file, GeneratedObject& object) {
    const std::string start = Get(object, "StartIpList");
    const bool is_watched = start.starts_with("225.1.") || start.starts_with("\"ff1e:1:");
    return file.type == "ZAPPING" && (file.wizard || is_watched);
}
bool IsWatched(GeneratedFile& file, GeneratedObject& object) {
    return !file.wizard && object.name.ends_with(" 1");
}
bool IsTested(GeneratedFile& file, GeneratedObject&) {
    return file.testing;
}
bool IsServed(GeneratedFile& file, GeneratedObject& object) {
    return IsOn(file, object) && !file.wizard && file.type != "ZAPPING" && file.type != "VERIFICATION";
}
bool Retransmits(GeneratedFile& file, GeneratedObject&) {
    return file.type == "RELIABLE_RETRANSMISSION";
}

constexpr Violation kViolations[] = {
    // Devices and what they are made of.
    {"EmulatedDevice", "AffiliationPort", "", "missing; expected the Port", IsOn},
    {"EmulatedDevice", "DeviceCount", "20000", "maximum number of set top boxes per CCPU", IsOn, "Port"},
    {"EmulatedDevice", "TopLevelIf", "Homes 1 2/{ip}If", "is part of EmulatedDevice \"Homes 1 2\"",
     IsOnAndHasNeighbour},
    {"Ip.If", "StackedOn", "Homes 1 2/EthIIIf", "is part of EmulatedDevice \"Homes 1 2\"",
     IsOnEthernetAndHasNeighbour},
    {"Ip.If", "StackedOn", "Homes 1 1/EthIIIf", "on the same port", IsFirstInVlanAndHasNeighbour, ""},
    {"Ipv4If", "Address", "10.12.0.10", "Duplicate Device IPv4 addresses", HasTwins, ""},
    {"Ip.If", "AddrResolveState", "RESOLVE_NEEDED", "RESOLVE_NEEDED when the test starts", IsTestedFirst},
    {"IgmpHostConfig", "UsesIf", "", "missing; expected the Ipv4If of EmulatedDevice", IsOn},
    {"MldHostConfig", "UsesIf", "", "missing; expected the Ipv6If of EmulatedDevice", IsOn},
    {"IgmpHostConfig", "UsesIf", "Homes 1 1/EthIIIf", "is of the wrong class; expected the Ipv4If",
     IsOnEthernet},
    {"IgmpHostConfig", "UsesIf", "Homes 1 2/Ipv4If", "is part of EmulatedDevice \"Homes 1 2\"",
     IsOnAndHasNeighbour},
    {"Ip.If", "IlMembership", "EXCLUDED", "off their port", IsCovered},
    {"IgmpHostConfig", "Active", "false", "it is off, but IptvStbBlockConfig", IsOn},
    {"EmulatedDevice", "Active", "false", "it is off, but IptvStbBlockConfig", IsCovered},
    {"Port", "Online", "false", "off line when its generator is started", SendsChannels},
    {"IptvStbBlockConfig", "MulticastParam", "", "missing; expected", IsOn},
    {"IptvStbBlockConfig", "MulticastParam", "Homes 1 2/MulticastHostConfig",
     "is part of EmulatedDevice \"Homes 1 2\"", IsOnAndHasNeighbour},
    {"IptvStbBlockConfig", "StbChannel", "", "at least one viewed channel", IsOn},
    {"IptvStbBlockConfig", "IptvProfile", "", "one viewing profile", IsOn},
    {"IptvStbBlockConfig", "UdpSourcePort", "0", "UdpSourcePorts outside the range", IsServed},
    // Channels.
    {"IptvChannelBlock", "MulticastParam", "", "missing; expected", IsWatched},
    {"IptvChannelBlock", "ChannelStart", "0", "starting channel number cannot be 0", IsWatched},
    {"IptvChannelBlock", "ChannelStart", "65535", "65535", IsWatched},
    {"IptvChannelBlock", "UdpDestinationPort", "0", "UdpDestinationPort outside the range", IsWatched},
    {"Ipv4NetworkBlock", "StartIpList", "10.0.0.1", "10.0.0.1, which is no multicast group", IsNumbered},
    {"Ipv4NetworkBlock", "StartIpList", "239.255.255.255", "is 240.0.0.", IsNumbered},
    {"Ipv6NetworkBlock", "StartIpList", "\"2001:db8::1\"", "2001:db8::1, which is no multicast group",
     IsNumbered},
    {"Ip.NetworkBlock", "StartIpList", "[]", "empty", IsNumbered},
    {"Ip.NetworkBlock", "NetworkCount", "0", "there are no addresses", IsNumbered},
    {"Ip.NetworkBlock", "NetworkCount", "70000", "65535", IsNumbered},
    {"Ip.NetworkBlock", "NetworkCount", "4294967295", "65535", IsNumbered},
    {"Ip.NetworkBlock", "AddrIncrement", "2", "odd", Zaps},
    {"Ip.NetworkBlock", "PrefixLength", "24", "in a zapping test", Zaps},
    {"IptvViewedChannels", "ChannelBlock", "", "There is no IptvChannelBlock", IsWatched},
    {"IptvViewedChannels", "ChannelRangeStep", "0", "ChannelRangeStep cannot be 0", IsWatched},
    {"IptvViewedChannels", "ChannelRangeEnd", "60000", "subset of a global block", IsWatched},
    {"IptvViewedChannels", "InitialChannelStart", "60000", "should be less than or equal", IsWatched},
    {"IptvViewedChannels", "InitialChannelStep", "60000", "Initial Channel Step", IsWatched},
    {"IptvChannelBlock", "MulticastParam", "Other groups", "channels and protocol of one version of IP",
     IsWatched, "IptvStbBlockConfig", "StbChannel"},
    // Profiles.
    {"IptvViewingProfileConfig", "Interval", "1025", "multiple of 50ms"},
    {"IptvViewingProfileConfig", "SetTopLeaveJoinDelay", "3000",
     "less than or equal to Zap Interval - 50 ms"},
    {"IptvViewingProfileConfig", "JoinLatencyThreshold", "30000", "Join Latency Threshold"},
    {"IptvViewingProfileConfig", "LeaveLatencyThreshold", "30000", "Leave Latency Threshold"},
    {"IptvViewingProfileConfig", "ChangesBeforeView", "0", "greater than or equal to 1"},
    // Commands.
    {"IptvStartTestCommand", "TestDuration", "0.9", "expected a number of seconds from 1 to"},
    {"IptvStartTestCommand", "TestDuration", "1e300", "expected a number of seconds from 1 to"},
    {"IptvStartTestCommand", "TestDuration", "nan", "expected a number"},
    {"IptvStartTestCommand", "StbBlockList", "[]", "At least 1 Block of STBs"},
    {"IptvStartTestCommand", "TestEnv", "TESTING", "Test Environment mode", Retransmits},
    {"IptvStartTestCommand", "MulticastJoinTrigger", "SBIT_AND_DELAY", "S-bit", Retransmits},
    {"IptvStartTestCommand", "Active", "false", "no other command starts a test", IsOnlyStart},
    {"IptvWaitForTestCompletionCommand", "Active", "false", "may still run", IsRepeated,
     "IptvStartTestCommand", ""},
    {"IptvWaitForTestCompletionCommand", "Active", "false", "loses its streams as soon as", IsOnlyTime,
     "GeneratorStopCommand", ""},
    {"WaitCommand", "Active", "false", "is stopped as soon as", IsOnlyTime, "IptvStopTestCommand", ""},
    {"GeneratorStartCommand", "GeneratorList", "[]", "no generator runs", IsTested, "IptvStartTestCommand",
     "TestEnv"},
    {"GeneratorStartCommand", "Active", "false", "no generator runs", IsTested, "IptvStartTestCommand",
     "TestEnv"},
    {"Dhcpv4BindCommand", "Active", "false", "is not bound", nullptr, "Dhcpv4BindWaitCommand"},
    {"WaitCommand", "", "IptvWizardFinishCommand", "is run before the sequence"},
    {"SetRelativesCommand", "RelationName", "Neighbour", "there is no relation"},
    {"SetRelativesCommand", "SrcObjectHandle", "", "there is no object"},
    {"SetRelativesCommand", "RelativeList", "Range 1", "IptvViewedChannels \"Range 1\" cannot be related"},
    {"WaitCommand", "WaitTime", "4294967295", "expected a number of seconds from 0 to"},
    // The wizard.
    {"IptvWizardTestConfig", "IpVersion", "IPV4", "none of the test's IP version", IsIpv6, "EmulatedDevice",
     "TopLevelIf"},
    {"IptvWizardTestConfig", "TestDuration", "-1", "expected a number of seconds from 1 to"},
    {"IptvWizardStbBlock", "ChannelRangeEnd", "60", "has all channels from 1 to 60"},
    {"IptvWizardStbBlock", "ChannelRangeEnd", "3", "of 3 channels; expected a multiple of 4", Zaps, nullptr,
     ""},
    {"IptvWizardStbBlock", "Interval", "1025", "multiple of 50ms"},
    {"IptvWizardStbBlock", "IgmpMldVersion", "MLD_V1", "MLD_V1 does not fit a test of IPv4", IsIpv4},
    {"IptvWizardMcastSources", "NumOfChannels", "70000", "from 1 to 70000"},
    {"IptvWizardMcastSources", "NumOfChannels", "0", "there are no channels"},
    {"IptvWizardMcastSources", "ChannelStart", "0", "channel numbers begin with 1"},
    {"IptvWizardMcastSources", "StartIpv4Address", "10.0.0.1", "no multicast group", IsIpv4},
    {"EmulatedDevice", "TopLevelIf", "", "none of the test's IP version", IsWizards},
    {"EmulatedDevice", "TopLevelIf", "Homes/EthIIIf", "none of the test's IP version", IsWizards},
    // Ports.
    {"Port", "Location", "//10.0.0.1/1", "is no place for a port"},
};

class AgreementTest : public SessionTest {
  protected:
    static std::vector<std::string> Mistakes(const RunOutcome& outcome) {
        std::vector<std::string> texts;
        for (const auto& mistake : outcome.mistakes) texts.push_back(mistake.ToString());
        return texts;
    }

    void CheckGood(const std::string& text) {
        SCOPED_TRACE(text);
        const RunOutcome valid = session.Validate(orv::app::TestFile::Parse(text, "test.yaml"));
        EXPECT_THAT(Mistakes(valid), testing::IsEmpty());
        const RunOutcome run = Run(text);
        EXPECT_THAT(run.end, testing::AnyOf(RunEnd::Passed, RunEnd::Failed));
        EXPECT_THAT(run.errors, testing::IsEmpty());
        std::filesystem::remove(folder / "results.db");  // it would grow with each
    }

    void CheckBad(const std::string& text, const std::string& place, const std::string& what) {
        const auto refused = Mistakes(session.Validate(orv::app::TestFile::Parse(text, "test.yaml")));
        const RunOutcome run = Run(text);
        EXPECT_EQ(run.end, RunEnd::BadInput);
        EXPECT_EQ(Mistakes(run), refused);
        EXPECT_THAT(refused, testing::Contains(testing::AllOf(testing::StartsWith("test.yaml:" + place),
                                                              testing::HasSubstr(what))));
        // Each has a place, and none is an internal one.
        EXPECT_THAT(refused, testing::Each(testing::StartsWith("test.yaml:")));
        EXPECT_THAT(refused, testing::Not(testing::Contains(testing::ContainsRegex(
                                 "yaml: |BAD [A-Z]+ ERROR|received error|msgrString|::[A-Z]"))));
    }

    static GeneratedObject* FindBlamed(GeneratedFile& file, const char* class_name) {
        std::vector<GeneratedObject*> found = file.Find(class_name);
        std::erase_if(found, [](GeneratedObject* object) {
            return object->name == "Head end" || object->name == "Sources" || object->Find("Active");
        });
        return found.back();
    }

    /// Breaks one rule at random: the same one for the same file.
    void CheckOneViolation(GeneratedFile& file) {
        struct Choice {
            const Violation* violation;
            GeneratedObject* object;
        };
        std::vector<Choice> choices;
        for (const Violation& violation : kViolations) {
            for (GeneratedObject* object : file.Find(violation.object))
                if (!violation.applies || violation.applies(file, *object))
                    choices.push_back({&violation, object});
        }
        if (choices.empty()) return;
        const Choice& choice = choices[file.Below(choices.size())];
        const Violation& violation = *choice.violation;
        const std::string value =
            std::regex_replace(violation.text, std::regex("\\{ip\\}"), file.ipv6 ? "Ipv6" : "Ipv4");
        if (*violation.property) {
            choice.object->Set(violation.property, value);
        } else {
            choice.object->class_name = value;
        }
        const std::string text = file.ToString();
        SCOPED_TRACE(fmt::format("{} \"{}\", {}: \"{}\" in\n{}", violation.object, choice.object->name,
                                 violation.property, violation.text, text));
        if (violation.said_of && !*violation.said_of) return CheckBad(text, "", violation.mistake);
        const GeneratedObject& said_of =
            violation.said_of ? *FindBlamed(file, violation.said_of) : *choice.object;
        const char* key = violation.said_property ? violation.said_property : violation.property;
        CheckBad(text, file.GetPlace(said_of, key) + ": ", violation.mistake);
    }
};

/// The build sets the default number; failure texts say how to run more, or one again.
std::uint64_t GetNumber(const char* variable, std::uint64_t otherwise) {
    const char* text = std::getenv(variable);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

TEST_F(AgreementTest, OfValidateAndRun) {
    const std::uint64_t first = GetNumber("ORV_FIRST_FILE", 1),
                        files = GetNumber("ORV_FILES", EVERYDAY_FILES);
    for (std::uint64_t number = first; number < first + files && !HasFailure(); ++number) {
        SCOPED_TRACE(fmt::format("once more: ORV_FIRST_FILE={} ORV_FILES=1", number));
        GeneratedFile file(number);
        CheckGood(file.ToString());
        CheckOneViolation(file);
    }
}

}  // namespace
