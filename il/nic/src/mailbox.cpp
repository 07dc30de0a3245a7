#include "mailbox.h"

#include <sys/eventfd.h>

#include <cstring>

#include "orv/nic/live_port.h"

namespace orv::nic {

Mailbox::Mailbox() : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (event_.get() < 0) throw NicError(std::string("no event descriptor: ") + std::strerror(errno));
}

void Mailbox::post(std::function<void()> work) {
    const std::lock_guard lock(mutex_);
    work_.push_back(std::move(work));
    has_work_.store(true, std::memory_order_release);
    // It fails only if it is readable already.
    [[maybe_unused]] const int done = ::eventfd_write(event_.get(), 1);
}

void Mailbox::work_off() {
    if (!has_work_.load(std::memory_order_acquire)) return;
    std::vector<std::function<void()>> work;
    {
        const std::lock_guard lock(mutex_);
        work.swap(work_);
        has_work_.store(false, std::memory_order_relaxed);
        eventfd_t posted = 0;
        [[maybe_unused]] const int done = ::eventfd_read(event_.get(), &posted);
    }
    for (const auto& each : work) each();
}

}  // namespace orv::nic
