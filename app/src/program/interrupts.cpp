#include "interrupts.h"

#include <semaphore.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <thread>
#include <utility>

namespace orv::app {

namespace {

constexpr int kInterruptedStatus = 130;
/// A program and its process group may both be signalled: that counts as one interrupt.
constexpr long kApartMs = 300;
/// Time for a run to end by itself before checking whether there is anything to end.
constexpr long kGraceMs = 120;
/// Time limit for the work before the exit.
constexpr unsigned kPatienceSeconds = 1;

// Signals come on any thread.
std::atomic<int> interrupts = 0;
std::atomic<long> last_ms = 0;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<long>::is_always_lock_free);
sem_t interrupted;  ///< posted by each signal

void EndWith(int status) {
    // Results written so far stay readable.
    constexpr char text[] = "\nEnded at once; the results are incomplete.\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text, sizeof text - 1);
    _exit(status);
}

void EndAtOnce(int) {
    EndWith(kInterruptedStatus);
}

void OnInterrupt(int) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long now_ms = now.tv_sec * 1000 + now.tv_nsec / 1'000'000;
    if (interrupts > 0 && now_ms - last_ms < kApartMs) return;
    last_ms = now_ms;
    const int count = ++interrupts;
    if (count > 2) EndAtOnce(0);
    if (count == 2) alarm(kPatienceSeconds);
    sem_post(&interrupted);
}

void WaitForInterrupt() {
    while (sem_wait(&interrupted) != 0) {
    }
}

/// False on time-out.
bool WaitForInterrupt(long ms) {
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += ms * 1'000'000;
    until.tv_sec += until.tv_nsec / 1'000'000'000;
    until.tv_nsec %= 1'000'000'000;
    while (sem_timedwait(&interrupted, &until) != 0) {
        if (errno == ETIMEDOUT) return false;
    }
    return true;
}

}  // namespace

void CountInterrupts(std::function<bool()> has_nothing_to_end, std::function<int()> break_off) {
    sem_init(&interrupted, 0, 0);
    std::thread([has_nothing_to_end = std::move(has_nothing_to_end), break_off = std::move(break_off)] {
        WaitForInterrupt();
        if (!WaitForInterrupt(kGraceMs)) {
            if (has_nothing_to_end()) {
                alarm(kPatienceSeconds);
            } else {
                WaitForInterrupt();
            }
        }
        EndWith(break_off());
    }).detach();
    struct sigaction action {};
    action.sa_handler = EndAtOnce;
    sigaction(SIGALRM, &action, nullptr);
    action.sa_handler = OnInterrupt;
    action.sa_flags = SA_RESTART;  // opening or reading a file does not fail with EINTR
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    struct sigaction before {};
    sigaction(SIGHUP, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(SIGHUP, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
}

int GetInterruptCount() {
    return interrupts;
}

}  // namespace orv::app
