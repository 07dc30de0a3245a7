// The task manager with the real clock.
#include <atomic>
#include <thread>

#include "host/aids.h"

namespace host_test {
namespace {

class RealClock : public testing::Test {
  protected:
    RealClock() {
        Tasks().Start(ClockKind::Real);
        Tasks().CtmEnter();
    }
    ~RealClock() override {
        Tasks().CtmExit();
        Tasks().Stop();
    }
};

TEST_F(RealClock, AYieldIsCutForItsTaskAlone) {
    CTask *first = nullptr, *second = nullptr;
    int yields = 0;
    bool second_ended = false;
    Tasks().Post("first", [&] {
        first = Tasks().CtmGetCurrentTask();
        while (yields < 2) {
            Tasks().CtmYield(std::chrono::milliseconds(kTooLong).count());
            ++yields;
        }
    });
    Tasks().Post("second", [&] {
        second = Tasks().CtmGetCurrentTask();
        Tasks().CtmYield(std::chrono::milliseconds(kTooLong).count());
        second_ended = true;
    });
    EXPECT_TRUE(Tasks().WaitUntil([&] { return first && second; }, kTooLong));
    for (int cuts = 1; cuts <= 2; ++cuts) {  // one cut ends one yield
        Tasks().CutYield(first);
        EXPECT_TRUE(Tasks().WaitUntil([&] { return yields == cuts; }, kTooLong));
    }
    EXPECT_FALSE(second_ended);
    Tasks().CutYield(first);  // gone by now
    Tasks().CutYield(second);
    EXPECT_TRUE(Tasks().WaitUntil([&] { return second_ended; }, kTooLong));
}

TEST_F(RealClock, TasksAndMessagesRunOneAtATimeAndTasksInOrderOfPosting) {
    // Plain variables: a second one under way would be a data race and an error of its own.
    int inside = 0, most_inside = 0, ended = 0;
    std::vector<int> begun;
    const auto enter_and_leave = [&] {
        most_inside = std::max(most_inside, ++inside);
        EXPECT_TRUE(Tasks().IsLockHeld());
        --inside;
    };
    constexpr int kTasks = 12;
    constexpr int kRounds = 50;
    for (int task = 0; task < kTasks; ++task) {
        Tasks().Post("task " + std::to_string(task), [&, task] {
            begun.push_back(task);
            for (int round = 0; round < kRounds; ++round) {
                enter_and_leave();
                Tasks().CtmYield(round % 25 == 0 ? 1 : 0);
            }
            ++ended;
        });
    }
    for (int message = 0; message < 200; ++message) {
        Tasks().PostAfter(std::chrono::microseconds(50 * message), [&] {
            enter_and_leave();
            ++ended;
        });
    }
    EXPECT_TRUE(Tasks().WaitUntil([&] { return ended == kTasks + 200; }, kTooLong));
    EXPECT_EQ(most_inside, 1);
    EXPECT_TRUE(std::is_sorted(begun.begin(), begun.end()));
}

TEST_F(RealClock, AYieldGivesTheTurnToWhoeverWaitsLongest) {
    std::vector<int> order;
    for (const int task : {0, 1, 2}) Tasks().Post("task", [&order, task] { order.push_back(task); });
    Tasks().CtmYield(0);
    EXPECT_THAT(order, ElementsAre(0, 1, 2)) << "all were waiting before this thread asked again";
}

TEST_F(RealClock, TheLockIsRecursiveAndAYieldGivesAllOfItUp) {
    bool ran = false;
    Tasks().Post("task", [&ran] { ran = true; });
    {
        const CtmLock second, third;
        Tasks().CtmYield(0);
        EXPECT_TRUE(ran);
    }
    EXPECT_TRUE(Tasks().IsLockHeld()) << "the depth is as it was";
    const auto start = std::chrono::steady_clock::now();
    Tasks().CtmYield(30);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 30ms);
}

TEST_F(RealClock, WaitersLookAgainWhenSomebodyElseHasHadTheLock) {
    bool by_task = false, by_timer = false, by_thread = false;
    std::atomic<bool> by_wake = false;
    Tasks().Post("task", [&by_task] { by_task = true; });
    EXPECT_TRUE(Tasks().WaitUntil([&] { return by_task; }, kTooLong));
    Tasks().PostAfter(5ms, [&by_timer] { by_timer = true; });
    EXPECT_TRUE(Tasks().WaitUntil([&] { return by_timer; }, kTooLong));
    std::thread thread([&] {
        const CtmLock lock;
        by_thread = true;
    });
    EXPECT_TRUE(Tasks().WaitUntil([&] { return by_thread; }, kTooLong));
    thread.join();
    std::thread waker([&] {
        by_wake = true;
        Tasks().Wake();
    });
    EXPECT_TRUE(Tasks().WaitUntil([&] { return by_wake.load(); }, CTaskManager::Nanoseconds::max()));
    waker.join();
    const auto start = Tasks().GetNow();
    EXPECT_FALSE(Tasks().WaitUntil([] { return false; }, 20ms));
    EXPECT_GE(Tasks().GetNow() - start, 20ms);
}

TEST_F(RealClock, TasksThatWaitForEachOtherGoOn) {
    int turn = 0;
    const auto player = [&turn](int parity) {
        return [&turn, parity] {
            for (int round = 0; round < 200; ++round) {
                if (!Tasks().WaitUntil([&] { return turn % 2 == parity; }, kTooLong)) return;
                ++turn;
            }
        };
    };
    Tasks().Post("ping", player(0));
    Tasks().Post("pong", player(1));
    EXPECT_TRUE(Tasks().WaitUntil([&turn] { return turn == 400; }, kTooLong)) << turn;
}

TEST_F(RealClock, TimedWorkRunsInOrderAndNotBeforeItsTime) {
    const auto start = Tasks().GetNow();
    std::vector<int> order;
    for (const int delay : {30, 10, 20, 10}) {
        Tasks().PostAfter(std::chrono::milliseconds(delay), [&, delay] {
            EXPECT_GE(Tasks().GetNow() - start, std::chrono::milliseconds(delay));
            order.push_back(delay);
        });
    }
    EXPECT_TRUE(Tasks().WaitUntil([&order] { return order.size() == 4; }, kTooLong));
    EXPECT_THAT(order, ElementsAre(10, 10, 20, 30));
}

TEST_F(RealClock, WorkCancelledUnderTheLockDoesNotRun) {
    for (int round = 0; round < 100; ++round) {
        auto alive = std::make_shared<bool>(true);
        const auto due = Tasks().GetNow() + std::chrono::microseconds(10 * round);
        const auto id = Tasks().PostAfter(due - Tasks().GetNow(), [alive] { EXPECT_TRUE(*alive); });
        while (Tasks().GetNow() < due) std::this_thread::yield();  // the lock is held here
        Tasks().CancelTimer(id);
        *alive = false;
        Tasks().CtmYield(0);
    }
}

TEST_F(RealClock, ThreadsPostInAnOrderOfTheirOwn) {
    constexpr int kThreads = 4, kEach = 250;
    std::vector<std::pair<int, int>> ran;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&ran, thread] {
            for (int i = 0; i < kEach; ++i)
                Tasks().PostAfter(0ms, [&ran, thread, i] { ran.emplace_back(thread, i); });
        });
    }
    EXPECT_TRUE(Tasks().WaitUntil([&ran] { return ran.size() == kThreads * kEach; }, kTooLong));
    for (std::thread& thread : threads) thread.join();
    for (int thread = 0; thread < kThreads; ++thread) {
        auto of_thread = ran;
        std::erase_if(of_thread, [thread](const auto& each) { return each.first != thread; });
        EXPECT_TRUE(std::is_sorted(of_thread.begin(), of_thread.end())) << thread;
    }
}

