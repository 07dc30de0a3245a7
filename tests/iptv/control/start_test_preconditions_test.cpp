// What a test needs of the state of the system when it starts.
#include <chrono>

#include "orv/core/network_block.h"
#include "start_test_fixture.h"

namespace testing_aids {
namespace {

using iptv::CIptvStbBlockConfig;
using S = StartScene;
using Texts = std::vector<std::string>;
using std::chrono::milliseconds;

const std::string kStart = " In IptvStartTestCommand: ";
const std::string kNoGenerator =
    kStart +
    "The Environment option is set to Testing Environment but there are no traffic generators started in the "
    "Veltra Labrium application. Using Testing Environment implies that the traffic is generated using "
    "Veltra "
    "Labrium. Please set up traffic and start at least one traffic generator  ";
const std::string kUnresolved =
    " In IptvStartTestCommand:  You must resolve IP address before starting test.";
const std::string kNoInterface =
    kStart.substr(0, kStart.size() - 1) + "IsResolveNeeded: No valid Uses Interface found";
const std::string kNotMultipleOf4 =
    kStart +
    "For Channel Zapping Test, the number of channels viewed by a STB should be a multiple of 4. Error in "
    "IptvStbBlockConfig: Boxes on Hosts";

std::string Unresolved(const std::string& port, const std::string& device) {
    return kStart + port + " : EmulatedDevice: " + device +
           ".  You must resolve IP address before starting test.";
}
std::string AskToResolve(const std::string& port, const std::string& device) {
    return "For " + port + " " + device +
           " Please resolve IP address before starting IPTV Test. IptvStartTestCommand has been aborted.";
}
std::string WrongGroup(const std::string& rule) {
    return " In MulticastGroup: News group The address " + rule + " for use in IPTV Channel Zapping Test";
}

/// State of the device's IP interface.
void SetResolved(const CScriptable& block, int state) {
    auto& layer = *dynamic_cast<const CIptvStbBlockConfig&>(block).GetMcastIf();
    layer.Set(layer.IsTypeOf("Ipv6If") ? ids::Ipv6If::AddrResolveState : ids::Ipv4If::AddrResolveState,
              static_cast<std::uint8_t>(state));
}

TEST(StartTestPreconditions, SayWhatIsMissing) {
    using namespace ids::ResolveState;  // NOLINT: five names
    const auto set_block = [](S& s, common::PropId id, auto value) {
        TestProject::GroupOf(s.channels).GetNetworkBlock()->Set(id, value);
    };
    const auto unresolved = [](int state) { return [state](S& s) { SetResolved(s.block, state); }; };
    const auto six_channels = [](S& s) { s.View(1, 6); };
    const auto even_step = [&](S& s) { set_block(s, ids::NetworkBlock::AddrIncrement, 2u); };
    const auto watch_ipv6 = [](S& s) {
        auto& group = TestProject::GroupOf(s.project.MakeChannelBlock("Six", 201, 10, true));
        s.View(201, 204);
        group.GetNetworkBlock()->Set(ids::Ipv6NetworkBlock::PrefixLength, std::uint8_t{64});
    };
    const struct {
        std::string what;
        std::function<void(S&)> change;
        std::string error;
        Texts user_log = {};
    } rows[] = {
        {"ready", [](S&) {}, ""},
        {"nothing listed", [](S& s) { s.List({}); },
         kStart + "At least one block of STBs should be associated with the IptvStartTestCommand."},
        {"partially resolved", unresolved(RESOLVE_PARTIALLY_DONE), ""},
        {"unresolved",
         unresolved(RESOLVE_NEEDED),
         Unresolved("Port 1", "Hosts"),
         {AskToResolve("Port 1", "Hosts")}},
        {"failed",
         unresolved(RESOLVE_FAILED),
         Unresolved("Port 1", "Hosts"),
         {AskToResolve("Port 1", "Hosts")}},
        {"in progress, IPv6",
         [](S& s) {
             CIptvStbBlockConfig& six = s.AddBoxes(&s.port, "Six", {.ipv6 = true});
             SetResolved(six, RESOLVE_IN_PROGRESS);
         },
         Unresolved("Port 1", "Six hosts"),
         {AskToResolve("Port 1", "Six hosts")}},
        {"unresolved on no port",
         [](S& s) { SetResolved(s.AddBoxes(nullptr, "Lost"), RESOLVE_NEEDED); },
         kUnresolved,
         {AskToResolve(kUnresolved, "")}},
        {"no protocol", [](S& s) { S::TakeProtocol(s.block); }, kUnresolved, {AskToResolve(kUnresolved, "")}},
        {"no interface",
         [](S& s) { TestProject::McastOf(s.device).RemoveObject(*s.block.GetMcastIf(), relations::UsesIf); },
         kNoInterface},
        {"no IP interface",
         [](S& s) {
             auto& protocol = TestProject::McastOf(s.device);
             protocol.RemoveObject(*s.block.GetMcastIf(), relations::UsesIf);
             TestProject::Relate(protocol, TestProject::LayerOf(s.device, "EthIIIf"), relations::UsesIf);
         },
         kNoInterface},
        {"address before channels",
         [&](S& s) { six_channels(s), unresolved(RESOLVE_NEEDED)(s); },
         Unresolved("Port 1", "Hosts"),
         {AskToResolve("Port 1", "Hosts")}},
        {"generator before channels",
         [&](S& s) { s.GeneratorOf(s.port).SetState(ids::GeneratorState::STOPPED), six_channels(s); },
         kNoGenerator},
        {"no generator in the real world",
         [](S& s) {
             s.Choose(TestType::ZAPPING, kRealWorld);
             s.GeneratorOf(s.port).SetState(ids::GeneratorState::STOPPED);
         },
         ""},
        {"6 channels", six_channels, kNotMultipleOf4},
        {"6 channels, another test",
         [&](S& s) { s.Choose(TestType::VERIFICATION, kTesting), six_channels(s), even_step(s); }, ""},
        {"channels before groups", [&](S& s) { six_channels(s), even_step(s); }, kNotMultipleOf4},
        {"even increment",
         even_step,
         WrongGroup("increment should be odd"),
         {" " + WrongGroup("increment should be odd")}},
        {"odd increment", [&](S& s) { set_block(s, ids::NetworkBlock::AddrIncrement, 3u); }, ""},
        {"IPv4 prefix",
         [&](S& s) { set_block(s, ids::Ipv4NetworkBlock::PrefixLength, std::uint8_t{24}); },
         WrongGroup("prefix length should be 32"),
         {" " + WrongGroup("prefix length should be 32")}},
        {"IPv6 prefix",
         watch_ipv6,
         " In MulticastGroup: Six group The address prefix length should be 128 for use in IPTV Channel "
         "Zapping Test",
         {"  In MulticastGroup: Six group The address prefix length should be 128 for use in IPTV Channel "
          "Zapping Test"}},
        {"a group that nobody watches",
         [&](S& s) { even_step(s), s.project.MakeChannelBlock("Other", 201, 10), s.View(201, 204); }, ""},
        {"a block that is off watches nothing", [&](S& s) { even_step(s), S::SwitchOff(s.block); }, ""},
        {"channels in no block", [](S& s) { s.View(901, 904); }, ""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        S s;
        s.GeneratorOf(s.port).SetState(ids::GeneratorState::RUNNING);
        row.change(s);
        LogCapture log;
        EXPECT_EQ(ThrownBy([&] { s.command.CheckPreconditions(); }), row.error);
        EXPECT_EQ(LinesOf(log.Take(), "user.iptv Error: "), row.user_log);
    }
}

TEST(StartTestPreconditions, AGeneratorHasAMinuteToStart) {
    using namespace ids::GeneratorState;  // NOLINT: three names
    // The generator of the second port; that of the first one is stopped unless it says so.
    const auto generator = [](S& s) -> l2l3::CGenerator& {
        const auto ports = s.project.Root().GetObjects("Port", common::kParentChild);
        return s.GeneratorOf(dynamic_cast<const core::CPort&>(*ports.back()));
    };
    const auto set = [&](S& s, std::uint8_t state) { generator(s).SetState(state); };
    const struct {
        std::string what;
        std::uint8_t state;
        int after_ms;  ///< when `then` happens
        std::function<void(S&)> then;
        std::string error;
        int waited_ms;
    } rows[] = {
        {"runs", RUNNING, 10, [](S&) {}, "", 0},
        {"is stopped", STOPPED, 10, [&](S& s) { set(s, RUNNING); }, kNoGenerator, 0},
        {"starts soon", STARTING, 140, [&](S& s) { set(s, RUNNING); }, "", 150},
        {"starts in the last moment", STARTING, 59990, [&](S& s) { set(s, RUNNING); }, "", 60000},
        {"starts too late", STARTING, 60010, [&](S& s) { set(s, RUNNING); }, kNoGenerator, 60000},
        {"goes", STARTING, 140, [&](S& s) { generator(s).Delete(); }, kNoGenerator, 150},
        {"the test is cancelled", STARTING, 140,
         [](S& s) { s.command.Set(ids::Command::ProgressCancelled, true); }, kNoGenerator, 60000},
        {"is waited for although another one runs", STARTING, 140, [&](S& s) { set(s, STOPPED); }, "", 60000},
    };
    auto& tasks = framework::CTaskManager::Instance();
    for (const auto& row : rows) {
        SCOPED_TRACE("A generator " + row.what);
        S s;
        s.command.Set(ids::Command::ProgressIsCancellable, true);
        s.project.MakePort("Port 2");
        set(s, row.state);
        if (row.what.find("another") != std::string::npos) s.GeneratorOf(s.port).SetState(RUNNING);
        tasks.PostAfter(milliseconds(row.after_ms), [&] { row.then(s); });
        const auto begin = tasks.GetNow();
        EXPECT_EQ(ThrownBy([&] { s.command.CheckPreconditions(); }), row.error);
        EXPECT_EQ(tasks.GetNow() - begin, milliseconds(row.waited_ms));
        tasks.CtmYield(100000);  // what was posted looks at this scene
    }
}

TEST(StartTestPreconditions, ManyBlocksLetOthersRunInBetween) {
    S s;
    std::vector<CScriptable*> blocks;
    for (int i = 1; i < 150; ++i) blocks.push_back(&s.AddBoxes(&s.port, "Boxes " + std::to_string(i)));
    bool has_run = false;
    framework::CTaskManager::Instance().PostAfter(milliseconds(0), [&] {
        for (std::size_t i = 120; i < 140; ++i) blocks[i]->Delete();
        SetResolved(*blocks[145], ids::ResolveState::RESOLVE_NEEDED);
        has_run = true;
    });
    std::uint32_t device = 0;
    std::uint32_t port = 0;
    EXPECT_FALSE(s.command.HasIpAddressBeenResolved(device, port));
    EXPECT_TRUE(has_run) << "in between, and the blocks that went did no harm";
    EXPECT_EQ(device, S::DeviceOf(*blocks[145]).GetHandle());
    EXPECT_EQ(port, s.port.GetHandle());
}

}  // namespace
}  // namespace testing_aids
