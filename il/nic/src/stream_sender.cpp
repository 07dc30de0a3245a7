#include "stream_sender.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "channel_ssrc.h"
#include "orv/live/stream_packet.h"

namespace orv::nic {

using il::kMillisecond;
using il::kNever;
using il::Time;

namespace {

/// Packets are batched for this long, because a wake-up for each would cost more than sending it; longer for
/// streams that are slow, but not for more than a small part of their interval.
constexpr Time kShortestBatch = 200'000;
constexpr Time kLongestBatch = 2 * kMillisecond;
constexpr Time kBatchesPerGap = 32;
constexpr int kMostPacketsAtOnce = 64;
/// Packets that wait for the interface: joins of the same port have to wait behind them.
constexpr std::size_t kMostWaiting = 512;
/// A packet that could not be sent for this long is discarded, instead of sending a burst later.
constexpr Time kMostBehind = 100 * kMillisecond;

}  // namespace

std::size_t StreamSender::set(std::vector<Stream> streams, Time now) {
    std::map<std::tuple<std::uint32_t, live::IpAddress, live::IpAddress>, std::uint64_t> sequences;
    const auto key_of = [](const Stream& stream) {
        return std::tuple(stream.id, stream.source.ip, stream.group);
    };
    for (const Flow& flow : flows_) sequences[key_of(flow.stream)] = flow.sequence;
    flows_.clear();
    due_ = {};
    batch_ = kLongestBatch;
    std::size_t too_long = 0;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        Flow flow;
        flow.stream = streams[i];
        flow.gap = std::max<Time>(static_cast<Time>(1e9 / flow.stream.packets_per_second), 1);
        batch_ = std::clamp(flow.gap / kBatchesPerGap, kShortestBatch, batch_);
        flow.headers.source = flow.stream.source;
        flow.headers.destination = flow.stream.group;
        flow.headers.destination_mac = live::MulticastMac(flow.stream.group);
        flow.ssrc = ssrc_of(flow.stream.group);
        flow.headers.source_port = flow.stream.source_port;
        flow.headers.destination_port = flow.stream.destination_port;
        const std::size_t headers = live::UdpPayloadOffset(flow.headers) - live::kEthernetHeaderLength -
                                    4 * flow.stream.source.vlan.count;
        if (headers + live::kStreamPayloadLength > link_.get_mtu()) {
            ++too_long;
            continue;
        }
        if (const auto before = sequences.find(key_of(flow.stream)); before != sequences.end())
            flow.sequence = before->second;
        const auto share = static_cast<double>(i) / static_cast<double>(streams.size());
        due_.push({now + static_cast<Time>(share * static_cast<double>(flow.gap)),
                   static_cast<std::uint32_t>(flows_.size())});
        flows_.push_back(std::move(flow));
    }
    not_begun_ = flows_.size();
    return too_long;
}

Time StreamSender::next() const {
    return due_.empty() ? kNever : std::max(due_.top().time, last_run_ + batch_);
}

void StreamSender::run(Time now) {
    last_run_ = now;
    for (int sent = 0; sent < kMostPacketsAtOnce && !due_.empty() && due_.top().time <= now; ++sent) {
        Due due = due_.top();
        due_.pop();
        Flow& flow = flows_[due.flow];
        write(flow, now);
        due.time += flow.gap;
        if (now - due.time > kMostBehind) {
            const Time behind = (now - due.time) / flow.gap;
            figures_.stream_packets_unsent += static_cast<std::uint64_t>(behind);
            due.time += behind * flow.gap;
        }
        due_.push(due);
    }
    // The other streams keep their deadlines.
    if (!due_.empty() && due_.top().time <= now) last_run_ = now - batch_;
}

void StreamSender::write(Flow& flow, Time now) {
    const std::span<std::byte> room = link_.room();
    if (room.empty() || link_.get_backlog() >= kMostWaiting) {
        ++figures_.stream_packets_unsent;
        return;
    }
    const std::size_t offset = live::UdpPayloadOffset(flow.headers);
    const std::size_t length = live::WriteStreamPacket(
        room.subspan(offset),
        {flow.stream.id, flow.sequence++, live::Nanoseconds(clock_.to_time_of_day(now))}, flow.ssrc);
    link_.commit(live::WriteUdpHeaders(room, flow.headers, length));
    ++figures_.stream_packets_sent;
    if (!std::exchange(flow.has_begun, true)) --not_begun_;
}

}  // namespace orv::nic
