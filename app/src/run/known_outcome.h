// What is known of a run while it goes on.
#pragma once

#include <functional>
#include <mutex>

#include "run_outcome.h"

namespace orv::app {

/// The outcome as far as it has come, for a program that has to end in the middle. Thread-safe; needs no
/// other lock.
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

  private:
    mutable std::mutex mutex_;
    RunOutcome outcome_;
};

}  // namespace orv::app
