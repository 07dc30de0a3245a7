// The rules for set-top-box blocks and for the processors that serve them.
#include "orv/core/orv_system.h"
#include "orv/core/port_group.h"
#include "validation_fixture.h"

namespace testing_aids {
namespace {

using iptv::CIptvStbBlockConfig;
namespace Id = ids::IptvStbBlockConfig;
namespace relations = ids::relations;

void Check(const std::vector<ValidationCase>& cases) {
    CheckCases(&CIptvStbBlockConfig::OnValidateStbBlock, cases);
}

Report On(const std::string& device, const std::string& block, const std::string& text) {
    return {block, "On IPTV device \"" + device + "\"" + text};
}
const Report kNoChannel = On("Hosts", "Boxes", " : Stb Block should have at least one viewed channel");
const Report kNoProfile = On("Hosts", "Boxes", " : Stb Block should have one viewing profile");
const Report kNoProtocol = On("Hosts", "Boxes", ", the IGMP/MLD protocol must be activated.");
const Report kUdpPorts =
    On("Hosts", "Boxes", " : Stb Block cannot have any UdpSourcePorts outside the range of 1 to 65535");
const Report kChanged{"Boxes", kChangeUnderTest};
const Report kMix{"Port 1",
                  "In Port 1 : All devices on the port should have same IP interface.Cannot have one device "
                  "with IPv4 interface and another with Ipv6 interface.  "};

void TakeProfile(Scene& s) {
    s.block.RemoveObject(s.profile, relations::IptvProfile);
}
void TakeProtocol(Scene& s) {
    s.block.RemoveObject(TestProject::McastOf(s.device), relations::MulticastParam);
}

/// The block is one of the running test's.
void TakePart(Scene& s) {
    iptv::RunningTest::SetParticipants({{s.port.GetHandle(), {s.block.GetHandle()}}});
}

TEST(StbBlockValidation, ABlockHasWhatItNeeds) {
    Check({
        {"valid", [](Scene&) {}, {}},
        {"no channels", [](Scene& s) { s.block.RemoveObject(s.range, relations::StbChannel); }, {kNoChannel}},
        {"no protocol", TakeProtocol, {kNoProtocol}},
        {"protocol off", [](Scene& s) { SwitchOff(TestProject::McastOf(s.device)); }, {kNoProtocol}},
        {"nothing at all",
         [](Scene& s) { Remove(s.range), Remove(s.profile), TakeProtocol(s); },
         {kNoChannel, kNoProfile, kNoProtocol}},
        {"block off", [](Scene& s) { TakeProfile(s), SwitchOff(s.block); }, {}},
        {"device off", [](Scene& s) { TakeProfile(s), SwitchOff(s.device); }, {}},
        {"block deleted", [](Scene& s) { TakeProfile(s), Remove(s.block); }, {}},
        {"on no port",
         [](Scene& s) { TakeProfile(s), s.device.RemoveObject(s.port, relations::AffiliationPort); },
         {}},
        {"port by port",
         [](Scene& s) {
             core::CPort& second = s.project.MakePort("Port 2");
             s.AddBoxes(&second, "Far").RemoveObject(s.profile, relations::IptvProfile);
             s.AddBoxes(&s.port, "Near").RemoveObject(s.profile, relations::IptvProfile);
             TakeProfile(s);
         },
         {kNoProfile, On("Near hosts", "Near", " : Stb Block should have one viewing profile"),
          On("Far hosts", "Far", " : Stb Block should have one viewing profile")}},
    });
}

TEST(StbBlockValidation, UdpPortsAreInRangeWhereTheyAreUsed) {
    const struct {
        bool used;
        std::uint16_t port, step;
        std::uint32_t count;
        bool valid;
    } rows[] = {{false, 0, 0, 1, true},       {true, 0, 0, 1, false},      {true, 1, 0, 10, true},
                {true, 65535, 0, 10, true},   {true, 65535, 1, 1, true},   {true, 65000, 1, 536, true},
                {true, 65000, 1, 537, false}, {false, 65000, 1, 537, true}};
    for (const auto& row : rows) {
        Check({{std::to_string(row.count) + " ports from " + std::to_string(row.port),
                [&row](Scene& s) {
                    iptv::RunningTest::SetRules({.fcc_check = row.used});
                    s.device.Set(ids::EmulatedDevice::DeviceCount, row.count);
                    s.block.Set(Id::UdpSourcePort, row.port);
                    s.block.Set(Id::UdpSourcePortStep, row.step);
                },
                row.valid ? Reports{} : Reports{kUdpPorts}}});
    }
    Check({
        {"without protocol",
         [](Scene& s) {
             iptv::RunningTest::SetRules({.fcc_check = true});
             TakeProtocol(s);
             TakeProfile(s);
         },
         {},
         "MulticastHostConfig from IptvStbBlockConfig in CIptvPortConfig::OnValidateStbBlock",
         "MulticastHostConfig associated with Boxes"},
    });
}

TEST(StbBlockValidation, APortCarriesOneIpVersion) {
    const auto add_ipv6 = [](Scene& s) -> CIptvStbBlockConfig& {
        return s.AddBoxes(&s.port, "Six", 1, true);
    };
    Check({
        {"both, reported once",
         [&](Scene& s) { add_ipv6(s), s.AddBoxes(&s.port, "Four"), add_ipv6(s); },
         {kMix}},
        {"on different ports",
         [](Scene& s) {
             core::CPort& second = s.project.MakePort();
             s.AddBoxes(&second, "Six", 1, true);
             s.AddBoxes(&s.project.MakePort(), "Four");
         },
         {}},
        {"IPv6 alone", [&](Scene& s) { add_ipv6(s), Remove(s.block); }, {}},
        {"a protocol that is off does not count",
         [&](Scene& s) { add_ipv6(s), SwitchOff(TestProject::McastOf(s.device)); },
         {kNoProtocol}},
        {"nor does a block that is off", [&](Scene& s) { SwitchOff(add_ipv6(s)); }, {}},
    });
}

TEST(StbBlockValidation, NothingChangesUnderATest) {
    const auto edit = [](Scene& s) { Edit(s.range), s.block.Set(Id::SaveTimeStamps, true); };
    const auto start_without = [](Scene& s) { SwitchOff(s.block), s.StartTest(); };
    Check({
        {"no change", [](Scene& s) { s.StartTest(); }, {}},
        {"changed without a test", edit, {}},
        {"changed", [&](Scene& s) { s.StartTest(), edit(s); }, {kChanged}},
        {"changed around the block",
         [](Scene& s) { s.StartTest(), s.device.Set(ids::EmulatedDevice::DeviceCount, 2u); },
         {kChanged}},
        {"new", [](Scene& s) { s.StartTest(), s.AddBoxes(&s.port, "New"); }, {{"New", kChangeUnderTest}}},
        {"off, not taking part", [&](Scene& s) { start_without(s), edit(s); }, {}},
        {"off, taking part on this port",
         [&](Scene& s) {
             iptv::RunningTest::SetParticipants(
                 {{s.port.GetHandle(), {s.range.GetHandle(), s.block.GetHandle()}}});
             start_without(s), edit(s);
         },
         {kChanged}},
        {"off, and started on another port",
         [&](Scene& s) {
             iptv::RunningTest::SetParticipants(
                 {{s.project.Root().GetHandle(), {s.block.GetHandle()}},  // lower than the port's
                  {s.port.GetHandle(), {s.range.GetHandle()}}});
             start_without(s), edit(s);
         },
         {kChanged}},
        {"deleted: no further rule",
         [](Scene& s) {
             s.AddBoxes(&s.port, "Other");
             TakePart(s);
             s.StartTest();
             Remove(s.block);
         },
         {kChanged}},
        {"the last one of all ports, deleted: nothing is left to check",
         [](Scene& s) { TakePart(s), s.StartTest(), Remove(s.block); },
         {}},
        {"deleted, not part of the test", [](Scene& s) { s.StartTest(), Remove(s.block); }, {}},
        {"off its port",
         [](Scene& s) {
             s.AddBoxes(&s.project.MakePort(), "Other");
             TakePart(s);
             s.StartTest();
             s.device.RemoveObject(s.port, relations::AffiliationPort);
         },
         {kChanged}},
        {"port deleted",
         [](Scene& s) {
             s.AddBoxes(&s.project.MakePort(), "Other");
             TakePart(s), s.StartTest(), Remove(s.port);
         },
         {kChanged}},
        {"off, incomplete and no part of the test",
         [](Scene& s) {
             TakeProfile(s), SwitchOff(s.block), s.project.Settle();
             iptv::CIptvResultsManager::GetResultsManager()->SetTestRunning(true);
         },
         {},
         "IptvViewingProfileConfig from IptvStbBlockConfig in CIptvPortConfig::OnApplyStbBlockUpdate",
         "IptvViewingProfileConfig associated with Boxes"},
        {"deleted without a test", [](Scene& s) { TakePart(s), Remove(s.block); }, {}},
        {"moved, checked on its new port only",
         [](Scene& s) {
             core::CPort& second = s.project.MakePort("Port 2");
             TakePart(s);
             s.StartTest();
             s.device.RemoveObject(s.port, relations::AffiliationPort);
             TestProject::Relate(s.device, second, relations::AffiliationPort);
         },
         {kChanged}},
    });
}

TEST(StbBlockValidation, WhatIsOfAnotherClassEndsTheValidation) {
    const std::string in = " in CIptvStbBlockConfig::OnValidateStbBlock";
    const auto add_behind = [](Scene& s) {
        s.AddBoxes(&s.project.MakePort(), "Behind").RemoveObject(s.profile, relations::IptvProfile);
        TakeProfile(s);
    };
    Check({
        {"port",
         [&](Scene& s) {
             CScriptable& odd = s.MakeOdd(0x7f115000, "Port", s.project.Root());
             TestProject::Relate(*s.AddBoxes(nullptr, "Odd").GetParent(), odd, relations::AffiliationPort);
             add_behind(s);
         },
         {kNoProfile},
         "Port from PortIterator" + in,
         "Port. "},
        {"device",
         [&](Scene& s) {
             CScriptable& odd = s.MakeOdd(0x7f112000, "EmulatedDevice", s.project.Root());
             TestProject::Relate(odd, s.port, relations::AffiliationPort);
             framework::CScriptableCreator().Make<CIptvStbBlockConfig>(&odd);
             s.port.Set(ids::Port::Location, "//chassis/1/2");
             add_behind(s);
         },
         {kNoProfile},
         "EmulatedDevice from EmulatedDeviceIterator" + in,
         "//chassis/1/2EmulatedDevice on port. "},
        {"protocol",
         [&](Scene& s) {
             CScriptable& odd = s.MakeOdd(0x7f116000, "MulticastHostConfig", s.device);
             odd.Set(ids::Scriptable::Name, "Odd");
             TakeProtocol(s);
             TestProject::Relate(s.block, odd, relations::MulticastParam);
             add_behind(s);
         },
         {kNoProfile},
         "IgmpHostConfig or MldHostConfig from MulticastHostConfig" + in + ". Typecast failed.",
         "MulticastHostConfig Odd cannot be conveted to IgmpHostConfig or MldHostConfig"},
    });
}

Report TooMany(const std::string& port, const std::string& count) {
    return {
        port,
        "Error in IptvStartTestCommand: The maximum number of set top boxes per CCPU has been exceeded for "
        "the CCPU that //" +
            port + " resides on. The limit is 16384. Number found is " + count + "."};
}

/// Ports "A", "B" and so on, each with a block of so many set-top boxes, in those groups (-1: in none).
struct Load {
    std::uint32_t boxes;
    int group = -1;
    bool online = true;
    bool active = true;
    bool deleted = false;
};

void Put(Scene& s, const std::vector<Load>& loads) {
    CScriptable& chassis = *framework::CScriptableCreator().Create("PhysicalChassis", &s.project.Root());
    std::vector<CScriptable*> groups;
    for (int i = 0; i < 2; ++i) {
        groups.push_back(framework::CScriptableCreator().Create("PortGroup", &chassis));
    }
    Remove(s.block);
    char name = 'A';
    for (const Load& load : loads) {
        core::CPort& port = s.project.MakePort(std::string(1, name++));
        port.Set(ids::Port::Location, "//" + port.GetName());
        port.Set(ids::Port::Online, load.online);
        if (load.group >= 0)
            TestProject::Relate(port, *groups[static_cast<std::size_t>(load.group)],
                                relations::AffiliationPortGroup);
        CScriptable& block = s.AddBoxes(&port, "Boxes", load.boxes);
        if (!load.active) SwitchOff(block);
        if (load.deleted) Remove(block);
    }
}

TEST(StbBlockValidation, NoProcessorServesTooManyBoxes) {
    const struct {
        std::vector<Load> loads;
        bool offline_ports_take_part;
        Reports reports;
    } rows[] = {
        {{{16384}}, false, {}},
        {{{16385}}, false, {TooMany("A", "16385")}},
        {{{10000, 0}, {10000, 0}}, false, {TooMany("B", "20000")}},
        {{{10000, 0}, {10000, 1}}, false, {}},
        {{{10000, 0}, {10000}}, false, {}},
        {{{10000}, {10000}}, false, {TooMany("B", "20000")}},
        // Ports in no group come first, then group by group.
        {{{9000, 1}, {9000, 0}, {9000}, {9000, 1}, {9000, 0}, {9000}},
         false,
         {TooMany("F", "18000"), TooMany("E", "18000"), TooMany("D", "18000")}},
        {{{10000, 0}, {10000, 0, false}}, false, {}},
        {{{60000, 0, false}}, false, {}},
        {{{10000, 0, false}, {10000, 1}}, true, {TooMany("B", "20000")}},
        {{{10000, 0, true}, {6384, 0, false}}, true, {}},
        // What takes no part is not counted, and its port is not named.
        {{{16385, 0}, {5, 0, true, false}}, false, {TooMany("A", "16385")}},
        {{{16384, 0}, {5, 0, true, true, true}, {5, 0, true, false}}, false, {}},
    };
    int number = 0;
    for (const auto& row : rows) {
        Check({{"row " + std::to_string(number++),
                [&row](Scene& s) {
                    Put(s, row.loads);
                    orv::core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart,
                                                          row.offline_ports_take_part);
                },
                row.reports}});
    }
    CheckCases(&CIptvStbBlockConfig::CheckCcpuDeviceLimit,
               {{"alone", [](Scene& s) { Put(s, {{16385}}); }, {TooMany("A", "16385")}}});
    Check({
        {"the blocks of a port together",
         [](Scene& s) {
             s.port.Set(ids::Port::Location, "//Port 1");
             s.device.Set(ids::EmulatedDevice::DeviceCount, 8000u);
             s.AddBoxes(&s.port, "More", 8385);
         },
         {TooMany("Port 1", "16385")}},
        {"behind the rules of the blocks",
         [](Scene& s) {
             s.port.Set(ids::Port::Location, "//Port 1");
             s.device.Set(ids::EmulatedDevice::DeviceCount, 16385u);
             TakeProfile(s);
         },
         {kNoProfile, TooMany("Port 1", "16385")}},
    });
}

}  // namespace
}  // namespace testing_aids
