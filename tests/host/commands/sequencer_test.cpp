#include "orv/framework/sequencer.h"

#include "host/host_fixture.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/framework_ids.h"

namespace {

using namespace host_test;  // NOLINT: a test

struct SequencerTest : HostTest {
    static CSequencer& Sequencer() { return CSequencer::Instance(); }

    /// A command that notes its name and, when it has a time to take, can be cancelled.
    TestCommand& Step(const std::string& name, std::chrono::seconds time = 0s,
                      CScriptable* parent = nullptr) {
        TestCommand& command = MakeCommand(name, parent);
        command.on_run = [this, &command, name, time] {
            trace_ += name + " ";
            command.Set(kCancellable, true);
            Tasks().WaitUntil([&command] { return command.GetProgressCancelled(); }, time);
        };
        return command;
    }
    /// Returns the text of what is thrown.
    static std::string Insert(const ScriptableVec& commands) {
        std::vector<std::uint32_t> handles;
        for (const CScriptable* command : commands) handles.push_back(command->GetHandle());
        return ThrownBy<COrvRunTimeError>([&] { Sequencer().InsertCommands(handles); });
    }
    static std::string Clear() {
        return ThrownBy<COrvRunTimeError>([] { Sequencer().Clear(true); });
    }
    void Run() {
        Sequencer().Start();
        Sequencer().WaitForEnd();
    }
    std::string GetSequence() {
        const auto commands = Sequencer().GetCommands();
        return NamesOf({commands.begin(), commands.end()});
    }

    std::string trace_;
};

TEST_F(SequencerTest, RunsItsCommandsInOrderOfInsertion) {
    TestCommand &c = Step("c"), &off = Step("off");
    off.Set(kActive, false);
    TestCommand& a = Step("a", 5s);
    Insert({&a, &off});
    Insert({&c});
    EXPECT_EQ(c.GetParent(), &Sequencer());
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_IDLE);
    Sequencer().Start();
    EXPECT_EQ(trace_, "") << "Start returns at once";
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_RUNNING);
    Sequencer().WaitForEnd();
    EXPECT_EQ(trace_, "a c ");
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_COMPLETED);
    EXPECT_EQ(Sequencer().GetErrorText(), "");
    Run();
    EXPECT_EQ(trace_, "a c a c ");
}

TEST_F(SequencerTest, StopCancelsTheRunningCommandAndLeavesOutTheRest) {
    TestCommand &a = Step("a", 10s), &b = Step("b", 10s), &c = Step("c", 10s);
    Insert({&a, &b, &c});
    Tasks().PostAfter(15s, [] {
        Sequencer().Stop();
        EXPECT_TRUE(Sequencer().IsStopping());
        EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_RUNNING);
    });
    Run();
    EXPECT_EQ(trace_, "a b ");
    EXPECT_EQ(Tasks().GetNow(), 15s);
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_STOPPED);
    EXPECT_EQ(a.GetCommandState(), CCommand::COMMAND_COMPLETED);
    EXPECT_EQ(b.GetCommandState(), CCommand::COMMAND_CANCELLED);
    EXPECT_EQ(c.GetCommandState(), CCommand::COMMAND_IDLE);
    trace_.clear();
    Run();
    EXPECT_EQ(trace_, "a b c ") << "a stop is for one run";
}

TEST_F(SequencerTest, StoppedBeforeItBeganItRunsNothing) {
    TestCommand& a = Step("a");
    Insert({&a});
    Sequencer().Start();
    Sequencer().Stop();
    Sequencer().WaitForEnd();
    EXPECT_EQ(trace_, "");
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_STOPPED);
}

TEST_F(SequencerTest, RefusesWhatIsNoCommandAndThenAppendsNone) {
    TestCommand& a = Step("a");
    CScriptable& thing = MakeThing("thing");
    EXPECT_EQ(Insert({&a, &thing}), "the handle " + std::to_string(thing.GetHandle()) + " names no command");
    EXPECT_THAT(Insert({&a, &a}), HasSubstr("is in the sequence already"));
    EXPECT_EQ(GetSequence(), "");
    EXPECT_EQ(a.GetParent(), &Project());
    Insert({&a});
    EXPECT_THAT(Insert({&a}), HasSubstr("is in the sequence already"));
    EXPECT_EQ(GetSequence(), "a");
    Sequencer().Clear(false);
    EXPECT_EQ(GetSequence(), "");
    EXPECT_EQ(a.GetParent(), &Project()) << "given back";
    Insert({&a});
    const std::uint32_t handle = a.GetHandle();
    Sequencer().Clear(true);
    EXPECT_EQ(CHandleRegistry::Instance().Find(handle), nullptr);
}

