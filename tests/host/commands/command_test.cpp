#include "orv/framework/command.h"

#include <gmock/gmock.h>

#include "host/host_fixture.h"
#include "host/log/log_catcher.h"
#include "orv/framework/command_status_manager.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/task_manager.h"
#include "thrown.h"

namespace host_test {

using testing_aids::ThrownBy;

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

class CommandTest : public HostTest {};

void Yield(int milliseconds) {
    CTaskManager::Instance().CtmYield(milliseconds);
}

struct Outcome {
    const char* name;
    std::function<void(TestCommand&)> prepare;
    CCommand::CommandState state;
    std::string status;
    const char* states;
};

std::vector<Outcome> Outcomes() {
    constexpr const char* ran = "IDLE>PENDING PENDING>RUNNING RUNNING>";
    constexpr auto failed = CCommand::COMMAND_FAILED;
    static const std::string completed_states = std::string(ran) + "COMPLETED ";
    static const std::string failed_states = std::string(ran) + "FAILED ";
    static const std::string cancelled_states = std::string(ran) + "CANCELLED ";
    const char* const refused = "IDLE>PENDING PENDING>FAILED ";
    const auto throwing = [](auto what) {
        return [what](TestCommand& c) { c.on_run = [what] { throw what; }; };
    };
    return {
        {"success", [](TestCommand&) {}, CCommand::COMMAND_COMPLETED, "", completed_states.c_str()},
        {"success with words", [](TestCommand& c) { c.on_run = [&c] { c.SetStatus("all fine"); }; },
         CCommand::COMMAND_COMPLETED, "all fine", completed_states.c_str()},
        {"host exception", throwing(COrvRunTimeError("no port")), failed, "no port", failed_states.c_str()},
        {"logic error", throwing(COrvLogicError("Assertion Failed")), failed, "Assertion Failed",
         failed_states.c_str()},
        {"other exception", throwing(std::out_of_range("map::at")), failed, "TestCommand failed: map::at",
         failed_states.c_str()},
        {"integer", throwing(-2), failed, "TestCommand failed: it threw the integer -2",
         failed_states.c_str()},
        {"anything", throwing(2.5), failed, "TestCommand failed: it threw an exception of unknown type",
         failed_states.c_str()},
        {"integer in a step",
         [](TestCommand& c) { c.on_run = [&c] { c.SetStep("Set-up", "Port 1"), throw -3; }; }, failed,
         "TestCommand failed: Set-up on Port 1: it threw the integer -3", failed_states.c_str()},
        {"other exception in a step",
         [](TestCommand& c) { c.on_run = [&c] { c.SetStep("Set-up"), throw std::out_of_range("map::at"); }; },
         failed, "TestCommand failed: Set-up: map::at", failed_states.c_str()},
        {"exception without text", throwing(COrvRunTimeError("")), failed,
         "TestCommand failed without saying why", failed_states.c_str()},
        {"warning",
         [](TestCommand& c) {
             c.on_validate = [](CBaseValidationContext& v) { return v.AddWarning("a1", "careful"), true; };
         },
         CCommand::COMMAND_COMPLETED, "", completed_states.c_str()},
        {"errors",
         [](TestCommand& c) {
             c.on_validate = [](CBaseValidationContext& v) {
                 v.AddError("a1", "first"), v.AddError("a2", "second");
                 return true;
             };
         },
         failed, "first", refused},
        {"errors and words",
         [](TestCommand& c) {
             c.on_validate = [&c](CBaseValidationContext& v) {
                 v.AddError("a1", "first"), c.SetStatus("my words");
                 return false;
             };
         },
         failed, "my words", refused},
        {"invalid without reason", [](TestCommand& c) { c.on_validate = [](auto&) { return false; }; },
         failed, "TestCommand \"c\" is not valid", refused},
        {"validation throws",
         [](TestCommand& c) { c.on_validate = [](auto&) -> bool { throw COrvRunTimeError("lost"); }; },
         failed, "lost", refused},
        {"reset refused", [](TestCommand& c) { c.refuse_reset = true; }, failed,
         "TestCommand \"c\" could not be reset", refused},
        {"not runnable", [](TestCommand& c) { c.blocked = "port is busy"; }, failed, "port is busy",
         "IDLE>PENDING blocked PENDING>FAILED "},
        {"cancelled", [](TestCommand& c) { c.on_run = [&c] { c.Set(kCancellable, true), c.Cancel(); }; },
         CCommand::COMMAND_CANCELLED, "", cancelled_states.c_str()},
        {"cancelled, but it does not look", [](TestCommand& c) { c.on_run = [&c] { c.Cancel(); }; },
         CCommand::COMMAND_COMPLETED, "", completed_states.c_str()},
    };
}

TEST_F(CommandTest, ARunInThisCallEndsInAStateAndThrowsWhenItFailed) {
    for (const Outcome& c : Outcomes()) {
        SCOPED_TRACE(c.name);
        TestCommand& command = MakeCommand("c");
        c.prepare(command);
        const std::string thrown = ThrownBy<COrvRunTimeError>([&] { command.Execute(false); });
        EXPECT_EQ(thrown, c.state == CCommand::COMMAND_FAILED ? c.status : "nothing thrown");
        EXPECT_EQ(command.GetCommandState(), c.state);
        EXPECT_EQ(command.GetStatus(), c.status);
        EXPECT_EQ(command.states, c.states);
    }
}

TEST_F(CommandTest, ARunOfItsOwnEndsInTheSameStateAndThrowsNothing) {
    for (const Outcome& c : Outcomes()) {
        SCOPED_TRACE(c.name);
        TestCommand& command = MakeCommand("c");
        c.prepare(command);
        command.Execute(true);
        EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_PENDING);
        EXPECT_EQ(command.runs, 0);
        Yield(0);
        EXPECT_EQ(command.GetCommandState(), c.state);
        EXPECT_EQ(command.GetStatus(), c.status);
        EXPECT_EQ(command.states, c.states);
    }
}

