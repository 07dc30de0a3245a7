#include <thread>

#include "host/aids.h"

namespace {

using namespace host_test;  // NOLINT: a test

struct VirtualClock : testing::Test {
    VirtualClock() {
        Tasks().Start(ClockKind::Virtual);
        Tasks().CtmEnter();
    }
    ~VirtualClock() override {
        Tasks().CtmExit();
        Tasks().Stop();
    }

    /// Notes name and time (in ms) when the work runs.
    std::function<void()> Note(const std::string& name) {
        return [this, name] { NoteNow(name); };
    }
    void NoteNow(const std::string& name) { trace_ += name + std::to_string(Tasks().GetNow() / 1ms) + " "; }
    void NoteTask() {
        CTask* const task = Tasks().CtmGetCurrentTask();
        NoteNow(task ? task->GetName() : "none");
    }

    std::string trace_;
};

TEST_F(VirtualClock, RunsWorkByTimeAndThenByOrderOfPosting) {
    Tasks().PostAfter(20ms, Note("c"));
    Tasks().PostAfter(10ms, Note("a"));
    Tasks().PostAfter(20ms, Note("d"));
    Tasks().PostAfter(10ms, [this] {
        NoteNow("b");
        Tasks().PostAfter(0ms, Note("e"));
    });
    Tasks().Post("task", Note("t"));
    Tasks().PostAfter(-5ms, Note("n"));
    Tasks().PostAfter(31ms, Note("x"));
    EXPECT_EQ(trace_, "") << "work runs while somebody waits";
    Tasks().CtmYield(30);
    EXPECT_EQ(trace_, "t0 n0 a10 b10 e10 c20 d20 ");
    EXPECT_EQ(Tasks().GetNow(), 30ms);
    Tasks().CtmYield(1);
    EXPECT_EQ(trace_, "t0 n0 a10 b10 e10 c20 d20 x31 ");
    EXPECT_EQ(CTimer::GetCurrentSystemTimeInSec(), 946684800.031) << "it starts at the year 2000";
}

TEST_F(VirtualClock, AYieldOfNoTimeRunsWhatIsThereOnce) {
    int runs = 0;
    std::function<void()> again = [&] {
        ++runs;
        Tasks().PostAfter(0ms, again);
    };
    Tasks().PostAfter(0ms, again);
    Tasks().PostAfter(1ms, Note("later"));
    Tasks().CtmYield(0);
    EXPECT_EQ(runs, 1);
    Tasks().CtmYield(0);
    EXPECT_EQ(runs, 2);
    EXPECT_EQ(trace_, "");
    EXPECT_EQ(Tasks().GetNow(), 0ms);
}

TEST_F(VirtualClock, WorkThatWaitsRunsOtherWorkWithinItsWait) {
    const auto note_around = [this](int wait) {
        NoteTask();
        Tasks().CtmYield(wait);
        NoteTask();
    };
    Tasks().Post("outer", [=] { note_around(10); });
    Tasks().Post("inner", [=] { note_around(100); });
    Tasks().PostAfter(50ms, [this] { NoteTask(); });
    Tasks().CtmYield(5);
    NoteTask();
    EXPECT_EQ(trace_, "outer0 inner0 none50 inner100 outer100 none100 ") << "time never goes back";
}

TEST_F(VirtualClock, WaitUntilEndsWhenTheConditionHoldsOrItsTimeIsOver) {
    bool flag = false;
    const auto ready = [&flag] { return flag; };
    Tasks().PostAfter(10ms, Note("a"));
    Tasks().PostAfter(20ms, [&flag] { flag = true; });
    Tasks().PostAfter(30ms, Note("b"));

    EXPECT_FALSE(Tasks().WaitUntil(ready, 15ms));
    EXPECT_EQ(Tasks().GetNow(), 15ms);
    EXPECT_TRUE(Tasks().WaitUntil(ready, 1h));
    EXPECT_EQ(Tasks().GetNow(), 20ms);
    EXPECT_TRUE(Tasks().WaitUntil(ready, 1h)) << "true from the start";
    EXPECT_EQ(Tasks().GetNow(), 20ms);
    EXPECT_FALSE(Tasks().WaitUntil([] { return false; }, 1h)) << "runs out of work";
    EXPECT_EQ(Tasks().GetNow(), 20ms + 1h);
    EXPECT_FALSE(Tasks().WaitUntil([] { return false; }, CTaskManager::Nanoseconds::max()))
        << "for ever, but nothing is left to run";
    EXPECT_EQ(Tasks().GetNow(), 20ms + 1h);
    EXPECT_EQ(trace_, "a10 b30 ");
}

TEST_F(VirtualClock, CancelledWorkDoesNotRun) {
    const auto cancelled = Tasks().PostAfter(10ms, Note("cancelled"));
    std::uint64_t second = 0;
    Tasks().PostAfter(20ms, [&] {
        NoteNow("first");
        Tasks().CancelTimer(second);
    });
    second = Tasks().PostAfter(20ms, Note("second"));
    Tasks().CancelTimer(cancelled);
    Tasks().CancelTimer(cancelled);
    Tasks().CancelTimer(123456789);
    Tasks().CtmYield(50);
    EXPECT_EQ(trace_, "first20 ");
}

TEST_F(VirtualClock, TheLockIsGivenUpWhileWaitingWhateverItsDepth) {
    const CtmLock second, third;
    bool held = false;
    Tasks().PostAfter(0ms, [&] { held = Tasks().IsLockHeld(); });
    {
        CtmReverseLock reverse;
        EXPECT_FALSE(Tasks().IsLockHeld());
        std::thread([] { const CtmLock mine; }).join();
        reverse.Retake();
        std::thread([] { EXPECT_FALSE(Tasks().IsLockHeld()); }).join();
    }
    Tasks().CtmYield(1);
    EXPECT_TRUE(held && Tasks().IsLockHeld());
}

TEST_F(VirtualClock, OtherThreadsMayPostButNotWait) {
    std::thread([this] {
        Tasks().PostAfter(1ms, Note("posted"));
        EXPECT_NE(ThrownBy<COrvLogicError>([] { Tasks().CtmYield(1); }), "nothing thrown");
    }).join();
    Tasks().CtmYield(1);
    EXPECT_EQ(trace_, "posted1 ");
    std::string refused;
    Tasks().Post("stopper", [&] { refused = ThrownBy<COrvLogicError>([] { Tasks().Stop(); }); });
    Tasks().CtmYield(0);
    EXPECT_EQ(refused, "the task manager cannot be stopped by work that it runs");
    EXPECT_EQ(ThrownBy<COrvLogicError>([] { Tasks().Start(ClockKind::Real); }),
              "the task manager runs already");
}

TEST(StoppedTaskManager, RefusesTasksAndDropsTimers) {
    Tasks().Start(ClockKind::Virtual, 5s);
    bool ran = false;
    Tasks().PostAfter(0ms, [&ran] { ran = true; });
    Tasks().Stop();
    EXPECT_EQ(Tasks().PostAfter(0ms, [&ran] { ran = true; }), 0u);
    EXPECT_EQ(ThrownBy<COrvLogicError>([] { Tasks().Post("t", [] {}); }),
              "task \"t\" needs a running task manager");
    Tasks().Start(ClockKind::Virtual, 5s);
    Tasks().CtmYield(10);
    EXPECT_EQ(Tasks().GetSystemTime(), 5s + 10ms);
    EXPECT_FALSE(ran);
    Tasks().Stop();
}

}  // namespace
