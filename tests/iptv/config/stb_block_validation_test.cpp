// The rules for set-top-box blocks and for the processors that serve them.
#include "orv/core/orv_system.h"
#include "orv/core/port_group.h"
#include "validation_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using iptv::CIptvStbBlockConfig;

constexpr auto kBlocks = &CIptvStbBlockConfig::OnValidateStbBlock;

Report On(const std::string& device, const std::string& block, const std::string& text) {
    return {block, "On IPTV device \"" + device + "\"" + text};
}
Report NoProfile(const std::string& device, const std::string& block) {
    return On(device, block, " : Stb Block should have one viewing profile");
}
const Report kNoChannel = On("Hosts", "Boxes", " : Stb Block should have at least one viewed channel");
const Report kNoProfile = NoProfile("Hosts", "Boxes");
const Report kNoProtocol = On("Hosts", "Boxes", ", the IGMP/MLD protocol must be activated.");
const Report kSourceUdpPorts =
    On("Hosts", "Boxes", " : Stb Block cannot have any UdpSourcePorts outside the range of 1 to 65535");
const Report kMix{"Port 1",
                  "In Port 1 : All devices on the port should have same IP interface.Cannot have one device "
                  "with IPv4 interface and another with Ipv6 interface.  "};

const Edit kTakeProfile = Cut("Boxes", relations::IptvProfile);
const Edit kTakeProtocol = Cut("Boxes", relations::MulticastParam);
const Edit kUnplug = Cut("Hosts", relations::AffiliationPort);

/// On the scene's port, or on one that is made for it.
Edit Add(const std::string& name, const std::string& port = "Port 1", bool ipv6 = false) {
    return
        [=](Scene& s) { s.AddBoxes(port == "Port 1" ? &s.port : &s.project.MakePort(port), name, 1, ipv6); };
}
Edit SetFccCheck(bool check) {
    return [=](Scene&) { iptv::RunningTest::SetRules({.fcc_check = check}); };
}
/// The block is one of the running test's.
void TakePart(Scene& s) {
    iptv::RunningTest::SetParticipants({{s.port.GetHandle(), {s.range.GetHandle(), s.block.GetHandle()}}});
}

TEST(StbBlockValidation, ABlockHasWhatItNeeds) {
    const Edit from_65000 = [](Scene& s) {
        s.project.Put("Boxes.UdpSourcePort=65000");
        s.project.Put("Boxes.UdpSourcePortStep=1");
    };
    const Cases cases{
        {"valid", {}, {}},
        {"no channels", {Cut("Boxes", relations::StbChannel)}, {kNoChannel}},
        {"protocol off", {Off("Protocol")}, {kNoProtocol}},
        {"nothing at all",
         {Delete("Range"), Delete("Zap"), kTakeProtocol},
         {kNoChannel, kNoProfile, kNoProtocol}},
        {"block off", {kTakeProfile, Off("Boxes")}, {}},
        {"device off", {kTakeProfile, Off("Hosts")}, {}},
        {"block deleted", {kTakeProfile, Delete("Boxes")}, {}},
        {"on no port", {kTakeProfile, kUnplug}, {}},
        {"port by port",
         {Add("Far", "Port 2"), Add("Near"), Cut("Far", relations::IptvProfile),
          Cut("Near", relations::IptvProfile), kTakeProfile},
         {kNoProfile, NoProfile("Near hosts", "Near"), NoProfile("Far hosts", "Far")}},
        {"both IP versions, reported once",
         {Add("Six", "Port 1", true), Add("Four"), Add("Second six", "Port 1", true)},
         {kMix}},
        {"both on different ports", {Add("Six", "Port 2", true), Add("Four", "Port 3")}, {}},
        {"UDP ports where none are used", {"Boxes.UdpSourcePort=0"}, {}},
        {"UDP port 0", {SetFccCheck(true), "Boxes.UdpSourcePort=0"}, {kSourceUdpPorts}},
        {"UDP ports up to 65535", {SetFccCheck(true), from_65000, "Hosts.DeviceCount=536"}, {}},
        {"UDP ports beyond", {SetFccCheck(true), from_65000, "Hosts.DeviceCount=537"}, {kSourceUdpPorts}},
        {"IPv6 alone", {Add("Six", "Port 1", true), Delete("Boxes")}, {}},
        {"a protocol that is off does not count",
         {Add("Six", "Port 1", true), Off("Protocol")},
         {kNoProtocol}},
        {"nor does a block that is off", {Add("Six", "Port 1", true), Off("Six")}, {}}};
    CheckCases(kBlocks, cases);
}

