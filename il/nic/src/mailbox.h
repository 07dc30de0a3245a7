// Work that other threads post to a port's thread.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <vector>

#include "file_descriptor.h"

namespace orv::nic {

class Mailbox {
  public:
    /// Throws NicError.
    Mailbox();

    /// Any thread.
    void post(std::function<void()> work);
    /// Readable while there is work.
    int get_descriptor() const { return event_.get(); }
    /// Runs all work, in order.
    void work_off();

  private:
    FileDescriptor event_;
    std::mutex mutex_;
    std::vector<std::function<void()>> work_;
    std::atomic<bool> has_work_ = false;  ///< saves a system call
};

}  // namespace orv::nic
