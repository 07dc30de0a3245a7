// How often a port's thread may wake up.
#pragma once

#include <algorithm>

#include "orv/il/time.h"

namespace orv::nic {

/// A wake-up costs as much as sending ten frames together does. A port with little to do wakes for each timer
/// and frame; one that would do so more than 2,000 times a second does what comes within half a millisecond
/// at once.
class WakePacer {
  public:
    /// The thread has woken up, perhaps early because of mail, and works.
    void on_wake(il::Time now) {
        paid_until_ = std::min(std::max(paid_until_, now) + kInterval, now + kAhead + kInterval);
    }
    /// Not before this time again.
    il::Time get_earliest() const { return paid_until_ - kAhead; }

  private:
    static constexpr il::Time kInterval = 500'000;
    static constexpr il::Time kAhead = 20 * kInterval;  ///< so many in a row may come at any time

    il::Time paid_until_ = 0;
};

}  // namespace orv::nic
