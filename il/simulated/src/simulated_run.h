// The STBs of a running test.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "orv/il/event_queue.h"
#include "orv/il/result_report.h"
#include "orv/il/run_plan.h"
#include "orv/il/tick_counter.h"
#include "orv/il/view_record.h"
#include "orv/il/world.h"
#include "retransmissions.h"
#include "stream_table.h"

namespace orv::il {

/// Emulates the STBs of a plan.
class SimulatedRun : public Run {
  public:
    /// `network`, `counter` and `report` outlive the run. `seed` is the port's, `port` its name.
    SimulatedRun(RunPlan plan, const Network& network, const std::string& port, std::uint64_t seed,
                 Time start, const TickCounter& counter, ResultReport& report);

    Time end() const override { return end_; }
    /// Records of views that ended are in the report.
    void run_to(Time time) override;
    void channels_change(Time time, const std::function<void()>& change) override;
    /// Ends all views that are running at `time`. Those whose first packet is still in flight are not
    /// recorded: their joins have neither failed nor succeeded.
    Time finish(Time time) override;

  private:
    /// An STB and its view. A hundred bytes at most: a port has many thousands.
    struct Stb {
        Random random;
        Time last_leave = kNever;  ///< of the previous channel
        Time join = kNever;
        Time first = kNever;  ///< multicast packet
        Time unicast_join = kNever;
        Time unicast_first = kNever;
        Time unicast_last = kNever;  ///< if known from the start; the end of the view may be earlier
        Time sbit_first = kNever;
        Time next_nack = 0;       ///< earliest time
        std::uint32_t index = 0;  ///< within its block, from 0
        std::uint32_t block = 0;
        std::uint32_t link = 0;
        std::uint32_t channel = 0;
        std::uint32_t views = 0;  ///< begun
        bool viewing : 1 = false;
        bool member : 1 = false;       ///< of the channel's stream
        bool join_lost : 1 = false;    ///< no packets follow
        bool burst_lost : 1 = false;   ///< no packets follow the unicast join
        bool sbit_late : 1 = false;    ///< later than allowed
        bool interrupted : 1 = false;  ///< has an entry in interruptions_
    };
    static_assert(sizeof(Stb) <= 100);

    /// Interruption of a view whose channel was no longer sent.
    struct Interruption {
        Time stopped = kNever;          ///< multicast
        Time resumed = kNever;          ///< multicast, after `stopped`; may be still to come
        Time silence = 0;               ///< multicast, before `stopped`
        Time unicast_stopped = kNever;  ///< permanently: a burst answers a single request
    };
    /// New streams that a behaviour of the network was asked for within a second.
    struct JoinCount {
        Time second = kNever;
        double joins = 0;
    };
    enum class Ending : std::uint8_t { OfView, OfTest };

    const PlannedBlock& block_of(const Stb& stb) const { return plan_.blocks[stb.block]; }
    const PlannedChannel& channel_of(const Stb& stb) const { return block_of(stb).channels[stb.channel]; }
    const NetworkBehaviour& network_of(const PlannedChannel& channel) const {
        return *behaviours_[channel.group_index];
    }
    bool is_sent(const PlannedChannel& channel) const { return sent_[channel.subscription]; }

    // Schedule of an STB.
    void begin_view(std::uint32_t number, Time now);
    void join_multicast(std::uint32_t number, Time now);
    bool exceeds_capacity(const NetworkBehaviour& network, Time now);
    Time enter_stream(Stb& stb, Time now, bool is_new);
    void schedule(std::uint32_t number, Time now);
    void schedule_next(std::uint32_t number, Time now);

    // Fast channel change.
    void begin_unicast(Stb& stb, Time now);
    void begin_burst(Stb& stb, Time now);
    void draw_sbit(Stb& stb, Time burst);
    Time multicast_join_time(const Stb& stb) const;
    bool waits_for_sbit() const;
    Time unicast_leave_time(const Stb& stb) const;
    bool has_left_unicast(const Stb& stb, Time now) const;
    void leave_unicast(Stb& stb, Time now, Ending ending, ViewTimes& view);

    // Changes of the channels that are sent.
    std::vector<bool> ask_what_is_sent() const;
    void cut_streams(Time now);
    void lose_source(std::uint32_t number, Time now);
    void find_source(std::uint32_t number, Time now);
    void add_interruption(const Stb& stb, Time now, ViewTimes& view) const;

    // End and record of a view.
    bool awaits_packet(const Stb& stb, Time now) const;
    void end_view(Stb& stb, Time now, Ending ending);
    void leave_multicast(Stb& stb, Time now, ViewTimes& view);
    void record(Stb& stb, const ViewTimes& view);
    void record_nacks(Stb& stb, const ViewTimes& view, std::uint64_t lost);
    std::uint32_t number_of(const Stb& stb) const { return static_cast<std::uint32_t>(&stb - stbs_.data()); }

    RunPlan plan_;
    const Network& network_;
    std::vector<const NetworkBehaviour*> behaviours_;  ///< by group
    const TickCounter& counter_;
    ResultReport& report_;
    std::vector<bool> sent_;  ///< by subscription
    StreamTable streams_;
    Retransmissions retransmissions_;
    EventQueue queue_;
    std::vector<Stb> stbs_;
    std::unordered_map<std::uint32_t, Interruption> interruptions_;       ///< by number of the STB
    std::unordered_map<const NetworkBehaviour*, JoinCount> join_counts_;  ///< of those with a capacity
    Time start_;
    Time end_;
};

}  // namespace orv::il
