#include "interrupts.h"

#include <unistd.h>

#include <csignal>

namespace orv::app {

namespace {

constexpr int kInterruptedStatus = 130;

volatile std::sig_atomic_t interrupts = 0;

void OnInterrupt(int) {
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