TEST(StbBlockValidation, NothingChangesUnderATest) {
    const Edit edit("Boxes.SaveTimeStamps=true");
    const Reports changed{{"Boxes", kChangeUnderTest}};
    const Edit start_elsewhere = [](Scene& s) {
        iptv::RunningTest::SetParticipants(
            {{s.project.Root().GetHandle(), {s.block.GetHandle()}},  // lower than the port's
             {s.port.GetHandle(), {s.range.GetHandle()}}});
        Start(s);
    };
    const Edit move = [](Scene& s) {
        TestProject::Relate(s.device, s.project.MakePort("Port 3"), relations::AffiliationPort);
    };
    const Edit only_start = [](Scene& s) {
        s.project.Settle();
        iptv::CIptvResultsManager::GetResultsManager()->SetTestRunning(true);
    };
    const Cases cases{
        {"no change", {Start}, {}},
        {"changed without a test", {edit}, {}},
        {"changed", {Start, "Range.Name=Other", edit}, changed},
        {"changed around the block", {Start, "Hosts.DeviceCount=2"}, changed},
        {"new", {Start, Add("New")}, {{"New", kChangeUnderTest}}},
        {"off, not taking part", {Off("Boxes"), Start, edit}, {}},
        {"off, taking part on this port", {TakePart, Off("Boxes"), Start, edit}, changed},
        {"off, and started on another port", {Off("Boxes"), start_elsewhere, edit}, changed},
        {"deleted: no further rule", {Add("Other"), TakePart, Start, Delete("Boxes")}, changed},
        {"the last one of all ports, deleted", {TakePart, Start, Delete("Boxes")}, {}},
        {"deleted, not part of the test", {Add("Other"), Start, Delete("Boxes")}, {}},
        {"off its port", {Add("Other", "Port 2"), TakePart, Start, kUnplug}, changed},
        {"port deleted", {Add("Other", "Port 2"), TakePart, Start, Delete("Port 1")}, changed},
        {"deleted without a test", {Add("Other"), TakePart, Delete("Boxes")}, {}},
        {"moved, checked on its new port only", {TakePart, Start, kUnplug, move}, changed},
        Throws({kTakeProfile, Off("Boxes"), only_start},
               "IptvViewingProfileConfig from IptvStbBlockConfig in CIptvPortConfig::OnApplyStbBlockUpdate",
               "IptvViewingProfileConfig associated with Boxes")};
    CheckCases(kBlocks, cases);
}

TEST(StbBlockValidation, WhatIsMissingOrOfAnotherClassEndsTheValidation) {
    const std::string in = " in CIptvStbBlockConfig::OnValidateStbBlock";
    const Edit odd_port = [](Scene& s) {
        CScriptable& odd = s.MakeOdd(0x7f115000, "Port", s.project.Root());
        TestProject::Relate(*s.AddBoxes(nullptr, "Odd").GetParent(), odd, relations::AffiliationPort);
    };
    const Edit odd_device = [](Scene& s) {
        CScriptable& odd = s.MakeOdd(0x7f112000, "EmulatedDevice", s.project.Root());
        TestProject::Relate(odd, s.port, relations::AffiliationPort);
        CScriptableCreator().Make<CIptvStbBlockConfig>(&odd);
    };
    const Edit odd_protocol = [](Scene& s) {
        CScriptable& odd = s.MakeOdd(0x7f116000, "MulticastHostConfig", s.device);
        odd.Set(ids::Scriptable::Name, "Odd");
        s.block.SetObjects({&odd}, relations::MulticastParam);
    };
    const Cases cases{
        Throws({SetFccCheck(true), kTakeProtocol, kTakeProfile},
               "MulticastHostConfig from IptvStbBlockConfig in CIptvPortConfig::OnValidateStbBlock",
               "MulticastHostConfig associated with Boxes"),
        Throws({odd_port, kTakeProfile}, "Port from PortIterator" + in, "Port. ", {kNoProfile}),
        Throws({odd_device, "Port 1.Location=//chassis/1/2"},
               "EmulatedDevice from EmulatedDeviceIterator" + in, "//chassis/1/2EmulatedDevice on port. "),
        Throws({odd_protocol},
               "IgmpHostConfig or MldHostConfig from MulticastHostConfig" + in + ". Typecast failed.",
               "MulticastHostConfig Odd cannot be conveted to IgmpHostConfig or MldHostConfig")};
    CheckCases(kBlocks, cases);
}

