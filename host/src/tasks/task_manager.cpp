#include "orv/framework/task_manager.h"

#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <utility>

#include "log/framework_log.h"
#include "orv/common/exceptions.h"
#include "task_manager_real.h"
#include "task_manager_virtual.h"

namespace orv::framework {

namespace {

thread_local CTask* task_of_this_thread = nullptr;

/// Work that runs within another task's wait is not that task.
class CurrentTask {
  public:
    explicit CurrentTask(CTask* task) : outer_(std::exchange(task_of_this_thread, task)) {}
    ~CurrentTask() { task_of_this_thread = outer_; }
    CurrentTask(const CurrentTask&) = delete;
    CurrentTask& operator=(const CurrentTask&) = delete;

  private:
    CTask* outer_;
};

class WorkTask : public CTask {
  public:
    WorkTask(std::string name, std::function<void()> work) : name_(std::move(name)), work_(std::move(work)) {}
    void Run() override { work_(); }
    const std::string& GetName() const override { return name_; }

  private:
    std::string name_;
    std::function<void()> work_;
};

}  // namespace

void RunTaskGuarded(CTask& task) {
    const CurrentTask current(&task);
    try {
        task.Run();
    } catch (...) {
        LogError([&] {
            return fmt::format("task \"{}\" failed: {}", task.GetName(),
                               DescribeException(std::current_exception()));
        });
    }
}

void RunWorkGuarded(const std::function<void()>& work) {
    const CurrentTask current(nullptr);
    try {
        work();
    } catch (...) {
        LogError([&] { return "timed work failed: " + DescribeException(std::current_exception()); });
    }
}

CTask* GetTaskOfThisThread() {
    return task_of_this_thread;
}

CTask::~CTask() = default;

struct CTaskManager::Impl {
    TaskLock lock;
    // Both live as long as the manager, so that a thread that posts while the manager stops finds a clock
    // that rejects it, and not a destroyed one.
    RealTaskClock real{lock};
    VirtualTaskClock simulated{lock};
    std::atomic<ClockKind> kind = ClockKind::Real;

    TaskClock& Clock() {
        if (kind == ClockKind::Virtual) return simulated;
        return real;
    }
};

CTaskManager::CTaskManager() : impl_(std::make_unique<Impl>()) {}
CTaskManager::~CTaskManager() = default;

CTaskManager& CTaskManager::Instance() {
    // Never destroyed: threads of a program that ends without stopping it may still use it.
    static auto* const manager = new CTaskManager;
    return *manager;
}

void CTaskManager::Start(ClockKind kind, Nanoseconds start) {
    if (impl_->Clock().IsRunning()) throw common::COrvLogicError("the task manager runs already");
    impl_->kind = kind;
    impl_->Clock().Start(start);
}

void CTaskManager::Stop() {
    impl_->Clock().Stop();
}
ClockKind CTaskManager::GetClockKind() const {
    return impl_->kind;
}

void CTaskManager::Post(std::shared_ptr<CTask> task) {
    if (!impl_->Clock().IsRunning()) {
        throw common::COrvLogicError(
            fmt::format("task \"{}\" needs a running task manager", task->GetName()));
    }
    impl_->Clock().Post(std::move(task));
}

void CTaskManager::Post(const std::string& name, std::function<void()> work) {
    Post(std::make_shared<WorkTask>(name, std::move(work)));
}

std::uint64_t CTaskManager::PostAfter(Nanoseconds delay, std::function<void()> work) {
    return impl_->Clock().PostAfter(delay, std::move(work));
}

void CTaskManager::CancelTimer(std::uint64_t id) {
    impl_->Clock().CancelTimer(id);
}

void CTaskManager::CtmEnter() {
    impl_->lock.Enter();
}

void CTaskManager::CtmExit() {
    if (impl_->lock.Exit()) impl_->Clock().OnLockReleased();
}

bool CTaskManager::IsLockHeld() const {
    return impl_->lock.IsHeldByThisThread();
}

void CTaskManager::CtmYield(int milliseconds, CTask*, bool) {
    impl_->Clock().Yield(std::chrono::milliseconds(milliseconds));
}

void CTaskManager::CutYield(const CTask* task) {
    impl_->Clock().CutYield(task);
}

bool CTaskManager::WaitUntil(const std::function<bool()>& ready, Nanoseconds timeout) {
    return impl_->Clock().WaitUntil(ready, timeout);
}

void CTaskManager::Wake() {
    impl_->Clock().Wake();
}
CTask* CTaskManager::CtmGetCurrentTask() const {
    return task_of_this_thread;
}
CTaskManager::Nanoseconds CTaskManager::GetNow() const {
    return impl_->Clock().GetNow();
}
CTaskManager::Nanoseconds CTaskManager::GetSystemTime() const {
    return impl_->Clock().GetSystemTime();
}

int CTaskManager::ReleaseAll() {
    const int depth = impl_->lock.ReleaseAll();
    if (depth > 0) impl_->Clock().OnLockReleased();
    return depth;
}

void CTaskManager::Reacquire(int depth) {
    impl_->lock.Reacquire(depth);
}

double CTimer::GetCurrentSystemTimeInSec() {
    return std::chrono::duration<double>(CTaskManager::Instance().GetSystemTime()).count();
}

std::uint64_t CThread::GetCurrentThreadId() {
    return static_cast<std::uint64_t>(::gettid());
}

}  // namespace orv::framework