TEST_F(RealClock, WithTheReverseLockTwoThreadsNeverWaitForEachOther) {
    // Both take the same two locks in opposite order: one holds the mutex and wants the task lock, the other
    // holds the task lock and wants the mutex.
    std::mutex mutex;
    int guarded = 0, done = 0;
    const auto work = [&] {
        for (int round = 0; round < 300; ++round) {
            CtmReverseLock reverse;
            const std::lock_guard guard(mutex);
            reverse.Retake();
            ++guarded;
        }
        ++done;
    };
    Tasks().Post("first", work);
    Tasks().Post("second", work);
    Tasks().PostAfter(0ms, work);
    EXPECT_TRUE(Tasks().WaitUntil([&done] { return done == 3; }, kTooLong));
    EXPECT_EQ(guarded, 900);
}

TEST_F(RealClock, WorkOnTheMessageThreadMayWaitForMessages) {
    bool answered = false;
    bool seen = false, ended = false;
    std::vector<int> yielded;
    Tasks().PostAfter(0ms, [&] {
        Tasks().PostAfter(2ms, [&answered] { answered = true; });
        seen = Tasks().WaitUntil([&answered] { return answered; }, kTooLong);
        Tasks().PostAfter(1ms, [&yielded] { yielded.push_back(1); });
        Tasks().PostAfter(2ms, [&yielded] { yielded.push_back(2); });
        Tasks().CtmYield(50);
        ended = true;
    });
    EXPECT_TRUE(Tasks().WaitUntil([&ended] { return ended; }, kTooLong));
    EXPECT_TRUE(seen);
    EXPECT_THAT(yielded, ElementsAre(1, 2));
}