Report TooMany(const std::string& port, const std::string& count) {
    return {port,
            "Error in IptvStartTestCommand: The maximum number of set top boxes per CCPU has been exceeded "
            "for the CCPU that //" +
                port + " resides on. The limit is 16384. Number found is " + count + "."};
}

/// Ports "A", "B" and so on, each with a block of so many set-top boxes, in those groups (-1: in none).
struct Load {
    std::uint32_t boxes;
    int group = -1;
    bool online = true, active = true, deleted = false;
};

void Put(Scene& s, const std::vector<Load>& loads) {
    CScriptable& chassis = *CScriptableCreator().Create("PhysicalChassis", &s.project.Root());
    CScriptable* groups[] = {CScriptableCreator().Create("PortGroup", &chassis),
                             CScriptableCreator().Create("PortGroup", &chassis)};
    s.block.MarkDelete(true, true);
    char name = 'A';
    for (const Load& load : loads) {
        core::CPort& port = s.project.MakePort(std::string(1, name++));
        port.Set(ids::Port::Location, "//" + port.GetName());
        port.Set(ids::Port::Online, load.online);
        if (load.group >= 0) TestProject::Relate(port, *groups[load.group], relations::AffiliationPortGroup);
        CScriptable& block = s.AddBoxes(&port, "Boxes", load.boxes);
        block.Set(ids::Scriptable::LocalActive, load.active);
        if (load.deleted) block.MarkDelete(true, true);
    }
}

TEST(StbBlockValidation, NoProcessorServesTooManyBoxes) {
    const struct {
        std::vector<Load> loads;
        bool offline_ports_take_part;
        Reports reports;
    } rows[] = {{{{16384}}, false, {}},
                {{{16385}}, false, {TooMany("A", "16385")}},
                {{{10000, 0}, {10000, 0}}, false, {TooMany("B", "20000")}},
                {{{10000, 0}, {10000, 1}}, false, {}},
                {{{10000, 0}, {10000}}, false, {}},
                // Ports in no group come first, then group by group.
                {{{9000, 1}, {9000, 0}, {9000}, {9000, 1}, {9000, 0}, {9000}},
                 false,
                 {TooMany("F", "18000"), TooMany("E", "18000"), TooMany("D", "18000")}},
                {{{10000, 0}, {10000, 0, false}}, false, {}},
                {{{10000, 0, false}, {10000, 1}}, true, {TooMany("B", "20000")}},
                {{{10000, 0, true}, {6384, 0, false}}, true, {}},
                // What takes no part is not counted, and its port is not named.
                {{{16385, 0}, {5, 0, true, false}}, false, {TooMany("A", "16385")}},
                {{{16384, 0}, {5, 0, true, true, true}, {5, 0, true, false}}, false, {}}};
    int number = 0;
    for (const auto& row : rows) {
        const Edit put = [&row](Scene& s) {
            Put(s, row.loads);
            core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, row.offline_ports_take_part);
        };
        const ValidationCase loaded{"row " + std::to_string(number++), {put}, row.reports};
        CheckCases(kBlocks, {loaded});
        CheckCases(&CIptvStbBlockConfig::CheckCcpuDeviceLimit, {loaded});
    }
    const Edit more = [](Scene& s) { s.AddBoxes(&s.port, "More", 8385); };
    CheckCases(kBlocks, {{"the blocks of a port together, behind the rules of the blocks",
                          {"Port 1.Location=//Port 1", "Hosts.DeviceCount=8000", more, kTakeProfile},
                          {kNoProfile, TooMany("Port 1", "16385")}}});
}

}  // namespace
