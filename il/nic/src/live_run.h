// The STBs of a running test on a real network.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "burst.h"
#include "coarse_timeline.h"
#include "flow_table.h"
#include "frame_sink.h"
#include "hash.h"
#include "host_stacks.h"
#include "links.h"
#include "missing_packets.h"
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
#include "query_fan_out.h"
#include "query_gate.h"
#include "reception.h"
#include "sent_frames.h"
#include "server_complaints.h"
#include "server_link.h"

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
    const LivePort::Complain& complain;
};

/// Makes every STB of a plan a membership host of its own, and event records of what happens to its frames.
///
/// A view begins and ends when its join and leave are seen leaving the interface. Its last packet is known
/// when no more packets come, or another STB of the link joins the channel: only then is there a record.
///
/// With fast channel change, a view begins with the request for a burst (live_run_unicast.cpp), and the
/// multicast join follows its trigger. With retransmission, STBs ask for what they miss
/// (live_run_repairs.cpp).
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
    /// A host has no address any more: its view ends without a word, and it views nothing until it has one.
    void on_address_lost(const FormerAddress& before);
    /// A host has another address, or has one again.
    void on_address_changed(const FormerAddress& before, const Host& now);
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
        std::uint32_t flow = kNone;  ///< that it is a viewer of
        bool is_silent = false;      ///< it has no address any more
        bool is_waiting = false;     ///< for one, to begin its next view
    };

    /// From the decision to join until its record is made, which may be during later views.
    struct View {
        std::uint32_t stb = 0;
        std::uint32_t channel = 0;
        FlowTable::Place place;
        std::uint32_t unicast = kNone;  ///< index of its UnicastView, if it has one
        std::uint16_t on_the_way = 0;   ///< frames in flight, not yet seen leaving
        std::uint16_t seen = 0;         ///< joins and leaves seen leaving
        bool unseen = false;            ///< a frame of it was never seen leaving
        bool undecided = false;         ///< the test ended before it was known whether the join failed
        bool joined = false;            ///< the multicast stream
        bool ended_by_test = false;
        bool closed = false;  ///< nothing more is known of the multicast stream
        il::Time planned_join = il::kNever, planned_leave = il::kNever;  ///< kNever: not planned
        il::ViewTimes times;
        il::Packets before;  ///< counted by the reception before the first packet
        il::Packets packets;
    };

    /// What a view of a test with servers has besides its multicast stream.
    struct UnicastView {
        Burst burst;
        MissingPackets missing;
        std::uint32_t media_ssrc = 0;              ///< of the channel, as the server knows it
        std::optional<std::uint32_t> stream_ssrc;  ///< of its multicast stream, once it has come
        il::Time planned_join = il::kNever, planned_leave = il::kNever;
        il::Time join = il::kNever, leave = il::kNever;  ///< seen leaving
        il::Time left_at = 0;                            ///< when the end of the burst was decided
        std::optional<std::uint16_t> first_multicast;    ///< sequence number
        std::uint8_t requests = 0, terminations = 0;     ///< messages sent
        bool has_burst = false;                          ///< it has asked for one, or is about to
        bool repairs = false;                            ///< it asks for lost packets
        bool left = false;                               ///< the burst
        bool all_viewed = false;  ///< recent numbers are after `first_multicast`, which may have wrapped
        bool sends_on = false;    ///< the server, after its end was requested
        bool closed = false;      ///< packets from servers are no longer counted
    };

    enum class Act : std::uint8_t { Join, Leave, UnicastJoin, UnicastLeave, Nack, Repeat };
    struct Ticket {
        std::uint32_t view = kNone;
        Act act = Act::Repeat;
        std::uint32_t nack = 0;
    };
    /// Which channel a server's stream of bursts or repairs is (RFC 4588 wants one for each).
    struct ServerStream {
        std::uint32_t ssrc = 0, media_ssrc = 0;
    };
    /// What an STB of a test with servers has besides its views.
    struct UnicastStb {
        std::uint32_t ssrc = 0;
        std::string cname;
        std::uint16_t port = 0;
        std::array<ServerLink, 2> servers;       ///< by ServerKind
        std::array<il::Time, il::kSteps> due{};  ///< when its next step of each kind is due; kNever: never
        std::uint32_t draining = kNone;          ///< a former view that packets may still come for
        std::uint32_t terminating = kNone;       ///< a view whose burst ends when there is a token
        il::Time late_until = 0;                 ///< a burst may come for a request that was not answered
        std::array<std::uint32_t, 8> asked{};    ///< SSRCs of the channels asked for last
        std::size_t asks = 0;
        std::array<ServerStream, 8> streams;  ///< that came last
        std::size_t stream_count = 0;
        std::uint64_t nacks = 0, repairs = 0;
        std::uint32_t bursts_with_sbit = 0, bursts_without_sbit = 0;  ///< where it is the trigger

        std::optional<std::uint32_t> media_of(std::uint32_t server_ssrc) const;
        void learn(std::uint32_t server_ssrc, std::uint32_t media_ssrc) {
            if (!media_of(server_ssrc)) streams[stream_count++ % streams.size()] = {server_ssrc, media_ssrc};
        }
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
        live::MembershipVersion querier{};    ///< version of the last query that can change that of hosts
        std::uint32_t querier_changes = 0;    ///< how often it was another one than before
    };

    const il::PlannedBlock& block_of(const Stb& stb) const { return plan_.blocks[stb.block]; }
    const il::PlannedChannel& channel_of(const View& view) const {
        return block_of(stbs_[view.stb]).channels[view.channel];
    }

    // Preparation.
    void add_stbs(const std::vector<Host>& hosts, const MembershipSettings& settings, std::uint64_t seed,
                  il::Time start);
    void check_channels(const il::PlannedBlock& block) const;
    Flow& flow_of(const View& view) { return flows_.at(view.place.flow); }
    Reception& reception_of(const View& view) { return flow_of(view).receptions[view.place.reception]; }

    // Decisions of STBs.
    void arm();
    void work_off();
    void take_step(const il::EventQueue::Entry& entry);
    void change_view(const il::EventQueue::Entry& entry);
    void begin_view(std::uint32_t number, il::Time planned);
    void join_multicast(std::uint32_t number, il::Time planned);
    void leave_multicast(std::uint32_t id, il::Time planned);
    void try_end_view(std::uint32_t number, il::Time planned);
    void end_view(Stb& stb, il::Time planned);
    il::Time end_of_view(const Stb& stb);
    void send_report(std::uint32_t number, std::span<const std::byte> frame);
    void send(std::span<const std::byte> frame);

    // Fast channel change.
    void add_servers(const std::vector<Host>& hosts);
    void address_servers(std::uint32_t number, const Host& host);
    std::uint32_t make_unicast_view(const View& view);
    UnicastView* unicast_of(std::uint32_t id);
    void schedule(std::uint32_t number, il::Step step, il::Time time);
    bool is_due(const il::EventQueue::Entry& entry);
    void begin_unicast(std::uint32_t number, il::Time planned);
    void ask_burst(std::uint32_t number);
    bool prepare(std::uint32_t number, ServerKind kind, il::Step next);
    bool ask_token(std::uint32_t number, ServerKind kind, il::Step next);
    void hold(std::uint32_t number, il::Step next, il::Time until);
    void on_hop(std::uint32_t number, ServerKind kind, const std::optional<live::MacAddress>& mac);
    void note_unsent_request(UnicastView& unicast);
    void note_silent_burst(std::uint32_t id);
    void do_without_burst(std::uint32_t number);
    void plan_multicast_join(std::uint32_t number);
    void on_join_due(std::uint32_t number, il::Time planned);
    void on_first_multicast(std::uint32_t id, const Arrival& packet);
    void leave_unicast(std::uint32_t id, il::Time planned);
    void send_termination(std::uint32_t id, Act act);
    ServerLink& server_of(std::uint32_t number, ServerKind kind);
    std::span<std::byte> payload_room(const ServerLink& server);
    void send_to(ServerLink& server, std::size_t length, const Ticket& ticket);
    void complain(std::uint32_t number, ServerKind kind, ServerComplaints::Kind what, std::uint16_t code = 0);
    live::RtcpSender sender_of(const UnicastStb& stb, const ServerLink& server) const;
    void on_unicast_join(std::uint32_t id, il::Time stamp);
    void on_unicast(const live::ParsedFrame& frame, const live::UdpPacket& packet, il::Time stamp);
    void on_server_message(std::uint32_t number, ServerKind kind, std::span<const std::byte> payload);
    std::optional<Burst::Reaction> tell_burst(std::uint32_t number, UnicastView& unicast,
                                              const live::RamsInformation& information);
    void on_information(std::uint32_t number, const live::RamsInformation& information);
    void on_burst_packet(std::uint32_t number, const live::RetransmissionPacket& packet, il::Time stamp);
    void end_unicast(std::uint32_t id, il::Time planned);
    void close_unicast(std::uint32_t id);
    void watch_draining(il::Time now);
    void on_packet_after_leave(std::uint32_t id, std::uint16_t sequence, il::Time stamp);
    bool has_drained(std::uint32_t id, il::Time now);
    bool has_sbit_failed(const View& view) const;

    // Retransmission.
    void note_losses(const Flow& flow, std::size_t reception, const Arrival& arrival, il::Time stamp);
    void look_at_servers();
    void forget_arrived(std::uint32_t id);
    void ask_repair(std::uint32_t number);
    void note_missing(std::uint32_t number, std::uint16_t sequence, std::uint64_t count, il::Time stamp);
    bool on_repair(std::uint32_t number, const live::RetransmissionPacket& packet, il::Time stamp);
    void record_nacks(std::uint32_t id, bool is_final);

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
    void conclude(std::uint32_t id);
    bool is_concluded(const View& view) const {
        return view.closed && (view.unicast == kNone || unicast_views_[view.unicast].closed);
    }
    void release(std::uint32_t id);
    void record(const View& view);
    void fill_in_unicast(const View& view, il::ViewTimes& times, iptvcd_1_bll::stbox_event_s& event) const;
    bool is_undecided(const View& view, il::Time now) const;
    bool is_settled() const;

    il::RunPlan plan_;
    RunContext context_;
    CoarseTimeline coarse_;  ///< of the hosts
    il::Time end_;
    Numbering numbering_;
    bool finishing_ = false;
    il::Time finish_began_ = il::kNever;

    Links links_;
    std::vector<Stb> stbs_;
    std::deque<live::MembershipHost> hosts_;  ///< by STB
    std::vector<Link> by_link_;
    std::unordered_map<LinkAddress, std::uint32_t, LinkAddressHash> own_addresses_;  ///< STBs
    FlowTable flows_;
    AskedViewers::Positions viewer_positions_;  ///< by STB, in the flow that it views
    QueryFanOut fan_out_;

    std::vector<UnicastStb> unicast_stbs_;  ///< by STB, in tests with servers
    std::vector<UnicastView> unicast_views_;
    std::vector<std::uint32_t> free_unicast_views_;
    std::vector<std::uint32_t> draining_;  ///< views that packets from servers may still come for
    ServerComplaints complaints_;
    std::array<std::byte, live::kMaxFrameLength> message_;  ///< frame to a server

    il::EventQueue queue_;
    std::uint64_t timer_ = 0;
    il::Time armed_for_ = il::kNever;
    std::vector<View> views_;
    std::vector<std::uint32_t> free_views_;
    std::vector<Flow*> leavers_;  ///< flows with a leaver; they have a use
    std::uint64_t watch_timer_ = 0;
    SentFrames<Ticket> sent_;
    Ticket current_;  ///< of the next frame of a host
};

}  // namespace orv::nic
