// "validate" and "run" accept and reject the same files.
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
    const char *said_of = nullptr, *said_property = nullptr;
};

using File = GeneratedFile;
using Object = GeneratedObject;

bool Starts(Object& object, const char* key, const char* text) {
    const std::string* value = object.Find(key);
    return (value ? *value : std::string()).starts_with(text);
}

/// Of the first active devices: device, interface, protocol, or STB block.
constexpr Applies IsOn = [](File&, Object& object) {
    static const std::regex first("(Homes|Boxes) \\d 1");
    std::string all = object.name;
    for (const auto& [key, text] : object.values) all += key == "StackedOn" || key == "UsesIf" ? text : "";
    return std::regex_search(all, first);
};
constexpr Applies HasNeighbour = [](File& file, Object& object) {
    return file.devices == 2 && IsOn(file, object);
};
constexpr Applies IsOnEthernet = [](File& file, Object& object) {
    return file.Find("Aal5If").empty() && IsOn(file, object);
};
constexpr Applies HasWiredNeighbour = [](File& file, Object& object) {
    return file.devices == 2 && IsOnEthernet(file, object);
};
constexpr Applies HasBusyNeighbour = [](File& file, Object&) {
    for (Object* boxes : file.Find("IptvStbBlockConfig")) {
        if (boxes->name == "Boxes 1 2") return !boxes->Find("Active");
    }
    return false;
};
constexpr Applies SharesVlan = [](File& file, Object& object) {
    return HasBusyNeighbour(file, object) && Starts(object, "StackedOn", "Homes 1 1/Vlan");
};
constexpr Applies IsTestedFirst = [](File& file, Object& object) {
    return !file.sequence.empty() && file.Find("ArpNdStartOnAllDevicesCommand").empty() &&
           Starts(object, "StackedOn", "Homes 1 1/");
};
constexpr Applies IsNumbered = [](File&, Object& object) { return object.Find("StartIpList") != nullptr; };
/// The only start covers all devices.
constexpr Applies IsCovered = [](File& file, Object& object) {
    return !file.wizard && IsOn(file, object) && !file.sequence.empty() &&
           Starts(*file.Find("IptvStartTestCommand").front(), "StbBlockList", "Project");
};
constexpr Applies HasTwins = [](File& file, Object& object) {
    return HasBusyNeighbour(file, object) && Starts(object, "Address", "10.11.0.10") &&
           IsCovered(file, object) && file.Find("VlanIf").empty() && file.Find("Dhcpv4BlockConfig").empty() &&
           file.Find("PppIf").empty();
};
constexpr Applies IsRepeated = [](File& file, Object&) { return !file.Find("SequencerLoopCommand").empty(); };
constexpr Applies IsOnlyStart = [](File& file, Object&) {
    return file.Find("IptvStartTestCommand").size() == 1;
};
constexpr Applies IsOnlyTime = [](File& file, Object& object) {
    const bool waits = object.class_name == "WaitCommand";
    return !file.Find(waits ? "IptvStopTestCommand" : "GeneratorStopCommand").empty() &&
           IsOnlyStart(file, object) && !IsRepeated(file, object) &&
           (waits || file.Find("WaitCommand").empty());
};
constexpr Applies SendsChannels = [](File& file, Object& object) {
    return file.testing && !file.wizard && !file.sequence.empty() && object.name == "Head end";
};
constexpr Applies IsWizards = [](File& file, Object& object) {
    return file.wizard && object.name == "Homes";
};
constexpr Applies IsIpv4 = [](File& file, Object&) { return !file.ipv6; };
constexpr Applies IsIpv6 = [](File& file, Object&) { return file.ipv6; };
constexpr Applies Zaps = [](File& file, Object& object) {
    const bool is_watched =
        Starts(object, "StartIpList", "225.1.") || Starts(object, "StartIpList", "\"ff1e:1:");
    return file.type == "ZAPPING" && (file.wizard || is_watched);
};
constexpr Applies IsWatched = [](File& file, Object& object) {
    return !file.wizard && object.name.ends_with(" 1");
};
constexpr Applies IsTested = [](File& file, Object&) { return file.testing; };
constexpr Applies IsServed = [](File& file, Object& object) {
    return IsOn(file, object) && !file.wizard && file.type != "ZAPPING" && file.type != "VERIFICATION";
};
constexpr Applies Retransmits = [](File& file, Object&) { return file.type == "RELIABLE_RETRANSMISSION"; };

