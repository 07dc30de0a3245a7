// What a test needs of the state of the system when it starts.
#include <chrono>

#include "orv/core/network_block.h"
#include "start_test_fixture.h"

namespace testing_aids {
namespace {

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
        if (!logged.empty()) {
            EXPECT_THAT(logged[0], HasSubstr(row.user_log));
        }
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
        {"is waited for although another one runs", STARTING, 140, set(STOPPED), kNothing, 60000, true},
    };
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
    std::uint32_t device = 0;
    std::uint32_t port = 0;
    EXPECT_FALSE(s.command.HasIpAddressBeenResolved(device, port));
    EXPECT_TRUE(has_run) << "in between, and the blocks that went did no harm";
    EXPECT_EQ(device, S::HostsOf(*blocks[145]).GetHandle());
    EXPECT_EQ(port, s.port.GetHandle());
}

}  // namespace
}  // namespace testing_aids