TEST_F(CommandTest, ValidationReportsAreLogged) {
    const LogCatcher log;
    TestCommand& command = MakeCommand("c");
    command.on_validate = [](CBaseValidationContext& v) {
        v.AddWarning("a1", "careful");
        v.AddError("a2", "wrong");
        return true;
    };
    EXPECT_THROW(command.Execute(false), COrvRunTimeError);
    EXPECT_TRUE(log.Has(LogLevelType::Warn, "TestCommand \"c\": careful"));
    EXPECT_TRUE(log.Has(LogLevelType::Error, "TestCommand \"c\": wrong"));
}

TEST_F(CommandTest, OneThatIsUnderWayCannotBeExecutedNorDeleted) {
    TestCommand& command = MakeCommand("c");
    command.on_run = [&command] {
        EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { command.Execute(false); }),
                  "TestCommand \"c\" is running already");
        EXPECT_FALSE(command.MarkDelete(true, true));
        Yield(1500);
    };
    command.Execute(true);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { command.Execute(true); }),
              "TestCommand \"c\" is running already");
    Yield(0);
    EXPECT_EQ(command.runs, 1);
    EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_COMPLETED);
    EXPECT_EQ(command.GetU64(0xe005), 1500u) << "elapsed time in ms";
    EXPECT_TRUE(command.MarkDelete(true, true));
}

TEST_F(CommandTest, ASecondRunStartsAnew) {
    TestCommand& command = MakeCommand("c");
    command.on_run = [&command] {
        EXPECT_EQ(command.GetStatus(), "");
        EXPECT_FALSE(command.GetProgressCancelled());
        EXPECT_FALSE(command.GetBool(kCancellable));
        command.Set(kCancellable, true);
        command.SetProgress(3, 5);
        command.SetStatus("words");
        command.Cancel();
    };
    for (int run = 0; run < 2; ++run) {
        command.Execute(false);
        EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_CANCELLED);
        EXPECT_EQ(command.GetU32(0xe003), 3u);
        EXPECT_EQ(command.GetU32(0xe004), 5u);
    }
    command.Cancel();
    EXPECT_EQ(
        command.states,
        "IDLE>PENDING PENDING>RUNNING RUNNING>CANCELLED CANCELLED>PENDING PENDING>RUNNING RUNNING>CANCELLED ")
        << "cancelling one that has ended does nothing";
}

