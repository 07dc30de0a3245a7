// The STBs of a running test.
#pragma once

#include <cstdint>
#include <vector>

#include "event_queue.h"
#include "result_report.h"
#include "retransmissions.h"
#include "stream_table.h"
#include "test_plan.h"
#include "tick_counter.h"
#include "view_record.h"

namespace orv::il {

/// Emulates the STBs of a plan from event to event. Deterministic: it asks nobody for the time.
class TestRun {
  public:
    /// `network`, `counter` and `report` outlive the run. `seed` is the port's.
    TestRun(TestPlan plan, const Network& network, std::uint64_t seed, Time start, const TickCounter& counter,
            ResultReport& report);

    Time end() const { return end_; }
    /// Works off everything before `time`; records of views that ended are in the report.
    void run_to(Time time);
    /// Ends all views that are running at `time`.
    void finish(Time time);

  private:
    /// An STB and its view. A hundred bytes at most: a port has many thousands.
    struct Stb {
        Random random;
        Time last_leave = kNever;  ///< of the previous channel
        Time join = kNever;
        Time first = kNever;
        Time unicast_join = kNever;
        Time unicast_first = kNever;
        Time sbit_first = kNever;
        Time unicast_leave = kNever;  ///< when its trigger has come; the end of the view may be earlier
        std::uint32_t index = 0;      ///< within its block
        std::uint32_t block = 0;
        std::uint32_t link = 0;
        std::uint32_t channel = 0;
        std::uint32_t views = 0;  ///< begun
        bool viewing = false;
        bool member = false;  ///< of the channel's stream
        bool sbit_failure = false;
    };
    static_assert(sizeof(Stb) <= 100);

    const PlannedBlock& block_of(const Stb& stb) const { return plan_.blocks[stb.block]; }
    const PlannedChannel& channel_of(const Stb& stb) const { return block_of(stb).channels[stb.channel]; }
    bool is_sent(const PlannedChannel& channel) const;

    void begin_view(std::uint32_t number, Time now);
    void choose_channel(Stb& stb);
    void begin_unicast(Stb& stb, Time now);
    void draw_sbit(Stb& stb, const NetworkBehaviour& network);
    Time multicast_join_time(const Stb& stb) const;
    void join_multicast(std::uint32_t number, Time now);
    Time schedule_end(std::uint32_t number, Time reference);
    Time interval_of(const Stb& stb) const;
    void end_view(Stb& stb, Time now);
    void schedule_next(std::uint32_t number, Time now);
    void leave_multicast(Stb& stb, Time now, ViewTimes& view);
    void leave_unicast(Stb& stb, Time now, ViewTimes& view) const;
    void record(Stb& stb, const ViewTimes& view);
    template <class Event>
    void identify(const Stb& stb, Event& event) const;

    TestPlan plan_;
    const Network& network_;
    const TickCounter& counter_;
    ResultReport& report_;
    StreamTable streams_;
    Retransmissions retransmissions_;
    EventQueue queue_;
    std::vector<Stb> stbs_;
    Time end_;
};

}  // namespace orv::il
