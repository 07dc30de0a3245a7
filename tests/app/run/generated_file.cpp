#include "generated_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <sstream>

namespace testing_aids {

std::string* GeneratedObject::Find(const std::string& key) {
    const auto found = std::find_if(values.begin(), values.end(), [&](auto& v) { return v.first == key; });
    return found == values.end() ? nullptr : &found->second;
}

void GeneratedObject::Set(const std::string& key, const std::string& text) {
    if (text.empty()) {
        std::erase_if(values, [&](const auto& value) { return value.first == key; });
    } else if (std::string* value = Find(key)) {
        *value = text;
    } else {
        values.emplace_back(key, text);
    }
}

namespace {

/// "Name: value" of each line.
GeneratedObject::Values ReadValues(const std::string& lines) {
    GeneratedObject::Values values;
    std::istringstream text(lines);
    for (std::string name, value; std::getline(text, name, ':') && std::getline(text.ignore(1), value);)
        values.emplace_back(name, value);
    return values;
}

template <class... Args>
void Add(std::vector<GeneratedObject>& to, const std::string& class_name, const std::string& name = "",
         fmt::format_string<Args...> values = "", Args&&... args) {
    to.push_back({class_name, name, ReadValues(fmt::format(values, std::forward<Args>(args)...))});
}

}  // namespace

GeneratedFile::GeneratedFile(std::uint64_t number) : random_(number) {
    type =
        OneOf({"ZAPPING", "VERIFICATION", "FAST_CHANNEL_CHANGE", "RELIABLE_RETRANSMISSION", "FCC_WITH_RRR"});
    testing = type == "FCC_WITH_RRR" || (type != "RELIABLE_RETRANSMISSION" && Chance(50));
    ipv6 = Chance(40);
    wizard = Chance(12);
    if (wizard) {
        AddWizard();
    } else {
        devices = 1 + static_cast<int>(Below(2));
        dhcp_ = Chance(10);
        AddChannels();
        if (testing) AddSources();
        for (int port = 1, ports = 1 + static_cast<int>(Below(3)); port <= ports; ++port) AddViewers(port);
        AddSequence();
    }
    std::shuffle(project.begin(), project.end(), random_);
    const auto behaviour = [this] {
        return fmt::format("{{join_delay: {}, leave_delay: {}, loss: {}, join_failure: {}, jitter: {}}}",
                           OneOf({"37", "{normal: [37, 5]}"}), OneOf({"60", "{uniform: [10, 90]}"}),
                           OneOf({"0", "1 %"}), OneOf({"0", "5 %"}), OneOf({"0", "{exponential: [0, 2]}"}));
    };
    if (Chance(20)) return;
    simulation_ = fmt::format("simulation:\n  seed: {}\n  defaults: {}\n", Below(1000), behaviour());
    if (Chance(30)) simulation_ += fmt::format("  ports:\n    Viewers 1: {}\n", behaviour());
    if (Chance(30) && !wizard)
        simulation_ += fmt::format("  channel_blocks:\n    Channels 1: {}\n", behaviour());
}

void GeneratedFile::AddChannels() {
    channel_blocks_ = 1 + static_cast<int>(Below(3));
    std::uint64_t number = 1 + Below(50);
    const std::string other = ipv6 ? "Ipv4" : "Ipv6";
    Add(project, other + "Group", "Other groups");
    Add(project.back().children, other + "NetworkBlock", "", "NetworkCount: 20");
    for (int i = 1; i <= channel_blocks_; ++i) {
        const std::string nth = fmt::format(" {}", i);
        const std::uint64_t count = 4 * (1 + Below(5)), viewed = 4 * (1 + Below(count / 4));
        const std::uint64_t first = number + Below(count - viewed + 1),
                            step = viewed == 4 && Chance(30) ? 3 : 1;
        Add(project, Ip("Group"), "Groups" + nth);
        Add(project.back().children, Ip("NetworkBlock"), "",
            "StartIpList: {}\nNetworkCount: {}\nAddrIncrement: {}",
            ipv6 ? fmt::format("\"ff1e:{}::1\"", i) : fmt::format("225.{}.0.1", i), count,
            type == "ZAPPING" ? OneOf({"1", "3"}) : OneOf({"1", "2"}));
        Add(project, "IptvChannelBlock", "Channels" + nth,
            "ChannelStart: {}\nMulticastParam: Groups{}\nUdpDestinationPort: {}\nUdpDestinationPortStep: "
            "{}\nRtpNackEnable: {}",
            number, nth, 1000 + Below(60000), Below(3), Chance(50));
        if (testing && Chance(30)) project.back().values.emplace_back("TrafficSources", "Sources");
        if (testing && Chance(30)) project.back().values.emplace_back("FilterMode", "INCLUDE");
        Add(project, "IptvViewedChannels", "Range" + nth,
            "ChannelBlock: Channels{}\nChannelRangeStart: {}\nChannelRangeEnd: {}\nChannelRangeStep: {}\n"
            "InitialChannelStart: {}\nInitialChannelStep: {}",
            nth, first, first + viewed - 1, step, first + Below(viewed), step * Below(2));
        const std::uint64_t interval = 50 * (10 + Below(20)), delay = Below(interval / 2);
        Add(project, "IptvViewingProfileConfig", "Profile" + nth,
            "Interval: {}\nSetTopLeaveJoinDelay: {}\nJoinLatencyThreshold: {}\nLeaveLatencyThreshold: {}\n"
            "ZapBehavior: {}\nZapDirection: {}\nZapIntervalType: {}\nChangesBeforeView: {}\nViewDuration: "
            "{}\nUnicastOnly: {}",
            interval, delay, Below(interval - delay), Below(2 * interval),
            OneOf({"ZAP_ONLY", "ZAP_AND_VIEW"}), OneOf({"DIR_UP", "DIR_DOWN", "DIR_RANDOM"}),
            OneOf({"LTL", "MTL", "UTL"}), 1 + Below(3), 2 + Below(3), Chance(33));
        number += count + Below(10);
    }
}

GeneratedObject GeneratedFile::MakeDevice(const std::string& name, const std::string& port, std::size_t count,
                                          int key, const std::vector<std::string>& stack) {
    GeneratedObject device{
        "EmulatedDevice", name, {{"DeviceCount", std::to_string(count)}, {"AffiliationPort", port}}};
    std::string below;
    for (const std::string& layer : stack) {
        const std::string own = fmt::format("{} {}", layer, device.children.size() + 1);
        GeneratedObject& made = device.children.emplace_back(GeneratedObject{layer, own, {}});
        if (layer == "EthIIIf") made.Set("SourceMac", fmt::format("00:10:94:00:{:02x}:01", key));
        if (layer == "VlanIf") made.Set("VlanId", std::to_string(100 + 10 * key));
        if (layer == "VlanIf") made.Set("IdStep", OneOf({"0", "1"}));
        if (layer == Ip("If"))
            made.Set("Address",
                     ipv6 ? fmt::format("\"2001:db8:{}::10\"", key) : fmt::format("10.{}.0.10", key));
        if (!below.empty()) made.Set("StackedOn", name + "/" + below);
        below = own;
    }
    device.Set("TopLevelIf", name + "/" + below);
    return device;
}

void GeneratedFile::AddSources() {
    Add(project, "Port", "Head end");
    for (int i = 1; i <= channel_blocks_; ++i)
        Add(project.back().children, "StreamBlock", fmt::format("Streams {}", i),
            "SrcBinding: Sources/{}\nDstBinding: Groups {}/{}", Ip("If"), i, Ip("NetworkBlock"));
    project.push_back(MakeDevice("Sources", "Head end", 1, 200, {"EthIIIf", Ip("If")}));
}

void GeneratedFile::AddViewers(int port) {
    const std::string port_name = fmt::format("Viewers {}", port);
    Add(project, "Port", port_name);
    if (Chance(50)) project.back().Set("Location", fmt::format("//sim/{}", port));
    std::vector<std::string> stack{"EthIIIf"};
    stack.insert(stack.end(), Below(3), "VlanIf");
    if (Chance(8)) stack.insert(stack.end(), {"PppoeIf", "PppIf"});
    if (Chance(5) && (type == "ZAPPING" || type == "VERIFICATION")) stack = {"Aal5If"};
    stack.push_back(Ip("If"));
    for (int i = 1; i <= devices; ++i) {
        const std::string name = fmt::format("Homes {} {}", port, i);
        GeneratedObject& device =
            project.emplace_back(MakeDevice(name, port_name, 1 + Below(5), 10 * port + i, stack));
        const std::string host = ipv6 ? "MldHostConfig" : "IgmpHostConfig",
                          v = ipv6 ? "V6: \"2001:db8::9\"" : "V4: 10.9.9.9";
        Add(device.children, host, "", "UsesIf: {}/{}\nVersion: {}", name, Ip("If"),
            ipv6 ? OneOf({"MLD_V1", "MLD_V2"}) : OneOf({"IGMP_V2", "IGMP_V3"}));
        std::string ranges = "Range 1";
        for (int c = 2; c <= channel_blocks_; ++c) ranges += Chance(50) ? fmt::format(", Range {}", c) : "";
        Add(device.children, "IptvStbBlockConfig", fmt::format("Boxes {} {}", port, i),
            "IptvProfile: Profile {}\nMulticastParam: {}/{}\nStbChannel: [{}]\nInterClientStartDelayStep: "
            "{}\nSaveTimeStamps: {}\n"
            "UdpSourcePort: {}\nUdpSourcePortStep: {}\nRtpNackEnable: {}\nRrrServerAddr{}",
            1 + Below(channel_blocks_), name, host, ranges, Below(50), Chance(50), 1 + Below(60000),
            Below(10), Chance(50), v);
        // Inactive objects are not used, but as complete as the rest.
        if (i == 2 && Chance(30)) device.children.back().Set("Active", "false");
        if (dhcp_) Add(device.children, ipv6 ? "Dhcpv6BlockConfig" : "Dhcpv4BlockConfig");
    }
}

void GeneratedFile::AddWizard() {
    const std::uint64_t last = 4 * (1 + Below(4));
    Add(project, "IptvWizardTestConfig", "Plan", "TestType: {}\nTestEnv: {}\nTestDuration: {}\nIpVersion: {}",
        type, testing ? "TESTING" : "REAL_WORLD", 1 + Below(3), ipv6 ? "IPV6" : "IPV4");
    Add(project, "Port", "Head end");
    Add(project.back().children, "IptvWizardMcastSources", "Channels",
        "NumOfChannels: {}\nChannelName: News\nTrafHostList: [Sources]", last);
    project.push_back(MakeDevice("Sources", "Head end", 1, 200, {"EthIIIf", Ip("If")}));
    Add(project, "Port", "Viewers 1");
    project.push_back(MakeDevice("Homes", "Viewers 1", 1 + Below(5), 11, {"EthIIIf", "VlanIf", Ip("If")}));
    Add(project.back().children, "IptvWizardStbBlock", "Boxes",
        "ChannelRangeEnd: {}\nInterval: {}\nIgmpMldVersion: {}\nSetTopLeaveJoinDelay: {}", last,
        50 * (12 + Below(20)), ipv6 ? "MLD_V2" : "IGMP_V3", Below(100));
}

void GeneratedFile::AddTest(std::vector<GeneratedObject>& commands) {
    const bool is_plain = type != "FAST_CHANNEL_CHANGE";
    Add(commands, "IptvStartTestCommand", "",
        "TestType: {}\nTestEnv: {}\nTestDuration: {}\nJoinFailThreshold: {}\nStartDelayStep: "
        "{}\nStbBlockList: {}\n"
        "UnicastLeaveTrigger: {}\nMulticastJoinTrigger: {}",
        type, testing ? "TESTING" : "REAL_WORLD", OneOf({"1", "2.5", "3"}), OneOf({"0", "50", "100"}),
        OneOf({"0", "20"}), OneOf({"Project", "Homes 1 1", "[Boxes 1 1]"}),
        is_plain ? "UNICAST_JOIN_AND_DELAY" : OneOf({"0", "1"}),
        is_plain ? "UNICAST_JOIN_AND_DELAY" : OneOf({"0", "1"}));
    const bool waits = Chance(20);
    if (waits) Add(commands, "WaitCommand");
    if (waits && Chance(50)) Add(commands, "IptvStopTestCommand");
    Add(commands, "IptvWaitForTestCompletionCommand");
}

void GeneratedFile::AddSequence() {
    if (type == "ZAPPING" && Chance(5)) return;
    const std::string ip = ipv6 ? "Dhcpv6" : "Dhcpv4";
    if (dhcp_) sequence = {{ip + "BindCommand", "", {}}, {ip + "BindWaitCommand", "", {}}};
    if (Chance(10)) Add(sequence, "ArpNdStartOnAllDevicesCommand");
    if (Chance(10)) Add(sequence, "ApplyToILCommand");
    if (Chance(10))
        Add(sequence, "SetRelativesCommand", "",
            "SrcObjectHandle: Boxes 1 1\nRelationName: {}\nRelativeList: Profile 1",
            OneOf({"IptvProfile", "IptvProfile-Targets"}));
    if (testing) Add(sequence, "GeneratorStartCommand");
    if (testing && Chance(30))
        sequence.back().Set("GeneratorList", OneOf({"Head end", "[Head end/Generator]"}));
    if (Chance(20)) {
        Add(sequence, "SequencerLoopCommand", "Again", "IterationCount: 2");
        AddTest(sequence.back().children);
    } else {
        AddTest(sequence);
        if (Chance(20)) AddTest(sequence);
    }
    if (testing && Chance(50)) Add(sequence, "GeneratorStopCommand");
}

std::vector<GeneratedObject*> GeneratedFile::Find(const std::string& class_name) {
    const std::string wanted = class_name.starts_with("Ip.") ? Ip(class_name.c_str() + 3) : class_name;
    std::vector<GeneratedObject*> found;
    const std::function<void(std::vector<GeneratedObject>&)> look = [&](auto& objects) {
        for (GeneratedObject& object : objects) {
            if (object.class_name == wanted) found.push_back(&object);
            look(object.children);
        }
    };
    look(project);
    look(sequence);
    return found;
}

std::string GeneratedFile::GetPlace(const GeneratedObject& object, const std::string& key) const {
    const auto found = places_.find({&object, key});
    return (found == places_.end() ? places_.find({&object, ""}) : found)->second;
}

void GeneratedFile::Write(const std::vector<GeneratedObject>& objects, int indent, std::string& text) {
    const std::string blank(static_cast<std::size_t>(indent), ' ');
    const auto line = [&text] { return 1 + std::count(text.begin(), text.end(), '\n'); };
    for (const GeneratedObject& object : objects) {
        places_[{&object, ""}] = fmt::format("{}:{}", line(), indent + 3);
        text += fmt::format("{}- {}: {}\n", blank, object.class_name, object.name);
        for (const auto& [key, value] : object.values) {
            const std::size_t in_list = value.starts_with('[') && value != "[]" ? 1 : 0;
            places_[{&object, key}] = fmt::format("{}:{}", line(), indent + 5 + key.size() + in_list);
            text += fmt::format("{}  {}: {}\n", blank, key, value);
        }
        if (object.children.empty()) continue;
        text += blank + "  children:\n";
        Write(object.children, indent + 6, text);
    }
}

std::string GeneratedFile::ToString() {
    places_.clear();
    std::string text = "title: made at random\nproject:\n";
    Write(project, 2, text);
    if (!sequence.empty()) text += "sequence:\n";
    Write(sequence, 2, text);
    return text + simulation_;
}

}  // namespace testing_aids
