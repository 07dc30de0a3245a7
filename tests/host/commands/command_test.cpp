
#include "host/host_fixture.h"
#include "orv/ids/framework_ids.h"

namespace {

using namespace host_test;  // NOLINT: a test

namespace ids = orv::ids;
using CommandTest = HostTest;
using State = CCommand::CommandState;

TEST_F(CommandTest, ARunEndsInAStateAndThrowsWhenItFailedInThisCall) {
    const std::string ran = "IDLE>PENDING PENDING>RUNNING RUNNING>", refused = "IDLE>PENDING PENDING>FAILED ";
    constexpr State failed = CCommand::COMMAND_FAILED, completed = CCommand::COMMAND_COMPLETED;
    using Prepare = std::function<void(TestCommand&)>;
    const auto runs = [](auto work) -> Prepare {
        return [work](TestCommand& c) { c.on_run = [work, &c] { work(c); }; };
    };
    const auto throwing = [&runs](auto what) { return runs([what](auto&) { throw what; }); };
    const auto validates = [](auto rules) -> Prepare {
        return [rules](TestCommand& c) {
            c.on_validate = [rules, &c](auto& context) { return rules(c, context); };
        };
    };
    const struct {
        const char* name;
        Prepare prepare;
        State state;
        std::string status, states = {};  ///< when it is not the usual run
    } cases[] = {
        {"success with words", runs([](auto& c) { c.SetStatus("all fine"); }), completed, "all fine"},
        {"host exception", throwing(COrvRunTimeError("no port")), failed, "no port"},
        {"other exception", throwing(std::out_of_range("map::at")), failed, "TestCommand failed: map::at"},
        {"anything", throwing(2.5), failed, "TestCommand failed: it threw an exception of unknown type"},
        {"integer in a step", runs([](auto& c) { c.SetStep("Set-up", "Port 1"), throw -3; }), failed,
         "TestCommand failed: Set-up on Port 1: it threw the integer -3"},
        {"exception in a step",
         runs([](auto& c) { c.SetStep("Set-up"), throw std::out_of_range("map::at"); }), failed,
         "TestCommand failed: Set-up: map::at"},
        {"exception without text", throwing(COrvRunTimeError("")), failed,
         "TestCommand failed without saying why"},
        {"warning", validates([](auto&, auto& v) { return v.AddWarning("a1", "careful"), true; }), completed,
         ""},
        {"errors",
         validates([](auto&, auto& v) { return v.AddError("a1", "one"), v.AddError("a2", "two"), true; }),
         failed, "one", refused},
        {"errors and words",
         validates([](auto& c, auto& v) { return v.AddError("a1", ""), c.SetStatus("mine"), false; }), failed,
         "mine", refused},
        {"invalid", validates([](auto&, auto&) { return false; }), failed, "TestCommand \"c\" is not valid",
         refused},
        {"validation throws", validates([](auto&, auto&) -> bool { throw COrvRunTimeError("lost"); }), failed,
         "lost", refused},
        {"reset refused", [](TestCommand& c) { c.refuse_reset = true; }, failed,
         "TestCommand \"c\" could not be reset", refused},
        {"not runnable", [](TestCommand& c) { c.blocked = "port is busy"; }, failed, "port is busy",
         "IDLE>PENDING blocked PENDING>FAILED "},
        {"cancelled", runs([](auto& c) { c.Set(kCancellable, true), c.Cancel(); }),
         CCommand::COMMAND_CANCELLED, "", ran + "CANCELLED "},
        {"cancelled, but it does not look", runs([](auto& c) { c.Cancel(); }), completed, ""}};
    const LogCatcher log;
    for (const auto& c : cases)
        for (const bool own_task : {false, true}) {
            SCOPED_TRACE(c.name);
            TestCommand& command = MakeCommand("c");
            c.prepare(command);
            const std::string thrown = ThrownBy<COrvRunTimeError>([&] { command.Execute(own_task); });
            EXPECT_EQ(thrown, c.state == failed && !own_task ? c.status : "nothing thrown");
            if (own_task) {
                EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_PENDING);
                EXPECT_EQ(command.runs, 0);
                Tasks().CtmYield(0);
            }
            EXPECT_EQ(command.GetCommandState(), c.state);
            EXPECT_EQ(command.GetStatus(), c.status);
            const std::string usual = ran + (c.state == failed ? "FAILED " : "COMPLETED ");
            EXPECT_EQ(command.states, c.states.empty() ? usual : c.states);
        }
    EXPECT_TRUE(log.Has(LogLevelType::Warn, "TestCommand \"c\": careful"));
    EXPECT_TRUE(log.Has(LogLevelType::Error, "TestCommand \"c\": two"));
}