TEST_F(RealClock, WhatTasksThrowIsLoggedAndTheyKnowThemselves) {
    const LogCatcher log;
    std::string name;
    bool message_ran = false;
    Tasks().Post("the task", [&name] {
        name = Tasks().CtmGetCurrentTask()->GetName();
        throw std::runtime_error("broken");
    });
    Tasks().PostAfter(1ms, [&message_ran] {
        message_ran = Tasks().CtmGetCurrentTask() == nullptr;
        throw 5;
    });
    EXPECT_TRUE(Tasks().WaitUntil(
        [&] { return log.Has(LogLevelType::Error, "task \"the task\" failed: broken") && message_ran; },
        kTooLong));
    EXPECT_EQ(name, "the task");
    EXPECT_EQ(Tasks().CtmGetCurrentTask(), nullptr);
}

TEST_F(RealClock, CannotBeStoppedByItsOwnWork) {
    Strings refused;
    const auto stop = [&refused] { refused.push_back(ThrownBy<COrvLogicError>([] { Tasks().Stop(); })); };
    Tasks().Post("stopper", stop);
    Tasks().PostAfter(0ms, stop);
    EXPECT_TRUE(Tasks().WaitUntil([&refused] { return refused.size() == 2; }, kTooLong));
    EXPECT_THAT(refused, testing::Each("the task manager cannot be stopped by work that it runs"));
}

TEST(StoppingTheRealClock, WaitsForRunningTasksAndDropsTheRest) {
    for (int round = 0; round < 20; ++round) {
        Tasks().Start(ClockKind::Real);
        std::atomic<bool> begun = false, late = false;
        bool ended = false;
        Tasks().Post("running", [&] {
            begun = true;
            Tasks().CtmYield(5);
            // Messages go on while tasks end.
            bool message = false;
            Tasks().PostAfter(0ms, [&message] { message = true; });
            EXPECT_TRUE(Tasks().WaitUntil([&message] { return message; }, kTooLong));
            ended = true;
        });
        Tasks().PostAfter(1h, [&late] { late = true; });
        while (!begun) std::this_thread::yield();
        {
            const CtmLock held_by_whoever_stops;
            Tasks().Stop();
            EXPECT_TRUE(ended);
            EXPECT_TRUE(Tasks().IsLockHeld());
        }
        EXPECT_EQ(Tasks().PostAfter(0ms, [&late] { late = true; }), 0u);
        EXPECT_FALSE(late);
    }
}

}  // namespace
}  // namespace host_test
