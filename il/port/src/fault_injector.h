// Decides which fault of a schedule is due.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/il/faults.h"

namespace orv::il {

/// Counts the matches of each fault of the schedule. Every call counts as one occurrence.
class FaultInjector {
  public:
    explicit FaultInjector(FaultSchedule schedule);

    struct OnRequest {
        bool refuse = false;
        bool lose_response = false;
        bool repeat_response = false;
        bool go_offline = false;
        std::uint32_t delay_ms = 0;  ///< of the response
    };
    /// `operation`: request name without message set.
    OnRequest on_request(const std::string& operation);

    struct OnNotification {
        bool spoil = false;
        bool lose = false;
        bool repeat = false;
        bool go_offline = false;
        std::uint32_t delay_ms = 0;
    };
    OnNotification on_notification(bool is_results);

    struct OnEndOfTest {
        bool miss = false;
        bool repeat = false;
        std::uint32_t delay_ms = 0;
    };
    OnEndOfTest on_end_of_test();

  private:
    struct Waiting {
        Fault fault;
        std::uint32_t met = 0;
    };
    /// Counts an occurrence; true if the fault is due.
    static bool is_due(Waiting& waiting) { return ++waiting.met == waiting.fault.occurrence; }

    std::vector<Waiting> waiting_;
};

}  // namespace orv::il
