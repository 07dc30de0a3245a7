#include "lab_common/process.h"

#include <sched.h>
#include <sys/prctl.h>

namespace orv::lab {

sigset_t CatchSignals(std::initializer_list<int> signals, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigset_t caught, before;
    sigemptyset(&caught);
    for (const int signal : signals) {
        sigaction(signal, &action, nullptr);
        sigaddset(&caught, signal);
    }
    sigprocmask(SIG_BLOCK, &caught, &before);
    for (const int signal : signals) sigdelset(&before, signal);
    return before;
}

void KeepTime() {
    prctl(PR_SET_TIMERSLACK, 1);  // otherwise every wait may be 50 us longer
    sched_param priority{};
    priority.sched_priority = 1;
    sched_setscheduler(0, SCHED_FIFO, &priority);  // needs privileges; optional
}

}  // namespace orv::lab
