// The results manager's mutex.
#pragma once

#include <boost/thread/mutex.hpp>

#include "orv/framework/task_manager.h"

namespace orv::iptv {

/// Holds a mutex while it lives. The task lock is given up while it waits and taken again once the mutex is
/// held, so that nobody who holds the mutex waits for the task lock of somebody who waits for the mutex.
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
