// Fast channel change: requests for bursts, their packets, and when multicast takes over.
#include <fmt/format.h>

#include <algorithm>

#include "channel_ssrc.h"
#include "live_run.h"
#include "orv/il/port_fault.h"
#include "orv/nic/addresses.h"

namespace orv::nic {

using namespace iptvcd_1_bll;  // NOLINT: the records are what this file is about
using il::kMillisecond;
using il::kNever;
using il::kSecond;
using il::Step;
using il::Time;

namespace {

/// A request is repeated after this time, and again after twice and four times as long. RFC 4585 section 3.5
/// allows that: 5 % of the bandwidth of a channel of 2 Mbit/s is a message of 120 bytes every 10 ms.
constexpr Time kFirstRepetition = 100 * kMillisecond;
constexpr std::uint8_t kMostRequests = 3;
/// Packets that come so long after a termination are answered by another one.
constexpr Time kTerminationWay = 200 * kMillisecond;
constexpr std::uint8_t kMostTerminations = 3;
/// A burst is over when nothing has come for this long after its end was requested.
constexpr Time kQuietBurst = 300 * kMillisecond;
constexpr Time kLongestBurstEnd = 2 * kSecond;
/// Without an upper bound for the S-bit, an STB joins when the burst has stopped without one.
constexpr Time kStoppedBurst = kSecond;
/// It does not wait longer than that, whatever comes.
constexpr Time kLongestSbit = 10 * kSecond;
/// A server that could not be reached, or gave no token, is asked again after this time.
constexpr Time kAskAgain = 5 * kSecond;
/// A burst may still come for a request that was not answered.
constexpr Time kLatestAnswer = 10 * kSecond;

/// Delays after a trigger; a negative one is none.
Time delay_ms(std::int32_t count) {
    return std::max(count, 0) * kMillisecond;
}

}  // namespace

std::optional<std::uint32_t> LiveRun::UnicastStb::media_of(std::uint32_t server_ssrc) const {
    const auto end = streams.begin() + static_cast<std::ptrdiff_t>(std::min(stream_count, streams.size()));
    const auto found = std::find_if(streams.begin(), end,
                                    [&](const ServerStream& stream) { return stream.ssrc == server_ssrc; });
    if (found == end) return {};
    return found->media_ssrc;
}

void LiveRun::add_servers(const std::vector<Host>& hosts) {
    unicast_stbs_.resize(stbs_.size());
    for (std::uint32_t number = 0; number < stbs_.size(); ++number) {
        Stb& stb = stbs_[number];
        const settopBlockConfig_s& config = block_of(stb).config;
        UnicastStb& own = unicast_stbs_[number];
        own.due.fill(kNever);
        own.ssrc = static_cast<std::uint32_t>(stb.random.next());
        own.cname = fmt::format("{:016x}@{}", stb.random.next(), hosts[number].address.ip.ToString());
        own.port =
            static_cast<std::uint16_t>(config.udp_source_port + stb.index * config.udp_source_port_step);
        const auto set = [&](ServerKind kind, const ipAddress_t& address, std::uint16_t port) {
            ServerLink& server = own.servers[static_cast<std::size_t>(kind)];
            server.flow.source = hosts[number].address;
            server.flow.destination = ToLiveAddress(address);
            server.flow.source_port = own.port;
            server.flow.destination_port = port;
            if (server.flow.destination.IsV6() != hosts[number].address.ip.IsV6() ||
                server.flow.destination.IsUnspecified() || server.flow.destination.IsMulticast())
                throw il::PortFault(il::FaultCode::BadValue,
                                    fmt::format("STB block {}: {} cannot be the server of hosts like {}",
                                                config.stblock_handle, server.flow.destination.ToString(),
                                                hosts[number].address.ip.ToString()));
        };
        if (plan_.uses_unicast()) set(ServerKind::Burst, config.fcc_server_address, config.fcc_server_port);
        if (plan_.retransmits() && !config.rrr_stbConfig.empty() && config.rrr_stbConfig[0].stbNackEnable)
            set(ServerKind::Repair, config.rrr_stbConfig[0].rrrServerAddr,
                config.rrr_stbConfig[0].rrrServerPort);
        address_servers(number, hosts[number]);
    }
}

/// From the host's address, over its gateway.
void LiveRun::address_servers(std::uint32_t number, const Host& host) {
    for (ServerLink& server : unicast_stbs_[number].servers) {
        if (server.flow.destination.IsUnspecified()) continue;
        server.flow.source = host.address;
        server.next_hop = next_hop(host, server.flow.destination);
        server.hop = ServerLink::Hop::Unknown;
        // A token is for the address that asked for it (RFC 6284 section 4.2).
        server.token_expires = kNever;
        server.token_due = kNever;
        if (host.gateway_mac && server.next_hop == host.gateway) {
            server.flow.destination_mac = *host.gateway_mac;
            server.hop = ServerLink::Hop::Configured;
        }
    }
}

/// kNone for a view that needs no server.
std::uint32_t LiveRun::make_unicast_view(const View& view) {
    if (unicast_stbs_.empty()) return kNone;
    const il::PlannedChannel& channel = channel_of(view);
    const auto& repairs = block_of(stbs_[view.stb]).config.rrr_stbConfig;
    const bool asks =
        plan_.retransmits() && channel.nack_enable && !repairs.empty() && repairs[0].stbNackEnable;
    if (!asks && !plan_.uses_unicast()) return kNone;
    if (free_unicast_views_.empty()) {
        free_unicast_views_.push_back(static_cast<std::uint32_t>(unicast_views_.size()));
        unicast_views_.emplace_back();
    }
    const std::uint32_t index = free_unicast_views_.back();
    free_unicast_views_.pop_back();
    UnicastView& unicast = unicast_views_[index];
    MissingPackets missing = std::move(unicast.missing);  // its memory
    unicast = {};
    unicast.missing = std::move(missing);
    unicast.missing.restart(asks ? MissingPackets::Settings{il::ms(repairs[0].nackDelay),
                                                            il::ms(repairs[0].nackInterval),
                                                            repairs[0].nackSeqBits}
                                 : MissingPackets::Settings{});
    unicast.burst = Burst(context_.unicast.sbit, numbering_ == Numbering::Signature);
    unicast.repairs = asks;
    unicast.has_burst = plan_.uses_unicast();
    unicast.media_ssrc = ssrc_of(context_.unicast, channel.number, flows_.get_group(channel.subscription));
    return index;
}

LiveRun::UnicastView* LiveRun::unicast_of(std::uint32_t id) {
    if (id == kNone || views_[id].unicast == kNone) return nullptr;
    return &unicast_views_[views_[id].unicast];
}

/// The next step of this kind; replaces the former one.
void LiveRun::schedule(std::uint32_t number, Step step, Time time) {
    Time& due = unicast_stbs_[number].due[static_cast<std::size_t>(step)];
    if (due == time) return;
    due = time;
    if (time != kNever) queue_.push({time, number, step});
}

/// False for a step that was replaced.
bool LiveRun::is_due(const il::EventQueue::Entry& entry) {
    Time& due = unicast_stbs_[entry.stb].due[static_cast<std::size_t>(entry.step)];
    if (due != entry.time) return false;
    due = kNever;
    return true;
}

// Requests.

void LiveRun::begin_unicast(std::uint32_t number, Time planned) {
    const Stb& stb = stbs_[number];
    const profileConfig_s& profile = block_of(stb).profile;
    for (const Step step : {Step::JoinMulticast, Step::AskBurst, Step::LeaveUnicast, Step::AskRepair})
        schedule(number, step, kNever);
    unicast_of(stb.view)->planned_join = planned;
    ask_burst(number);
    // A view that ends an interval after its first multicast packet has no end before its join.
    if (profile.unicast_only || profile.zap_interval_type != ZapIntervalType::MTL)
        queue_.push({end_of_view(stb), number, Step::End});
}

void LiveRun::ask_burst(std::uint32_t number) {
    const Stb& stb = stbs_[number];
    UnicastView* unicast = unicast_of(stb.view);
    if (!unicast || unicast->left || unicast->burst.state() != Burst::State::Requested) return;
    if (unicast->requests == kMostRequests) {
        ++context_.figures.bursts_unanswered;
        complain(number, ServerKind::Burst, ServerComplaints::Kind::Unanswered);
        return do_without_burst(number);
    }
    if (!prepare(number, ServerKind::Burst, Step::AskBurst)) return;
    UnicastStb& own = unicast_stbs_[number];
    ServerLink& server = server_of(number, ServerKind::Burst);
    live::RamsRequest request{.media_ssrc = unicast->media_ssrc};
    if (const auto level = block_of(stb).config.min_buffer_level; level > 0) request.min_buffer_ms = level;
    if (context_.unicast.max_bitrate > 0) request.max_bitrate = context_.unicast.max_bitrate;
    const std::size_t length = live::WriteRamsRequest(payload_room(server), sender_of(own, server), request);
    const bool is_first = unicast->requests++ == 0;
    if (is_first) {
        ++context_.figures.bursts_requested;
        own.asked[own.asks++ % own.asked.size()] = unicast->media_ssrc;
    }
    const Time now = context_.timeline.GetNow().count();
    send_to(server, length, is_first ? Ticket{stb.view, Act::UnicastJoin} : Ticket{});
    schedule(number, Step::AskBurst, now + (kFirstRepetition << (unicast->requests - 1)));
}

/// Whether a message can be sent. If not, `next` follows when it can, or it is known that it never can.
bool LiveRun::prepare(std::uint32_t number, ServerKind kind, Step next) {
    ServerLink& server = server_of(number, kind);
    const Time now = context_.timeline.GetNow().count();
    if (server.hop == ServerLink::Hop::Unreachable && now >= server.ask_again)
        server.hop = ServerLink::Hop::Unknown;
    if (server.hop == ServerLink::Hop::Unknown || server.hop == ServerLink::Hop::Known) {
        // A known address may have changed: it costs one look-up.
        const bool was_known = std::exchange(server.hop, ServerLink::Hop::Asked) == ServerLink::Hop::Known;
        context_.hops.resolve(
            server.flow.source, server.next_hop,
            [this, number, kind](const std::optional<live::MacAddress>& mac) { on_hop(number, kind, mac); });
        if (was_known && server.hop == ServerLink::Hop::Asked) server.hop = ServerLink::Hop::Known;
    }
    switch (server.hop) {
        case ServerLink::Hop::Unknown:
        case ServerLink::Hop::Asked:
            server.waiting = next;
            return false;
        case ServerLink::Hop::Unreachable:
            hold(number, next, server.ask_again);
            return false;
        case ServerLink::Hop::Known:
        case ServerLink::Hop::Configured:
            break;
    }
    return !context_.unicast.port_mapping || server.token_at(now) || ask_token(number, kind, next);
}

/// What cannot be sent now: a request for a burst is given up.
void LiveRun::hold(std::uint32_t number, Step next, Time until) {
    if (next != Step::AskBurst) return schedule(number, next, until);
    const UnicastView* unicast = unicast_of(stbs_[number].view);
    if (unicast && !unicast->left) do_without_burst(number);
}

/// False, and `next` follows with the answer or when another request is due.
bool LiveRun::ask_token(std::uint32_t number, ServerKind kind, Step next) {
    ServerLink& server = server_of(number, kind);
    const Time now = context_.timeline.GetNow().count();
    server.waiting = next;
    if (server.token_due != kNever && now < server.token_due) {
        if (server.requests == 0) {  // none was given a moment ago
            hold(number, next, server.token_due);
        } else {
            schedule(number, next, server.token_due);
        }
        return false;
    }
    if (server.requests == kMostRequests) {
        server.requests = 0;
        server.token_due = now + kAskAgain;
        complain(number, kind, ServerComplaints::Kind::NoToken);
        hold(number, next, server.token_due);
        return false;
    }
    // Repetitions have the same nonce (RFC 6284 section 4.1).
    if (server.requests == 0) server.nonce = stbs_[number].random.next() | 1;
    const std::size_t length = live::WritePortMappingRequest(
        payload_room(server), sender_of(unicast_stbs_[number], server), server.nonce);
    send_to(server, length, {});
    server.token_due = now + (kFirstRepetition << server.requests++);
    schedule(number, next, server.token_due);
    return false;
}

void LiveRun::on_hop(std::uint32_t number, ServerKind kind, const std::optional<live::MacAddress>& mac) {
    ServerLink& server = server_of(number, kind);
    const Time now = context_.timeline.GetNow().count();
    if (mac) {
        server.hop = ServerLink::Hop::Known;
        server.flow.destination_mac = *mac;
    } else {
        server.hop = ServerLink::Hop::Unreachable;
        server.ask_again = now + kAskAgain;
        complain(number, kind, ServerComplaints::Kind::Unreachable);
    }
    const auto next = std::exchange(server.waiting, std::nullopt);
    UnicastView* unicast = unicast_of(stbs_[number].view);
    if (!next || !unicast || finishing_) return;
    // Whoever waited for an address is not late.
    if (*next == Step::AskBurst && unicast->requests == 0) unicast->planned_join = now;
    schedule(number, *next, now);
    arm();
}

/// There is no burst to wait for: what it would have triggered happens now.
void LiveRun::do_without_burst(std::uint32_t number) {
    const Stb& stb = stbs_[number];
    const Time now = context_.timeline.GetNow().count();
    UnicastView& unicast = *unicast_of(stb.view);
    unicast.burst.give_up();
    schedule(number, Step::AskBurst, kNever);
    note_unsent_request(unicast);
    if (!views_[stb.view].joined && !block_of(stb).profile.unicast_only)
        schedule(number, Step::JoinMulticast, now);
}

/// A request that could not be sent has failed.
void LiveRun::note_unsent_request(UnicastView& unicast) {
    if (unicast.join != kNever || unicast.requests > 0) return;
    unicast.join = unicast.planned_join;
    ++context_.figures.bursts_unanswered;
}

ServerLink& LiveRun::server_of(std::uint32_t number, ServerKind kind) {
    return unicast_stbs_[number].servers[static_cast<std::size_t>(kind)];
}

std::span<std::byte> LiveRun::payload_room(const ServerLink& server) {
    return std::span(message_).subspan(live::UdpPayloadOffset(server.flow));
}

live::RtcpSender LiveRun::sender_of(const UnicastStb& stb, const ServerLink& server) const {
    return {.ssrc = stb.ssrc,
            .cname = stb.cname,
            .reduced_size = context_.unicast.reduced_size && server.knows_us,
            .token = server.token_at(context_.timeline.GetNow().count())};
}

/// A message of `length` bytes that is in payload_room().
void LiveRun::send_to(ServerLink& server, std::size_t length, const Ticket& ticket) {
    const std::size_t frame = live::WriteUdpHeaders(message_, server.flow, length);
    current_ = ticket;
    server.knows_us = true;
    send(std::span(message_).first(frame));
}

void LiveRun::complain(std::uint32_t number, ServerKind kind, ServerComplaints::Kind what,
                       std::uint16_t code) {
    const ServerLink& server = server_of(number, kind);
    const Stb& stb = stbs_[number];
    complaints_.add(what,
                    {server.flow.destination, server.flow.destination_port,
                     block_of(stb).config.stblock_handle, stb.index + 1},
                    code);
}

// Triggers.

/// The request for the burst has left.
void LiveRun::on_unicast_join(std::uint32_t id, Time stamp) {
    UnicastView& unicast = *unicast_of(id);
    unicast.join = stamp;
    const std::uint32_t number = views_[id].stb;
    if (stbs_[number].view != id) return;
    const profileConfig_s& profile = block_of(stbs_[number]).profile;
    if (plan_.test.mcast_join_trigger == MulticastJoinTriggerType::UNICAST_JOIN_AND_DELAY &&
        !profile.unicast_only && !views_[id].joined)
        schedule(number, Step::JoinMulticast, stamp + delay_ms(profile.mcast_join_trigger_delay));
    if (plan_.test.unicast_leave_trigger == UnicastLeaveTriggerType::UNICAST_JOIN_AND_DELAY &&
        !profile.unicast_only && !profile.unicast_stay)
        schedule(number, Step::LeaveUnicast, stamp + delay_ms(profile.unicast_leave_trigger_delay));
    plan_multicast_join(number);
    arm();
}

/// With the S-bit as the trigger: when it has come, or should have come.
void LiveRun::plan_multicast_join(std::uint32_t number) {
    const Stb& stb = stbs_[number];
    const profileConfig_s& profile = block_of(stb).profile;
    if (plan_.test.mcast_join_trigger != MulticastJoinTriggerType::SBIT_AND_DELAY || profile.unicast_only ||
        views_[stb.view].joined)
        return;
    const Burst& burst = unicast_of(stb.view)->burst;
    Time trigger = burst.first_with_sbit();
    if (trigger == kNever) trigger = burst.announced_sbit();
    if (trigger == kNever) {
        const Time longest =
            plan_.test.max_sbit_delay > 0 ? il::ms(plan_.test.max_sbit_delay) : kStoppedBurst;
        // Without a bound, the time counts from the last packet: on_join_due() moves it.
        const UnicastView& unicast = *unicast_of(stb.view);
        trigger = (burst.first() != kNever ? burst.first() : unicast.join) + longest;
    }
    schedule(number, Step::JoinMulticast, trigger + delay_ms(profile.mcast_join_trigger_delay));
}

void LiveRun::on_join_due(std::uint32_t number, Time planned) {
    const Stb& stb = stbs_[number];
    if (stb.view == kNone || views_[stb.view].joined) return;
    const Burst& burst = unicast_of(stb.view)->burst;
    const Time now = context_.timeline.GetNow().count();
    const bool waits = plan_.test.mcast_join_trigger == MulticastJoinTriggerType::SBIT_AND_DELAY &&
                       plan_.test.max_sbit_delay == 0 && burst.state() == Burst::State::Accepted &&
                       burst.first() != kNever && burst.first_with_sbit() == kNever &&
                       burst.announced_sbit() == kNever && now - burst.first() < kLongestSbit;
    if (waits && now - burst.last() < kStoppedBurst) {
        schedule(number, Step::JoinMulticast, std::max(burst.last() + kStoppedBurst, now + kMillisecond));
        return;
    }
    join_multicast(number, planned);
    if (block_of(stb).profile.zap_interval_type == ZapIntervalType::MTL)
        queue_.push({end_of_view(stb), number, Step::End});
}

void LiveRun::on_first_multicast(std::uint32_t id, const Arrival& packet) {
    UnicastView* unicast = unicast_of(id);
    if (!unicast) return;
    if (packet.is_numbered) {
        unicast->first_multicast = packet.sequence;
        unicast->stream_ssrc = packet.ssrc;
        unicast->burst.note_multicast(packet.sequence);
    }
    const std::uint32_t number = views_[id].stb;
    if (!unicast->has_burst || unicast->left || stbs_[number].view != id) return;
    const profileConfig_s& profile = block_of(stbs_[number]).profile;
    if (plan_.test.unicast_leave_trigger != UnicastLeaveTriggerType::MULTICAST_PKT_AND_DELAY ||
        profile.unicast_stay)
        return;
    const Time from = std::max(views_[id].times.first, views_[id].times.join);
    schedule(number, Step::LeaveUnicast, from + delay_ms(profile.unicast_leave_trigger_delay));
    arm();
}

void LiveRun::leave_unicast(std::uint32_t id, Time planned) {
    UnicastView* unicast = unicast_of(id);
    if (!unicast || !unicast->has_burst || unicast->left) return;
    unicast->left = true;
    unicast->planned_leave = planned;
    // A refused request needs no end (RFC 6285 section 6.2, step 9), one that was never sent has none.
    const bool is_silent = stbs_[views_[id].stb].is_silent;
    if (is_silent || unicast->burst.state() == Burst::State::Refused || unicast->requests == 0) {
        unicast->leave = context_.timeline.GetNow().count();
        return;
    }
    unicast->left_at = context_.timeline.GetNow().count();
    if (context_.unicast.port_mapping &&
        !server_of(views_[id].stb, ServerKind::Burst).token_at(unicast->left_at)) {
        // The end of the burst follows with the token.
        unicast_stbs_[views_[id].stb].terminating = id;
        ask_token(views_[id].stb, ServerKind::Burst, Step::AskBurst);
        return;
    }
    send_termination(id, Act::UnicastLeave);
}

void LiveRun::send_termination(std::uint32_t id, Act act) {
    UnicastView& unicast = *unicast_of(id);
    const std::uint32_t number = views_[id].stb;
    ServerLink& server = server_of(number, ServerKind::Burst);
    ++unicast.terminations;
    // The view goes on: the burst ends where multicast began. Otherwise at once.
    const bool goes_on = stbs_[number].view == id;
    const std::optional<std::uint32_t> until = goes_on && unicast.first_multicast
                                                   ? std::optional<std::uint32_t>(*unicast.first_multicast)
                                                   : std::nullopt;
    const std::size_t length = live::WriteRamsTermination(
        payload_room(server), sender_of(unicast_stbs_[number], server), unicast.media_ssrc, until);
    send_to(server, length, act == Act::Repeat ? Ticket{} : Ticket{id, act});
}

/// The STB has left the channel.
void LiveRun::end_unicast(std::uint32_t id, Time planned) {
    const std::uint32_t number = views_[id].stb;
    UnicastView& unicast = *unicast_of(id);
    for (const Step step : {Step::JoinMulticast, Step::AskBurst, Step::LeaveUnicast, Step::AskRepair})
        schedule(number, step, kNever);
    if (unicast.has_burst) note_unsent_request(unicast);
    leave_unicast(id, planned);
    if (unicast.repairs) forget_arrived(id);
    unicast.missing.end(context_.timeline.GetNow().count());
    UnicastStb& own = unicast_stbs_[number];
    if (const std::uint32_t former = std::exchange(own.draining, id); former != kNone) close_unicast(former);
    draining_.push_back(id);
    if (watch_timer_ == 0) watch();
}

void LiveRun::close_unicast(std::uint32_t id) {
    UnicastView& unicast = *unicast_of(id);
    if (unicast.closed) return;
    record_nacks(id, true);
    unicast.closed = true;
    // It left before it had asked for the last time, and no answer came later either.
    if (unicast.has_burst && unicast.requests > 0 && unicast.burst.state() == Burst::State::Requested &&
        !views_[id].undecided) {
        ++context_.figures.bursts_unanswered;
        complain(views_[id].stb, ServerKind::Burst, ServerComplaints::Kind::Unanswered);
    }
    note_silent_burst(id);
    // The frame that should have ended the burst is still in flight.
    if (unicast.has_burst && unicast.leave == kNever) unicast.leave = context_.timeline.GetNow().count();
    UnicastStb& own = unicast_stbs_[views_[id].stb];
    if (own.draining == id) own.draining = kNone;
    if (own.terminating == id) own.terminating = kNone;
    if (unicast.has_burst && unicast.requests > 0 && unicast.burst.first() == kNever &&
        unicast.burst.state() != Burst::State::Refused)
        own.late_until = context_.timeline.GetNow().count() + kLatestAnswer;
    std::erase(draining_, id);
    conclude(id);
}

/// A server that accepts a request and sends nothing; look_at_servers() needs the others.
void LiveRun::note_silent_burst(std::uint32_t id) {
    const UnicastView& unicast = *unicast_of(id);
    const View& view = views_[id];
    if (!unicast.has_burst || unicast.burst.state() != Burst::State::Accepted || view.undecided ||
        view.ended_by_test)
        return;
    if (unicast.burst.first() == kNever) {
        complain(view.stb, ServerKind::Burst, ServerComplaints::Kind::NoPackets);
    } else if (plan_.test.mcast_join_trigger == MulticastJoinTriggerType::SBIT_AND_DELAY) {
        UnicastStb& own = unicast_stbs_[view.stb];
        ++(unicast.burst.first_with_sbit() != kNever ? own.bursts_with_sbit : own.bursts_without_sbit);
    }
}

/// Whether nothing more comes from servers.
bool LiveRun::has_drained(std::uint32_t id, Time now) {
    const UnicastView& unicast = *unicast_of(id);
    if (unicast.missing.is_waiting(now)) return false;
    if (!unicast.has_burst || unicast.join == kNever) return true;
    if (unicast.leave == kNever) return unicast.left && now - unicast.left_at >= kLongestBurstEnd;
    const Time since = std::max(unicast.burst.last(), unicast.leave);
    return now - since >= kQuietBurst || now - unicast.leave >= kLongestBurstEnd;
}

void LiveRun::watch_draining(Time now) {
    for (std::size_t i = draining_.size(); i > 0; --i)
        if (has_drained(draining_[i - 1], now)) close_unicast(draining_[i - 1]);
}

// What servers send.

void LiveRun::on_unicast(const live::ParsedFrame& frame, const live::UdpPacket& packet, Time stamp) {
    if (unicast_stbs_.empty()) return;
    const auto link = links_.find(frame.vlan);
    const auto found = link ? own_addresses_.find({*link, packet.destination}) : own_addresses_.end();
    if (found == own_addresses_.end()) return;
    const std::uint32_t number = found->second;
    const UnicastStb& own = unicast_stbs_[number];
    if (packet.destination_port != own.port) return;
    const auto is_from = [&](ServerKind kind) {
        return server_of(number, kind).is_from_here(packet.source, packet.source_port);
    };
    const bool from_burst = plan_.uses_unicast() && is_from(ServerKind::Burst);
    const bool from_repair = plan_.retransmits() && is_from(ServerKind::Repair);
    if (!from_burst && !from_repair) return;
    if (live::IsRtcp(packet.payload))
        return on_server_message(number, from_burst ? ServerKind::Burst : ServerKind::Repair, packet.payload);
    const auto sent_again = live::ReadRetransmission(packet.payload);
    if (!sent_again) return;
    if (from_repair && on_repair(number, *sent_again, stamp)) return;
    if (from_burst) on_burst_packet(number, *sent_again, stamp);
}

void LiveRun::on_server_message(std::uint32_t number, ServerKind kind, std::span<const std::byte> payload) {
    UnicastStb& own = unicast_stbs_[number];
    ServerLink& server = server_of(number, kind);
    const Time now = context_.timeline.GetNow().count();
    for (const live::RtcpMessage& message : live::ReadRtcp(payload)) {
        if (const auto* information = std::get_if<live::RamsInformation>(&message)) {
            on_information(number, *information);
        } else if (const auto* mapping = std::get_if<live::PortMappingResponse>(&message)) {
            if (mapping->client_ssrc != own.ssrc || mapping->token.nonce != server.nonce ||
                server.nonce == 0 || mapping->relative_expiration_s == 0)
                continue;
            server.token.assign(mapping->token.bytes.begin(), mapping->token.bytes.end());
            server.absolute_expiration = mapping->token.absolute_expiration;
            server.token_expires = now + Time{mapping->relative_expiration_s} * kSecond;
            server.requests = 0;
            server.token_due = kNever;
            if (const std::uint32_t id = std::exchange(own.terminating, kNone);
                kind == ServerKind::Burst && id != kNone && !unicast_of(id)->closed)
                send_termination(id, Act::UnicastLeave);
            const auto next = std::exchange(server.waiting, std::nullopt);
            if (!next || stbs_[number].view == kNone || finishing_) continue;
            schedule(number, *next, now);
            arm();
        } else if (const auto* failure = std::get_if<live::TokenVerificationFailure>(&message)) {
            // One whose time is over is replaced anyway.
            if (failure->client_ssrc != own.ssrc || (context_.unicast.port_mapping && !server.token_at(now)))
                continue;
            complain(number, kind, ServerComplaints::Kind::RejectsToken);
            server.token_expires = kNever;  // the next message asks for another one
        }
    }
}

/// Null for a refusal that is known already.
std::optional<Burst::Reaction> LiveRun::tell_burst(std::uint32_t number, UnicastView& unicast,
                                                   const live::RamsInformation& information) {
    const bool was_refused = unicast.burst.state() == Burst::State::Refused;
    const Burst::Reaction reaction = unicast.burst.on_information(information);
    if (reaction == Burst::Reaction::None) return reaction;
    if (was_refused) return {};
    ++context_.figures.bursts_refused;
    complain(number, ServerKind::Burst, ServerComplaints::Kind::Refused, information.response);
    return reaction;
}

void LiveRun::on_information(std::uint32_t number, const live::RamsInformation& information) {
    const std::uint32_t id = stbs_[number].view;
    UnicastView* unicast = unicast_of(id);
    UnicastView* before = unicast_of(unicast_stbs_[number].draining);
    const bool is_late = before && before->media_ssrc == information.media_ssrc &&
                         (!unicast || unicast->media_ssrc != information.media_ssrc);
    if (is_late) {
        tell_burst(number, *before, information);  // the STB has left the channel: nothing follows
        return;
    }
    if (!unicast || !unicast->has_burst || unicast->requests == 0) return;
    if (information.media_ssrc != unicast->media_ssrc) {
        // A late answer about another channel, or the server knows better which stream this channel is.
        const auto& asked = unicast_stbs_[number].asked;
        if (std::ranges::find(asked, information.media_ssrc) != asked.end() ||
            unicast->burst.state() != Burst::State::Requested)
            return;
        unicast->media_ssrc = information.media_ssrc;
    }
    const auto reaction = tell_burst(number, *unicast, information);
    if (!reaction) return;
    if (*reaction == Burst::Reaction::None) {
        if (unicast->burst.state() != Burst::State::Accepted) return;
        schedule(number, Step::AskBurst, kNever);
        if (unicast->burst.announced_sbit() != kNever) plan_multicast_join(number);
    } else {
        if (*reaction == Burst::Reaction::Terminate) send_termination(id, Act::Repeat);
        do_without_burst(number);
    }
    arm();
}

void LiveRun::on_burst_packet(std::uint32_t number, const live::RetransmissionPacket& packet, Time stamp) {
    UnicastStb& own = unicast_stbs_[number];
    std::uint32_t id = stbs_[number].view;
    const auto media = own.media_of(packet.ssrc);
    const auto may_be_of = [&](const UnicastView* unicast) {
        return unicast && unicast->has_burst && unicast->requests > 0 &&
               (!media || *media == unicast->media_ssrc);
    };
    const UnicastView* current = unicast_of(id);
    if (!may_be_of(current)) {
        id = own.draining;
        if (!media || !may_be_of(unicast_of(id))) return;
    } else if (!media) {
        // The first packet of a stream tells its SSRC, unless it may be the late answer to another request.
        if (current->burst.state() != Burst::State::Accepted && stamp < own.late_until) return;
        own.learn(packet.ssrc, current->media_ssrc);
    }
    UnicastView& unicast = *unicast_of(id);
    if (unicast.closed) return;
    const bool is_first = unicast.burst.first() == kNever;
    const bool had_sbit = unicast.burst.first_with_sbit() != kNever;
    const std::uint64_t missing = unicast.burst.on_packet(packet, stamp);
    if (numbering_ == Numbering::Signature && !unicast.burst.has_right_number())
        complain(number, ServerKind::Burst, ServerComplaints::Kind::WrongNumbers);
    if (unicast.repairs && missing > 0 && stbs_[number].view == id)
        note_missing(number, packet.original_sequence_number, missing, stamp);
    if (unicast.left) return on_packet_after_leave(id, packet.original_sequence_number, stamp);
    if (!is_first && (had_sbit || unicast.burst.first_with_sbit() == kNever)) return;
    schedule(number, Step::AskBurst, kNever);
    plan_multicast_join(number);
    arm();
}

/// Repeats the request to end a burst that goes on.
void LiveRun::on_packet_after_leave(std::uint32_t id, std::uint16_t sequence, Time stamp) {
    UnicastView& unicast = *unicast_of(id);
    if (unicast.leave == kNever || stamp - unicast.leave < unicast.terminations * kTerminationWay) return;
    // While the view goes on, the burst may still bring what came before multicast.
    if (stbs_[views_[id].stb].view == id && unicast.burst.is_before_multicast(sequence)) return;
    if (unicast.terminations < kMostTerminations) return send_termination(id, Act::Repeat);
    if (std::exchange(unicast.sends_on, true)) return;
    complain(views_[id].stb, ServerKind::Burst, ServerComplaints::Kind::SendsOn);
}

/// As on a simulated port; an S-bit that comes before its lower bound has failed, too.
bool LiveRun::has_sbit_failed(const View& view) const {
    const Burst& burst = unicast_views_[view.unicast].burst;
    const Time least = il::ms(plan_.test.min_sbit_delay), most = il::ms(plan_.test.max_sbit_delay);
    const bool is_waited_for =
        most > 0 || plan_.test.mcast_join_trigger == MulticastJoinTriggerType::SBIT_AND_DELAY;
    if (!is_waited_for || burst.first() == kNever) return false;
    if (burst.first_with_sbit() == kNever) return !view.ended_by_test;
    const Time delay = burst.first_with_sbit() - burst.first();
    return (most > 0 && delay > most) || delay < least;
}

}  // namespace orv::nic