TEST_F(CommandTest, CancelledOrGoneBeforeItBeganItDoesNotRun) {
    TestCommand& command = MakeCommand("c");
    TestCommand& gone = MakeCommand("gone");
    command.Execute(true);
    gone.Execute(true);
    command.Cancel();
    gone.Delete();
    Yield(0);
    EXPECT_EQ(command.runs, 0);
    EXPECT_EQ(command.states, "IDLE>PENDING PENDING>CANCELLED ");
}

TEST_F(CommandTest, RunnableStateIsReportedWhenItChanges) {
    TestCommand& command = MakeCommand("c");
    for (const char* blocked : {"", "busy", "busy", ""}) {
        command.blocked = blocked;
        ThrownBy<COrvRunTimeError>([&] { command.Execute(false); });
    }
    EXPECT_THAT(command.states, HasSubstr("blocked "));
    EXPECT_EQ(command.states.find("blocked "), command.states.rfind("blocked "));
    EXPECT_THAT(command.states, HasSubstr("runnable "));
}

TEST_F(CommandTest, CanBeExecutedAndCancelledByName) {
    TestCommand& command = MakeCommand("c");
    std::string result;
    command.on_run = [&command] { command.SetStatus("done"); };
    EXPECT_TRUE(command.PerformOperation("execute", "", result));
    EXPECT_EQ(result, "done");
    EXPECT_TRUE(command.PerformOperation("execute", "async", result));
    EXPECT_TRUE(command.PerformOperation("cancel", "", result));
    Yield(0);
    EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_CANCELLED);
    EXPECT_FALSE(command.PerformOperation("dance", "", result));
    EXPECT_THAT(ThrownBy<COrvRunTimeError>([&] { command.PerformOperation("execute", "twice", result); }),
                HasSubstr("\"twice\""));
}

TEST_F(CommandTest, InputHandlesBecomeObjectsEachOnceInOrder) {
    CScriptable& a = MakeThing("a");
    CScriptable& a1 = MakeThing("a1", &a, kSpecialThing);
    MakeThing("a2", &a, kSpecialThing);
    CScriptable& b = MakeThing("b", nullptr, kSpecialThing);
    CScriptable& off = MakeThing("off");
    CScriptable& off1 = MakeThing("off1", &off, kSpecialThing);
    MakeThing("gone", nullptr, kSpecialThing).MarkDelete(true, true);
    off.Set(kActive, false);
    TestCommand& command = MakeCommand("c");
    const std::uint32_t project = Project().GetHandle();
    const auto resolve = [&](std::uint32_t id, const std::vector<std::uint32_t>& handles,
                             std::uint32_t options = 0) {
        ScriptableVec objects;
        command.ProcessInputHandleVec(id, handles, objects, options);
        return NamesOf(objects);
    };
    EXPECT_EQ(resolve(kSpecialThing, {project}), "a1 a2 b off1");
    EXPECT_EQ(resolve(kSpecialThing, {b.GetHandle(), project, a.GetHandle(), b.GetHandle()}), "b a1 a2 off1");
    EXPECT_EQ(resolve(kSpecialThing, {a.GetHandle(), a1.GetHandle()}), "a1 a2");
    EXPECT_EQ(resolve(kThing, {a.GetHandle()}), "a") << "an object of the class stands for itself alone";
    EXPECT_EQ(resolve(kSpecialThing, {off.GetHandle(), off1.GetHandle(), b.GetHandle()},
                      CCommand::INPUT_SKIP_INACTIVE_ROOTS),
              "b");
    EXPECT_EQ(resolve(kSpecialThing, {}), "");
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] {
                  resolve(kThing, {b.GetHandle(), 999999});
              }),
              "TestCommand \"c\": the input handle 999999 names no object");
}

TEST_F(CommandTest, StatusManagerKnowsWhatIsDisabled) {
    auto& manager = CCommandStatusManager::Instance();
    manager.SetCommandStatus(5, kTestCommand, false);
    EXPECT_FALSE(manager.GetCommandStatus(5, kTestCommand));
    EXPECT_TRUE(manager.GetCommandStatus(6, kTestCommand));
    EXPECT_TRUE(manager.GetCommandStatus(5, kThing));
    manager.SetCommandStatus(5, kTestCommand, true);
    EXPECT_TRUE(manager.GetCommandStatus(5, kTestCommand));
}

}  // namespace
}  // namespace host_test
