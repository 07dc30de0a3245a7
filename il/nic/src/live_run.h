// The STBs of a running test on a real network.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "frame_sink.h"
#include "hash.h"
#include "host_stacks.h"
#include "links.h"
#include "next_hops.h"
#include "orv/il/event_queue.h"
#include "orv/il/result_report.h"
#include "orv/il/run_plan.h"
#include "orv/il/tick_counter.h"
#include "orv/il/view_record.h"
#include "orv/il/world.h"
#include "orv/live/frame_parser.h"
#include "orv/live/membership_host.h"
#include "orv/nic/live_port.h"
#include "query_gate.h"
#include "reception.h"
#include "sent_frames.h"

namespace orv::nic {

/// What a run uses and does not own.
struct RunContext {
    il::ITimeline& timeline;
    FrameSink& sink;
    const il::TickCounter& counter;
    il::ResultReport& report;
    LiveFigures& figures;
    std::size_t mtu;  ///< of IP packets of hosts, bytes
    NextHops& hops;   ///< forget those who wait when the run is over
    const UnicastSettings& unicast;
};

/// Makes every STB of a plan a membership host of its own, and event records of what happens to its frames.
///
/// A view begins and ends when its join and leave are seen leaving the interface. Its last packet is known
/// when no more packets come, or another STB of the link joins the channel: only then is there a record.
class LiveRun : public il::Run {
  public:
    /// `hosts`: by STB of the port. Throws PortFault if a host does not use its block's protocol, or that
    /// protocol cannot express a channel's group and sources.
    LiveRun(il::RunPlan plan, const std::vector<Host>& hosts, const MembershipSettings& settings,
            std::uint64_t seed, il::Time start, const RunContext& context);
    /// Leaves every group that is still joined.
    ~LiveRun() override;

    il::Time end() const override { return end_; }
    void run_to(il::Time) override {}
    void channels_change(il::Time, const std::function<void()>& change) override { change(); }
    il::Time finish(il::Time time) override;

    /// A frame of this machine was seen leaving at `stamp`.
    void on_sent(std::span<const std::byte> frame, il::Time stamp);
    /// A frame came in at `stamp`.
    void on_frame(const live::ParsedFrame& frame, il::Time stamp);
    /// A report of one of the older versions, for all hosts except `sender`.
    void on_report(const live::VlanTags& vlan, const live::IpAddress& group, const live::MacAddress& sender);

  private:
    static constexpr std::uint32_t kNone = UINT32_MAX;

    struct Stb {
        il::Random random;
        il::Time last_leave = il::kNever;  ///< planned
        std::uint32_t index = 0;           ///< within its block, from 0
        std::uint32_t block = 0;
        std::uint32_t link = 0;
        std::uint32_t channel = 0;
        std::uint32_t views = 0;     ///< begun
        std::uint32_t view = kNone;  ///< the current one
    };

    /// From the decision to join until its record is made, which may be during later views.
    struct View {
        std::uint32_t stb = 0;
        std::uint32_t channel = 0;
        std::uint32_t reception = 0;
        std::uint8_t on_the_way = 0;  ///< frames in flight, not yet seen leaving
        std::uint8_t seen = 0;        ///< frames seen leaving
        bool unseen = false;          ///< a frame of it was never seen leaving
        bool undecided = false;       ///< the test ended before it was known whether the join failed
        bool closed = false;          ///< its record, if any, is made
        il::Time planned_join = il::kNever, planned_leave = il::kNever;  ///< kNever: not planned
        il::ViewTimes times;
        il::Packets before;  ///< counted by the reception before the first packet
        il::Packets packets;
    };

    enum class Act : std::uint8_t { Join, Leave, Repeat };
    struct Ticket {
        std::uint32_t view = kNone;
        Act act = Act::Repeat;
    };
    /// One group on one link.
    struct Flow {
        std::vector<std::uint32_t> receptions;  ///< one for each choice of sources
        std::vector<std::uint32_t> viewers;     ///< STBs
        std::uint32_t members = 0;              ///< views, of all receptions
        std::uint32_t leaver = kNone;           ///< last view to leave, while packets may still come
    };
    struct LinkAddress {
        std::uint32_t link;
        live::IpAddress address;
        bool operator==(const LinkAddress&) const = default;
    };
    struct LinkAddressHash {
        std::size_t operator()(const LinkAddress& key) const;
    };
    struct Link {
        std::vector<std::uint32_t> stbs;
        QueryGate general_queries;
        il::Time querier_noted = il::kNever;  ///< when all hosts were last told about an older querier
    };

    const il::PlannedBlock& block_of(const Stb& stb) const { return plan_.blocks[stb.block]; }
    const il::PlannedChannel& channel_of(const View& view) const {
        return block_of(stbs_[view.stb]).channels[view.channel];
    }

    // Preparation.
    void add_stbs(const std::vector<Host>& hosts, const MembershipSettings& settings, std::uint64_t seed,
                  il::Time start);
    void add_groups();
    void check_channels(const il::PlannedBlock& block) const;
    Flow* find_flow(std::uint32_t link, const live::IpAddress& group);
    Flow& flow_of(const View& view);
    std::uint32_t reception_of(const View& view);

    // Decisions of STBs.
    void arm();
    void work_off();
    void begin_view(std::uint32_t number, il::Time planned);
    void try_end_view(std::uint32_t number, il::Time planned);
    void end_view(Stb& stb, il::Time planned);
    void send(std::span<const std::byte> frame);

    // Events on the network.
    void on_join(std::uint32_t id, il::Time stamp);
    void on_leave(std::uint32_t id, il::Time stamp, bool told);
    void on_packet(const live::ParsedFrame& frame, const live::UdpPacket& packet, il::Time stamp);
    void on_query(const live::VlanTags& vlan, const live::MembershipQuery& query);
    void note_lateness(il::Time planned, il::Time stamp);
    void resolve_leaver(Flow& flow, bool is_known);
    void watch();
    void forget_unseen(il::Time sent_before);

    // Records of views.
    std::uint32_t make_view();
    void close(std::uint32_t id);
    void release(std::uint32_t id);
    void record(const View& view);
    bool is_undecided(const View& view, il::Time now) const;
    bool is_settled() const;

    il::RunPlan plan_;
    RunContext context_;
    il::Time end_;
    Numbering numbering_;
    bool finishing_ = false;
    il::Time finish_began_ = il::kNever;

    Links links_;
    std::vector<Stb> stbs_;
    std::deque<live::MembershipHost> hosts_;  ///< by STB
    std::vector<Link> by_link_;
    std::unordered_map<LinkAddress, std::uint32_t, LinkAddressHash> own_addresses_;  ///< STBs
    std::vector<SourceChoice> choices_;    ///< by filter of the plan
    std::vector<live::IpAddress> groups_;  ///< by subscription of the plan
    std::unordered_map<live::IpAddress, std::vector<std::uint32_t>, AddressHash> subscriptions_;
    std::unordered_map<LinkAddress, Flow, LinkAddressHash> flows_;
    std::vector<Reception> receptions_;
    std::vector<std::uint32_t> subscription_of_;  ///< by reception

    il::EventQueue queue_;
    std::uint64_t timer_ = 0;
    il::Time armed_for_ = il::kNever;
    std::vector<View> views_;
    std::vector<std::uint32_t> free_views_;
    std::vector<Flow*> leavers_;  ///< flows with a leaver
    std::uint64_t watch_timer_ = 0;
    SentFrames<Ticket> sent_;
    Ticket current_;  ///< of the next frame of a host
};

}  // namespace orv::nic
