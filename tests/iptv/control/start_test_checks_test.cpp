// What keeps a test from being started: its configuration, and the state of the system.

#include "orv/core/network_block.h"
#include "orv/core/orv_system.h"
#include "orv/framework/validation.h"
#include "start_test_fixture.h"

namespace {

using namespace testing_aids;  // NOLINT: a test

using iptv::CIptvStbBlockConfig, iptv::StbPortMap;

// Ends of what is reported, with its kind: the text of a refusal is the command's status, too.
const std::string kRrrEnv = "Retransmission Test does not support running in Test Environment mode|refusal";
const std::string kRrrSbit = "does not support running with S-bit + Delay Join Trigger|refusal";
const std::string kRrrMulticast = "does not support running with Multicast + Delay Join Trigger|refusal";
const std::string kFccRrrEnv = "Retransmission Test must be run in Test Environment mode|refusal";
const std::string kFccRrrTriggers = "must be UNICAST_JOIN_AND_DELAY when using FCC_WITH_RRR test type.|error";
const std::string kChannels = "multiple of 4. Boxes (Hosts) does not satisfy this requirement.|error";
const std::string kProtocol = "device block. Boxes (Hosts) does not satisfy this requirement.|error";
const std::string kAtm = "test types are not compatible with ATM ports.|refusal";
const std::string kNoBlock = "At least 1 Block of STBs needs to be chosen to run a test|refusal";
const std::string kDuplicateV4 = "Duplicate Device IPv4 addresses were detected on Port 1.|error";
const std::string kDuplicateV6 = "Duplicate Device IPv6 Link Local addresses were detected on Port 1.|error";
const std::string kShaping = "join/leave shaping could cause problems for IPTV tests.|warning";
const std::string kShared = "multiple hosts on the same layer 2 interface.|warning";

struct Case {
    std::string what;
    std::function<void(S&)> change;
    Texts reports = {};
};

void Check(const Case& c) {
    SCOPED_TRACE(c.what);
    S scene;
    c.change(scene);
    framework::CBaseValidationContext context;
    LogCapture log;
    const bool is_valid = scene.command.Validate(context);
    EXPECT_EQ(is_valid, context.GetErrors().empty());
    const Texts logged = LinesOf(log.Take(), "user.iptv Warn: ");
    std::string status = scene.command.GetStatus();
    Texts found;
    for (const auto& report : context.GetWarnings()) found.push_back(report.message + "|warning");
    ASSERT_EQ(logged.size(), found.size());
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(logged[i] + "|warning", found[i]);
    for (const auto& report : context.GetErrors()) {
        const bool is_refusal = report.message == status;
        found.push_back(report.message + (is_refusal ? "|refusal" : "|error"));
        if (is_refusal) status = logged.empty() ? "" : logged.back();
        // The caller gets the error, also after warnings.
        EXPECT_EQ(FailureOf([&] { scene.command.Execute(false); }), report.message);
    }
    EXPECT_EQ(status, logged.empty() ? "" : logged.back());
    ASSERT_EQ(found.size(), c.reports.size()) << testing::PrintToString(found);
    for (std::size_t i = 0; i < found.size(); ++i) EXPECT_THAT(found[i], testing::EndsWith(c.reports[i]));
}

/// Two blocks on one port that have the same address.
void AddTwin(S& s) {
    s.AddBoxes(&s.port, "Twin", {}, "192.85.1.3");
}
std::function<void(S&)> Shape(const char* property) {
    return [property](S& s) {
        s.port.GetObject("MulticastPortConfig", common::kParentChild)->Set(property, "10");
    };
}

TEST(StartTestValidation, TheTestTypeGoesWithEnvironmentAndTriggers) {
    constexpr int kRrr = TestType::RELIABLE_RETRANSMISSION, kBoth = TestType::FCC_WITH_RRR;
    constexpr int kFcc = TestType::FAST_CHANNEL_CHANGE;
    const struct {
        int type, env, join, leave;
        Texts reports = {};
        iptv::TestRules rules = {};  ///< of a valid test: what other validators check
    } rows[] = {{kRrr, kTesting, 1, 1, {kRrrEnv}},
                {kRrr, kRealWorld, 1, 1, {kRrrSbit}},
                {kRrr, kRealWorld, 0, 1, {kRrrMulticast}},
                {kRrr, kRealWorld, 0, 0, {}, {.fcc_check = true, .trigger_delay_check = true}},
                {kBoth, kRealWorld, 1, 1, {kFccRrrEnv}},
                {kBoth, kTesting, 1, 0, {kFccRrrTriggers}},
                {kBoth, kTesting, 0, 1, {kFccRrrTriggers}},
                {kBoth, kTesting, 0, 0, {}, {.fcc_check = true, .trigger_delay_check = true}},
                {TestType::ZAPPING, kTesting, 1, 1},
                {TestType::ZAPPING, kTesting, 0, 0},
                {TestType::VERIFICATION, kRealWorld, 1, 1},
                {TestType::VERIFICATION, kRealWorld, 0, 0},
                {kFcc, kRealWorld, 1, 1, {}, {.fcc_check = true, .trigger_delay_check = false}},
                {kFcc, kTesting, 1, 0, {}, {.fcc_check = true, .trigger_delay_check = true}}};
    for (const auto& row : rows) {
        const auto choose = [&row](S& s) { s.Choose(row.type, row.env, row.join, row.leave); };
        Check({testing::PrintToString(std::array{row.type, row.env, row.join, row.leave}), choose,
               row.reports});
        iptv::RunningTest::SetRules({!row.rules.fcc_check, !row.rules.trigger_delay_check});
        S scene;
        choose(scene);
        framework::CBaseValidationContext context;
        if (!scene.command.Validate(context)) continue;
        EXPECT_EQ(CIptvStbBlockConfig::m_bFccCheck, row.rules.fcc_check);
        EXPECT_EQ(iptv::CIptvViewingProfileConfig::m_bTriggerDelayCheck, row.rules.trigger_delay_check);
    }
}

TEST(StartTestValidation, BlocksAreFitForTheTest) {
    const auto fcc = [](S& s) { s.Choose(TestType::FAST_CHANNEL_CHANGE, kTesting); };
    const auto six_channels = [](S& s) { s.View(1, 6); };
    const auto protocol_off = [](S& s) { S::SwitchOff(TestProject::McastOf(s.device)); };
    const auto block_off = [](S& s) { S::SwitchOff(s.block); };
    const auto on_atm = [](S& s) { S::PutOnAtm(s.device, 2); };
    const auto more_than_2 = [](S& s) {
        s.View(1, 2);
        TestProject::Relate(s.block, s.project.MakeRange(s.channels, 11, 16), relations::StbChannel);
    };
    const auto deleted = [](S& s) {
        s.List({&s.block});
        s.block.MarkDelete(true, true);
    };
    const auto no_protocol_before_one_that_is_off = [](S& s) {
        S::SwitchOff(TestProject::McastOf(S::HostsOf(s.AddBoxes(&s.port, "Later", {.vlans = 1}))));
        S::TakeProtocol(s.block);
    };
    for (const Case& c :
         {Case{"valid", [](S&) {}},
          {"6 channels", six_channels, {kChannels}},
          {"2 and 6 channels", more_than_2},
          {"6 channels in another test", [&](S& s) { fcc(s), six_channels(s); }},
          {"6 channels, block off", [&](S& s) { six_channels(s), block_off(s); }, {kNoBlock}},
          {"protocol off", protocol_off, {kProtocol}},
          {"protocol before ATM", [&](S& s) { fcc(s), on_atm(s), protocol_off(s); }, {kProtocol}},
          {"zapping on ATM", on_atm},
          {"FCC on ATM", [&](S& s) { fcc(s), on_atm(s); }, {kAtm}},
          {"only a block that is being deleted", deleted, {kNoBlock}},
          {"a block without protocol ends the walk", no_protocol_before_one_that_is_off},
          {"and those after it do not count",
           [&](S& s) { no_protocol_before_one_that_is_off(s), block_off(s); },
           {kNoBlock}}})
        Check(c);
}

TEST(StartTestValidation, TheLinkLayersOfAllBlocksAreNoted) {
    const auto check = [](S& s, bool atm, bool ethernet, std::uint8_t encapsulation) {
        framework::CBaseValidationContext context;
        EXPECT_TRUE(s.command.Validate(context));
        EXPECT_EQ(s.command.GetLinkLayers(), (iptv::LinkLayers{atm, ethernet, encapsulation}));
    };
    S scene;
    const LogCapture log;
    check(scene, false, true, 1);
    S::PutOnAtm(scene.device, 2);
    check(scene, true, true, 2);
    S::TakeInterface(scene.block);
    check(scene, false, false, 1);
    // The first block that has both settles it.
    S::PutOnAtm(S::HostsOf(scene.AddBoxes(&scene.port, "More")), 1);
    S::PutOnAtm(S::HostsOf(scene.AddBoxes(&scene.port, "Most", {}, "10.0.0.78")), 2);
    check(scene, true, true, 1);
}

TEST(StartTestValidation, HostsOfAPortHaveAddressesOfTheirOwn) {
    // Two devices on the port, with two tags each, and what makes them alike or different.
    const auto pair = [](bool ipv6, const char* address, std::uint16_t outer, std::uint16_t inner) {
        return [=](S& s) {
            s.Choose(TestType::VERIFICATION, kTesting);
            for (const bool second : {false, true}) {
                const auto& hosts =
                    S::HostsOf(s.AddBoxes(&s.port, second ? "B" : "A", {.ipv6 = ipv6, .vlans = 2}, address));
                const std::uint16_t tags[] = {second ? outer : std::uint16_t{100},
                                              second ? inner : std::uint16_t{200}};
                for (const int nth : {0, 1})
                    TestProject::LayerOf(hosts, "VlanIf", nth).Set(ids::VlanIf::VlanId, tags[nth]);
            }
        };
    };
    const auto client = [](const char* class_name, bool active = true) {
        return [=](S& s) {
            AddTwin(s);
            CScriptable& config = S::AddChild(s.device, class_name);
            if (!active) S::SwitchOff(config);
        };
    };
    const auto two_hosts = [](S& s) {
        s.device.Set(ids::EmulatedDevice::DeviceCount, 2u);
        TestProject::LayerOf(s.device, "Ipv4If").Set("AddrStep", "0.0.0.0");
    };
    for (const Case& c : {Case{"same tags", pair(false, "10.0.0.1", 100, 200), {kDuplicateV4}},
                          {"another outer tag", pair(false, "10.0.0.1", 101, 200)},
                          {"another inner tag", pair(false, "10.0.0.1", 100, 201)},
                          {"tags the other way round", pair(false, "10.0.0.1", 200, 100)},
                          {"link-local", pair(true, "fe80::1", 100, 200), {kDuplicateV6}},
                          {"link-local, another tag", pair(true, "fe80::1", 100, 201)},
                          {"global IPv6", pair(true, "2000::1", 100, 200)},
                          {"another port", [](S& s) { s.AddFarBoxes("192.85.1.3"); }},
                          {"two hosts of one device", two_hosts, {kDuplicateV4}},
                          {"DHCP", client("Dhcpv4BlockConfig"), {kShared}},
                          {"DHCP for IPv6", client("Dhcpv6BlockConfig"), {kShared}},
                          {"PPPoE", client("PppoeClientBlockConfig")},
                          {"DHCP that is off", client("Dhcpv4BlockConfig", false), {kDuplicateV4}},
                          {"a block that is off", [](S& s) { AddTwin(s), S::SwitchOff(s.block); }},
                          {"no interface", [](S& s) { AddTwin(s), S::TakeInterface(s.block); }}})
        Check(c);
}

TEST(StartTestValidation, WarningsLetTheTestStart) {
    const auto more = [](S& s) { s.AddBoxes(&s.port, "More"); };
    const auto no_port_config = [](S& s) {
        s.port.GetObject("MulticastPortConfig", common::kParentChild)->Delete();
    };
    const auto twice_on_one_port = [](S& s) {
        Shape("RatePps")(s);
        Shape("MaxBurst")(s);
        s.AddBoxes(&s.port, "Apart", {.vlans = 1});
    };
    for (const Case& c :
         {Case{"rate", Shape("RatePps"), {kShaping}},
          {"burst", Shape("MaxBurst"), {kShaping}},
          {"once per port", twice_on_one_port, {kShaping}},
          {"a port without blocks", [](S& s) { Shape("RatePps")(s), s.List({&s.AddFarBoxes()}); }},
          {"no port configuration", no_port_config},
          {"hosts on one layer 2 interface", more, {kShared}},
          {"both", [&](S& s) { Shape("RatePps")(s), more(s); }, {kShaping, kShared}},
          {"another test", [&](S& s) { s.Choose(TestType::VERIFICATION, kTesting), more(s); }},
          {"an error after a warning",
           [](S& s) { Shape("RatePps")(s), AddTwin(s); },
           {kShaping, kDuplicateV4}}})
        Check(c);
}

TEST(StartTestBlocks, AreSortedByPort) {
    S s;
    const CScriptable& old_port = s.project.MakePort("Port 3");
    CScriptable &far = s.AddFarBoxes(), &far_port = *S::HostsOf(far).GetPort();
    CScriptable &near = s.AddBoxes(&s.port, "Near"), &off = s.AddBoxes(&s.port, "Off");
    CScriptable& doomed = s.AddBoxes(&s.port, "Doomed");
    S::SwitchOff(off);
    doomed.MarkDelete(true, true);
    far_port.Set(ids::Port::Online, false);
    const StbPortMap online{{s.port.GetHandle(), {near.GetHandle(), s.block.GetHandle()}},
                            {old_port.GetHandle(), {}}};
    StbPortMap all = online;
    all[far_port.GetHandle()] = {far.GetHandle()};
    std::vector<std::uint32_t> handles{0};
    for (const CScriptable* object : std::initializer_list<const CScriptable*>{
             &near, &far, &off, &s.AddBoxes(nullptr, "Nowhere"), &doomed, &s.port, &s.block})
        handles.push_back(object->GetHandle());
    const auto sort = [&](bool online_only) {
        StbPortMap map{{old_port.GetHandle(), {4711}}};
        iptv::CIptvStartTestCommand::CreateStbMap(map, handles, online_only);
        return map;
    };
    LogCapture log;
    EXPECT_EQ(sort(true), online);
    EXPECT_THAT(LinesOf(log.Take(), "content.mulvane.iptv Error: "),
                ElementsAre(HasSubstr("object Port from EmulatedDevice")));
    EXPECT_EQ(sort(false), all);
    core::COrvSystem::Instance().Set(ids::System::OfflinePortsTakePart, true);
    EXPECT_EQ(sort(true), all);
}

namespace Generator = ids::GeneratorState;

const std::string kNoGenerator = "Please set up traffic and start at least one traffic generator  ";
const std::string kUnresolved =
    " In IptvStartTestCommand:  You must resolve IP address before starting test.";
const std::string kNoInterface = " In IptvStartTestCommand:IsResolveNeeded: No valid Uses Interface found";
const std::string kNotMultipleOf4 = "should be a multiple of 4. Error in IptvStbBlockConfig: Boxes on Hosts";
const std::string kEvenStep =
    " In MulticastGroup: News group The address increment should be odd for use in IPTV Channel Zapping Test";

std::string Unresolved(const std::string& device) {
    return "Port 1 : EmulatedDevice: " + device + ".  You must resolve IP address before starting test.";
}

/// State of the device's IP interface.
void SetResolved(const iptv::CIptvStbBlockConfig& block, std::uint8_t state) {
    auto& layer = *block.GetMcastIf();
    layer.Set(layer.IsTypeOf("Ipv6If") ? ids::Ipv6If::AddrResolveState : ids::Ipv4If::AddrResolveState,
              state);
}

TEST(StartTestPreconditions, SayWhatIsMissing) {
    using namespace ids::ResolveState;  // NOLINT: five names
    const auto set_block = [](common::PropId id, auto value) {
        return [id, value](S& s) { TestProject::GroupOf(s.channels).GetNetworkBlock()->Set(id, value); };
    };
    const auto unresolved = [](std::uint8_t state) { return [state](S& s) { SetResolved(s.block, state); }; };
    const auto six_channels = [](S& s) { s.View(1, 6); };
    const auto even_step = set_block(ids::NetworkBlock::AddrIncrement, 2u);
    const auto generator_off = [](S& s) { S::GeneratorOf(s.port).SetState(Generator::STOPPED); };
    const auto watch_ipv6 = [](S& s) {
        auto& group = TestProject::GroupOf(s.project.MakeChannelBlock("Six", 201, 10, true));
        s.View(201, 204);
        group.GetNetworkBlock()->Set(ids::Ipv6NetworkBlock::PrefixLength, std::uint8_t{64});
    };
    const auto no_ip_interface = [](S& s) {
        S::TakeInterface(s.block);
        TestProject::Relate(TestProject::McastOf(s.device), TestProject::LayerOf(s.device, "EthIIIf"),
                            relations::UsesIf);
    };
    const auto watch_others = [&](S& s) {
        even_step(s);
        s.project.MakeChannelBlock("Other", 201, 10);
        s.View(201, 204);
    };
    const struct {
        std::function<void(S&)> change;
        std::string error;     ///< its end
        std::string user_log;  ///< a part of it
    } rows[] = {
        {[](S&) {}, "", ""},
        {[](S& s) { s.List({}); }, "should be associated with the IptvStartTestCommand.", ""},
        {unresolved(RESOLVE_PARTIALLY_DONE), "", ""},
        {unresolved(RESOLVE_NEEDED), Unresolved("Hosts"), "For Port 1 Hosts Please resolve IP address"},
        {[](S& s) { SetResolved(s.AddBoxes(&s.port, "Six", {.ipv6 = true}), RESOLVE_IN_PROGRESS); },
         Unresolved("Six hosts"), "For Port 1 Six hosts "},
        {[](S& s) { SetResolved(s.AddBoxes(nullptr, "Lost"), RESOLVE_NEEDED); }, kUnresolved, kUnresolved},
        {[](S& s) { S::TakeProtocol(s.block); }, kUnresolved, kUnresolved},
        {[](S& s) { S::TakeInterface(s.block); }, kNoInterface, ""},
        {no_ip_interface, kNoInterface, ""},
        {[&](S& s) { generator_off(s), six_channels(s); }, kNoGenerator, ""},
        {[&](S& s) { generator_off(s), s.Choose(TestType::ZAPPING, kRealWorld); }, "", ""},
        {[&](S& s) { six_channels(s), even_step(s); }, kNotMultipleOf4, ""},
        {[&](S& s) { s.Choose(TestType::VERIFICATION, kTesting), six_channels(s), even_step(s); }, "", ""},
        {even_step, kEvenStep, " " + kEvenStep},
        {set_block(ids::NetworkBlock::AddrIncrement, 3u), "", ""},
        {set_block(ids::Ipv4NetworkBlock::PrefixLength, std::uint8_t{24}),
         "News group The address prefix length should be 32 for use in IPTV Channel Zapping Test",
         "prefix length should be 32"},
        {watch_ipv6, "Six group The address prefix length should be 128 for use in IPTV Channel Zapping Test",
         "prefix length should be 128"},
        {watch_others, "", ""},
        {[&](S& s) { even_step(s), S::SwitchOff(s.block); }, "", ""},
        {[](S& s) { s.View(901, 904); }, "", ""},  // in no block
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << "row " << &row - rows << ": " << row.error);
        S s;
        S::GeneratorOf(s.port).SetState(Generator::RUNNING);
        row.change(s);
        LogCapture log;
        const std::string error = FailureOf([&] { s.command.CheckPreconditions(); });
        EXPECT_THAT(error, testing::EndsWith(row.error));
        EXPECT_EQ(error == kNothing, row.error.empty());
        const Texts logged = LinesOf(log.Take(), "user.iptv Error: ");
        ASSERT_EQ(logged.size(), row.user_log.empty() ? 0u : 1u);
        for (const std::string& line : logged) EXPECT_THAT(line, HasSubstr(row.user_log));
    }
}

