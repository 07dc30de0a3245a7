// Commands that run while their tree is destroyed, with the real clock.
#include "host/host_fixture.h"
#include "orv/framework/handle_registry.h"

namespace host_test {
namespace {

/// A command that would wait for days, and runs.
CCommand& StartLongCommand(orv::core::CHostApplication& host) {
    auto& wait = *dynamic_cast<CCommand*>(CScriptableCreator().Create("WaitCommand", &host.GetProject()));
    wait.Set("WaitTime", "1000000");
    wait.Execute(true);
    EXPECT_TRUE(
        Tasks().WaitUntil([&] { return wait.GetCommandState() == CCommand::COMMAND_RUNNING; }, kTooLong));
    return wait;
}

TEST(CommandConcurrencyTest, AProjectIsReplacedOnceItsRunningCommandsHaveEnded) {
    orv::core::CHostApplication host;
    CCommand& wait = StartLongCommand(host);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&wait] { wait.Delete(); }),
              wait.Describe() + " is running and cannot be destroyed");
    const std::uint32_t handle = wait.GetHandle();
    host.NewProject();
    EXPECT_EQ(CHandleRegistry::Instance().Find(handle), nullptr);
}

TEST(CommandConcurrencyTest, AHostEndsWithACommandUnderWay) {
    orv::core::CHostApplication host;
    StartLongCommand(host);
}

}  // namespace
}  // namespace host_test
