// The known outcome of a run in progress.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>

#include "run_outcome.h"

namespace orv::app {

/// The outcome so far, for a program that is aborted during a run. Thread-safe; does not need the task lock.
class KnownOutcome {
  public:
    void Change(const std::function<void(RunOutcome&)>& change) {
        const std::lock_guard guard(mutex_);
        change(outcome_);
    }

    RunOutcome Get() const {
        const std::lock_guard guard(mutex_);
        return outcome_;
    }

    /// True if nothing has to be ended in order: the run has not reached its first test, or is starting the
    /// next one and has not seen the stop request yet; and no host has an address of a server.
    bool IsPreparing() const { return is_preparing_ && !has_addresses_; }
    void SetPreparing(bool preparing) { is_preparing_ = preparing; }
    /// Hosts ask servers for addresses from now on, which they have to give back.
    void SetHasAddresses() { has_addresses_ = true; }

  private:
    std::atomic<bool> is_preparing_ = true;
    std::atomic<bool> has_addresses_ = false;
    mutable std::mutex mutex_;
    RunOutcome outcome_;
};

}  // namespace orv::app