TEST(StartTestPreconditions, AGeneratorHasAMinuteToStart) {
    using namespace Generator;  // NOLINT: three names
    // The generator of the second port; that of the first one is stopped unless it says so.
    const auto set = [](std::uint8_t state) {
        return [state](l2l3::CGenerator& generator, S&) { generator.SetState(state); };
    };
    const auto cancel = [](l2l3::CGenerator&, S& s) { s.command.Set(ids::Command::ProgressCancelled, true); };
    const auto remove = [](l2l3::CGenerator& generator, S&) { generator.Delete(); };
    const struct {
        const char* what;
        std::uint8_t state;
        int after_ms;  ///< when `then` happens
        std::function<void(l2l3::CGenerator&, S&)> then;
        std::string error;
        int waited_ms;
        bool another_runs = false;
    } rows[] = {
        {"runs", RUNNING, 10, set(RUNNING), kNothing, 0},
        {"is stopped", STOPPED, 10, set(RUNNING), kNoGenerator, 0},
        {"starts soon", STARTING, 140, set(RUNNING), kNothing, 150},
        {"starts in the last moment", STARTING, 59990, set(RUNNING), kNothing, 60000},
        {"starts too late", STARTING, 60010, set(RUNNING), kNoGenerator, 60000},
        {"goes", STARTING, 140, remove, kNoGenerator, 150},
        {"the test is cancelled", STARTING, 140, cancel, kNoGenerator, 60000},
        {"is waited for although another one runs", STARTING, 140, set(STOPPED), kNothing, 60000, true}};
    auto& tasks = framework::CTaskManager::Instance();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        S s;
        s.command.Set(ids::Command::ProgressIsCancellable, true);
        auto& generator = S::GeneratorOf(s.project.MakePort("Port 2"));
        generator.SetState(row.state);
        if (row.another_runs) S::GeneratorOf(s.port).SetState(RUNNING);
        After(row.after_ms, [&] { row.then(generator, s); });
        const auto begin = tasks.GetNow();
        EXPECT_THAT(FailureOf([&] { s.command.CheckPreconditions(); }), testing::EndsWith(row.error));
        EXPECT_EQ(tasks.GetNow() - begin, std::chrono::milliseconds(row.waited_ms));
        Yield(100000);  // what was posted looks at this scene
    }
}

TEST(StartTestPreconditions, ManyBlocksLetOthersRunInBetween) {
    S s;
    std::vector<iptv::CIptvStbBlockConfig*> blocks;
    for (int i = 1; i < 150; ++i) blocks.push_back(&s.AddBoxes(&s.port, "Boxes " + std::to_string(i)));
    bool has_run = false;
    After(0, [&] {
        for (std::size_t i = 120; i < 140; ++i) blocks[i]->Delete();
        SetResolved(*blocks[145], ids::ResolveState::RESOLVE_NEEDED);
        has_run = true;
    });
    std::uint32_t device = 0, port = 0;
    EXPECT_FALSE(s.command.HasIpAddressBeenResolved(device, port));
    EXPECT_TRUE(has_run) << "in between, and the blocks that went did no harm";
    EXPECT_EQ(device, S::HostsOf(*blocks[145]).GetHandle());
    EXPECT_EQ(port, s.port.GetHandle());
}

}  // namespace
