#include "interrupts.h"

#include <unistd.h>

#include <csignal>
#include <ctime>

namespace orv::app {

namespace {

constexpr int kInterruptedStatus = 130;

volatile std::sig_atomic_t interrupts = 0;

/// Whoever stops a program may signal it and its group: that is one interrupt.
constexpr long kApartMs = 300;
volatile std::sig_atomic_t last_ms = 0;

void OnInterrupt(int) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const long now_ms = (now.tv_sec % 1'000'000) * 1000 + now.tv_nsec / 1'000'000;
    if (interrupts > 0 && now_ms - last_ms >= 0 && now_ms - last_ms < kApartMs) return;
    last_ms = static_cast<std::sig_atomic_t>(now_ms);
    interrupts = interrupts + 1;
    if (interrupts < 2) return;
    // What was written of the results stays readable.
    constexpr char text[] = "\nEnded at once; the results are incomplete.\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text, sizeof text - 1);
    _exit(kInterruptedStatus);
}

}  // namespace

void CountInterrupts() {
    struct sigaction action {};
    action.sa_handler = OnInterrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

int GetInterruptCount() {
    return interrupts;
}

}  // namespace orv::app