constexpr const char* kOther = "is part of EmulatedDevice \"Homes 1 2\"";
constexpr Violation kViolations[] = {
    // Devices and what they are made of.
    {"EmulatedDevice", "AffiliationPort", "", "missing; expected the Port", IsOn},
    {"EmulatedDevice", "DeviceCount", "20000", "maximum number of set top boxes", IsOn, "Port"},
    {"EmulatedDevice", "TopLevelIf", "Homes 1 2/{ip}If", kOther, HasNeighbour},
    {"Ip.If", "StackedOn", "Homes 1 2/EthIIIf", kOther, HasWiredNeighbour},
    {"Ip.If", "StackedOn", "Homes 1 1/EthIIIf", "on the same port", SharesVlan, ""},
    {"Ipv4If", "Address", "10.12.0.10", "Duplicate Device IPv4 addresses", HasTwins, ""},
    {"Ip.If", "AddrResolveState", "RESOLVE_NEEDED", "RESOLVE_NEEDED when the test starts", IsTestedFirst},
    {"IgmpHostConfig", "UsesIf", "", "missing; expected the Ipv4If of EmulatedDevice", IsOn},
    {"MldHostConfig", "UsesIf", "", "missing; expected the Ipv6If of EmulatedDevice", IsOn},
    {"IgmpHostConfig", "UsesIf", "Homes 1 1/EthIIIf", "wrong class; expected the Ipv4If", IsOnEthernet},
    {"IgmpHostConfig", "UsesIf", "Homes 1 2/Ipv4If", kOther, HasNeighbour},
    {"Ip.If", "IlMembership", "EXCLUDED", "off their port", IsCovered},
    {"IgmpHostConfig", "Active", "false", "it is off, but IptvStbBlockConfig", IsOn},
    {"EmulatedDevice", "Active", "false", "it is off, but IptvStbBlockConfig", IsCovered},
    {"Port", "Online", "false", "off line when its generator is started", SendsChannels},
    {"IptvStbBlockConfig", "MulticastParam", "", "missing; expected", IsOn},
    {"IptvStbBlockConfig", "MulticastParam", "Homes 1 2/MulticastHostConfig", kOther, HasNeighbour},
    {"IptvStbBlockConfig", "StbChannel", "", "at least one viewed channel", IsOn},
    {"IptvStbBlockConfig", "IptvProfile", "", "one viewing profile", IsOn},
    {"IptvStbBlockConfig", "UdpSourcePort", "0", "UdpSourcePorts outside the range", IsServed},
    // Channels.
    {"IptvChannelBlock", "MulticastParam", "", "missing; expected", IsWatched},
    {"IptvChannelBlock", "ChannelStart", "0", "starting channel number cannot be 0", IsWatched},
    {"IptvChannelBlock", "ChannelStart", "65535", "65535", IsWatched},
    {"IptvChannelBlock", "UdpDestinationPort", "0", "UdpDestinationPort outside the range", IsWatched},
    {"Ipv4NetworkBlock", "StartIpList", "10.0.0.1", "which is no multicast group", IsNumbered},
    {"Ipv4NetworkBlock", "StartIpList", "239.255.255.255", "is 240.0.0.", IsNumbered},
    {"Ipv6NetworkBlock", "StartIpList", "\"2001:db8::1\"", "which is no multicast group", IsNumbered},
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
    {"IptvChannelBlock", "MulticastParam", "Other groups", "protocol of one version of IP", IsWatched,
     "IptvStbBlockConfig", "StbChannel"},
    // Profiles.
    {"IptvViewingProfileConfig", "Interval", "1025", "multiple of 50ms"},
    {"IptvViewingProfileConfig", "SetTopLeaveJoinDelay", "3000", "to Zap Interval - 50 ms"},
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

struct AgreementTest : SessionTest {
    static std::vector<std::string> Mistakes(const RunOutcome& outcome) {
        std::vector<std::string> texts;
        for (const auto& mistake : outcome.mistakes) texts.push_back(mistake.ToString());
        return texts;
    }
    std::vector<std::string> Validate(const std::string& text) {
        return Mistakes(session.Validate(orv::app::TestFile::Parse(text, "test.yaml")));
    }

    void CheckGood(const std::string& text) {
        SCOPED_TRACE(text);
        EXPECT_THAT(Validate(text), testing::IsEmpty());
        const RunOutcome run = Run(text);
        EXPECT_THAT(run.end, testing::AnyOf(RunEnd::Passed, RunEnd::Failed));
        EXPECT_THAT(run.errors, testing::IsEmpty());
    }

    void CheckBad(const std::string& text, const std::string& place, const std::string& what) {
        const auto refused = Validate(text);
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

    /// Breaks one rule at random: the same one for the same file.
    void CheckOneViolation(File& file) {
        std::vector<std::pair<const Violation*, Object*>> choices;
        for (const Violation& violation : kViolations) {
            for (Object* object : file.Find(violation.object))
                if (!violation.applies || violation.applies(file, *object))
                    choices.emplace_back(&violation, object);
        }
        if (choices.empty()) return;
        const auto& [violation, object] = choices[file.Below(choices.size())];
        std::string value = violation->text;
        if (const std::size_t at = value.find("{ip}"); at != value.npos)
            value.replace(at, 4, file.ipv6 ? "Ipv6" : "Ipv4");
        if (*violation->property) {
            object->Set(violation->property, value);
        } else {
            object->class_name = value;
        }
        const std::string text = file.ToString();
        SCOPED_TRACE(fmt::format("{} \"{}\", {}: \"{}\" in\n{}", violation->object, object->name,
                                 violation->property, violation->text, text));
        if (violation->said_of && !*violation->said_of) return CheckBad(text, "", violation->mistake);
        std::vector<Object*> said_of{object};
        if (violation->said_of) said_of = file.Find(violation->said_of);
        if (violation->said_of)
            std::erase_if(said_of, [](Object* blamed) {
                return blamed->name == "Head end" || blamed->name == "Sources" || blamed->Find("Active");
            });
        const char* key = violation->said_property ? violation->said_property : violation->property;
        CheckBad(text, file.GetPlace(*said_of.back(), key) + ": ", violation->mistake);
    }
};

/// The build sets the default number; failure texts say how to run more, or one again.
std::uint64_t GetNumber(const char* variable, std::uint64_t otherwise) {
    const char* text = std::getenv(variable);
    return text ? std::strtoull(text, nullptr, 10) : otherwise;
}

TEST_F(AgreementTest, OfValidateAndRun) {
    const auto first = GetNumber("ORV_FIRST_FILE", 1), files = GetNumber("ORV_FILES", EVERYDAY_FILES);
    for (std::uint64_t number = first; number < first + files && !HasFailure(); ++number) {
        SCOPED_TRACE(fmt::format("once more: ORV_FIRST_FILE={} ORV_FILES=1", number));
        GeneratedFile file(number);
        CheckGood(file.ToString());
        CheckOneViolation(file);
        // It would grow with each, and making one takes longer than a short test.
        if (number % 20 == 0) std::filesystem::remove(folder / "results.db");
    }
}

}  // namespace
