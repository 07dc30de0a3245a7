// Commands that run while their tree is destroyed, with the real clock.
#include <gtest/gtest.h>

#include <chrono>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/command.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/task_manager.h"
#include "thrown.h"

namespace host_test {

namespace {

using namespace orv::framework;  // NOLINT: tests
using namespace std::chrono_literals;

/// A command that would wait for days, and runs.
CCommand& StartLongCommand(orv::core::CHostApplication& host) {
    auto& wait = *dynamic_cast<CCommand*>(CScriptableCreator().Create("WaitCommand", &host.GetProject()));
    wait.Set("WaitTime", "1000000");
    wait.Execute(true);
    EXPECT_TRUE(CTaskManager::Instance().WaitUntil(
        [&wait] { return wait.GetCommandState() == CCommand::COMMAND_RUNNING; }, 10s));
    return wait;
}

TEST(CommandConcurrencyTest, AProjectIsReplacedOnceItsRunningCommandsHaveEnded) {
    orv::core::CHostApplication host;
    CCommand& wait = StartLongCommand(host);
    EXPECT_EQ(testing_aids::ThrownBy<orv::common::COrvRunTimeError>([&wait] { wait.Delete(); }),
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
