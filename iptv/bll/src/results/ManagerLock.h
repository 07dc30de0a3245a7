// Lock for the results manager's mutex.
#pragma once

#include <boost/thread/mutex.hpp>

#include "orv/framework/task_manager.h"

namespace orv::iptv {

/// Scoped lock. Releases the task lock while waiting for the mutex and takes it again under the mutex: a
/// thread that holds the mutex may wait for the task lock, so waiting for the mutex with the task lock held
/// would deadlock.
class ManagerLock {
  public:
    explicit ManagerLock(boost::mutex& mutex) : reverse_(), lock_(mutex) { reverse_.Retake(); }
    ManagerLock(const ManagerLock&) = delete;
    ManagerLock& operator=(const ManagerLock&) = delete;

  private:
    framework::CtmReverseLock reverse_;
    boost::unique_lock<boost::mutex> lock_;
};

}  // namespace orv::iptv