TEST_F(SequencerTest, WhileItRunsItIsNeitherEmptiedNorStartedAgain) {
    TestCommand& a = MakeCommand("a");
    a.on_run = [&] {
        EXPECT_EQ(Clear(), "the sequence cannot be emptied while it runs");
        EXPECT_EQ(ThrownBy<COrvRunTimeError>([] { Sequencer().Start(); }), "the sequence runs already");
    };
    Insert({&a});
    Run();
    EXPECT_EQ(a.runs, 1);
}

TEST_F(SequencerTest, NoCommandIsDestroyedWhileAnotherIsUnderWay) {
    TestCommand& first = Step("first");
    auto& loop = Make<CSequencerLoopCommand>();
    TestCommand& by_hand = MakeCommand("by hand", &loop);
    Insert({&first, &loop});
    const auto try_to_clear = [&] {
        EXPECT_EQ(Clear(), "the sequence cannot be emptied while TestCommand \"by hand\" is under way");
        EXPECT_THAT(Sequencer().GetCommands(), ElementsAre(&first, &loop));
        EXPECT_FALSE(first.IsDeleted());
    };
    by_hand.on_run = try_to_clear;
    by_hand.Execute(true);
    try_to_clear();
    Tasks().CtmYield(1);
    EXPECT_EQ(by_hand.runs, 1);
    Sequencer().Clear(true);
    EXPECT_EQ(GetSequence(), "");
}

struct LoopTest : SequencerTest {
    CSequencerLoopCommand& MakeLoop(const std::string& name, std::uint32_t count,
                                    CScriptable* parent = nullptr) {
        auto& loop = Make<CSequencerLoopCommand>(parent);
        loop.Set("Name", name);
        loop.Set(orv::ids::SequencerLoopCommand::IterationCount, count);
        return loop;
    }
};

TEST_F(LoopTest, StopReachesTheInnermostCommand) {
    auto &loop = MakeLoop("loop", 0), &inner = MakeLoop("inner", 0, &loop);
    TestCommand &a = Step("a", 10s, &inner), &last = Step("last");
    Insert({&loop, &last});
    Tasks().PostAfter(25s, [] { Sequencer().Stop(); });
    Run();
    EXPECT_EQ(trace_, "a a a ");
    EXPECT_EQ(Tasks().GetNow(), 25s);
    for (const CCommand* command : std::initializer_list<CCommand*>{&a, &inner, &loop})
        EXPECT_EQ(command->GetCommandState(), CCommand::COMMAND_CANCELLED) << command->GetName();
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_STOPPED);
}

TEST_F(LoopTest, AFailureEndsTheSequenceAndNamesTheWayToIt) {
    auto& loop = MakeLoop("loop", 5);
    Step("a", 0s, &MakeLoop("inner", 2, &loop));
    TestCommand &bad = MakeCommand("bad", &loop), &good = Step("good");
    bad.on_run = [&bad] {
        if (bad.runs == 2) throw COrvRunTimeError("out of luck");
    };
    Insert({&loop, &good});
    Run();
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_FAILED);
    EXPECT_EQ(Sequencer().GetErrorText(), "loop: bad: out of luck");
    EXPECT_EQ(trace_, "a a a a ");
    EXPECT_EQ(loop.GetU32(orv::ids::SequencerLoopCommand::CurrentIteration), 2u);
    Run();
    EXPECT_EQ(bad.runs, 2 + 5);
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_COMPLETED);
    EXPECT_EQ(Sequencer().GetErrorText(), "");
}

TEST_F(LoopTest, CancellingTheLoopAloneLetsTheSequenceGoOn) {
    auto& loop = MakeLoop("loop", 0);
    Step("a", 10s, &loop);
    TestCommand& last = Step("last");
    Insert({&loop, &last});
    Tasks().PostAfter(5s, [&loop] { loop.Cancel(); });
    Run();
    EXPECT_EQ(trace_, "a last ");
    EXPECT_EQ(Sequencer().GetSequencerState(), CSequencer::SEQUENCER_COMPLETED);
}

}  // namespace