TEST_F(CommandTest, OneThatIsUnderWayCannotBeExecutedNorDeleted) {
    TestCommand& command = MakeCommand("c");
    command.on_run = [&command] {
        EXPECT_THROW(command.Execute(false), COrvRunTimeError);
        EXPECT_FALSE(command.MarkDelete(true, true));
        Tasks().CtmYield(1500);
    };
    command.Execute(true);
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] { command.Execute(true); }),
              "TestCommand \"c\" is running already");
    Tasks().CtmYield(0);
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
    EXPECT_EQ(command.GetCommandState(), CCommand::COMMAND_CANCELLED) << "it has ended already";
}

TEST_F(CommandTest, CancelledOrGoneBeforeItBeganItDoesNotRun) {
    TestCommand &command = MakeCommand("c"), &gone = MakeCommand("gone");
    command.Execute(true);
    gone.Execute(true);
    command.Cancel();
    gone.Delete();
    Tasks().CtmYield(0);
    EXPECT_EQ(command.runs, 0);
    EXPECT_EQ(command.states, "IDLE>PENDING PENDING>CANCELLED ");
}

TEST_F(CommandTest, InputHandlesBecomeObjectsEachOnceInOrder) {
    CScriptable& a = MakeThing("a");
    MakeThing("a1", &a, kSpecialThing);
    MakeThing("a2", &a, kSpecialThing);
    CScriptable &b = MakeThing("b", nullptr, kSpecialThing), &off = MakeThing("off");
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
    EXPECT_EQ(resolve(kThing, {a.GetHandle()}), "a") << "an object of the class stands for itself alone";
    EXPECT_EQ(resolve(kSpecialThing, {off.GetHandle(), off1.GetHandle(), b.GetHandle()},
                      CCommand::INPUT_SKIP_INACTIVE_ROOTS),
              "b");
    EXPECT_EQ(ThrownBy<COrvRunTimeError>([&] {
                  resolve(kThing, {b.GetHandle(), 999999});
              }),
              "TestCommand \"c\": the input handle 999999 names no object");
}

TEST_F(CommandTest, SetRelativesReplacesOrAppends) {
    CScriptable &hub = MakeThing("hub"), &a = MakeThing("a"), &b = MakeThing("b");
    auto& command = Make<CSetRelativesCommand>();
    const auto run = [&](const std::string& relation, const std::vector<std::uint32_t>& handles,
                         bool append) {
        command.Set(ids::SetRelativesCommand::RelationName, relation);
        command.SetCollection(ids::SetRelativesCommand::RelativeList, handles);
        command.Set(ids::SetRelativesCommand::Append, append);
        return ThrownBy<COrvRunTimeError>([&] { command.Execute(false); });
    };
    EXPECT_THAT(run("ThingUses", {a.GetHandle()}, false), HasSubstr("SrcObjectHandle 0 names no object"));
    command.Set(ids::SetRelativesCommand::SrcObjectHandle, hub.GetHandle());
    run("ThingUses", {a.GetHandle()}, false);
    run("ThingUses-Targets", {a.GetHandle(), b.GetHandle()}, true);
    EXPECT_THAT(Related(hub, kThingUses), ElementsAre(&a, &b));
    run("thinguses", {b.GetHandle()}, false);
    run("ThingUses-Sources", {a.GetHandle()}, false);
    EXPECT_THAT(Related(a, kThingUses), ElementsAre(&hub));
    EXPECT_THAT(run("Nonsense", {a.GetHandle()}, false), HasSubstr("there is no relation \"Nonsense\""));
    EXPECT_THAT(run("ThingUses", {Project().GetHandle()}, true), HasSubstr("is not part of the data model"));
    EXPECT_THAT(run("ThingUses", {a.GetHandle(), 999999}, true),
                HasSubstr("RelativeList: 999999 names no object"));
    EXPECT_THAT(Related(hub, kThingUses), ElementsAre(&b));
}

TEST_F(CommandTest, WaitTakesItsTimeUnlessItIsCancelled) {
    auto& wait = Make<CWaitCommand>();
    wait.Set(ids::WaitCommand::WaitTime, 90u);
    const auto start = Tasks().GetNow();
    wait.Execute(false);
    EXPECT_EQ(Tasks().GetNow() - start, 90s);
    EXPECT_EQ(wait.GetCommandState(), CCommand::COMMAND_COMPLETED);
    Tasks().PostAfter(7s, [&wait] { wait.Cancel(); });
    wait.Execute(false);
    EXPECT_EQ(Tasks().GetNow() - start, 97s);
    EXPECT_EQ(wait.GetCommandState(), CCommand::COMMAND_CANCELLED);
}

}  // namespace
