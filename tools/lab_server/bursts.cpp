#include "lab_server/bursts.h"

#include <algorithm>

namespace orv::lab {

namespace {

constexpr std::uint16_t kAccepted = 200;
constexpr std::uint16_t kInvalidMaxFill = 402;
constexpr std::uint16_t kInsufficientBitrate = 403;
constexpr std::uint16_t kNoStartingPoint = 507;
constexpr std::size_t kAddedByRtx = 10;  // original sequence number and header extension

std::uint32_t ToMs(Nanoseconds time) {
    return static_cast<std::uint32_t>(std::chrono::ceil<std::chrono::milliseconds>(time).count());
}

Nanoseconds Divide(Nanoseconds time, double by) {
    return Nanoseconds(static_cast<std::int64_t>(static_cast<double>(time.count()) / by));
}

bool IsBefore(std::uint16_t a, std::uint16_t b) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(a - b)) < 0;
}

}  // namespace

Bursts::Bursts(const ServerOptions& options, const History& history, Counts& counts, Answers& answers,
               RequestLog& log)
    : options_(options), history_(history), counts_(counts), answers_(answers), log_(log) {}

double Bursts::Bitrate(const StoredPacket& first) const {
    const StoredPacket* const newest = history_.Find(history_.channel(first.channel).newest, first.arrival);
    if (!newest || newest->arrival <= first.arrival) return 0;
    const std::uint64_t bytes = newest->bytes_before - first.bytes_before +
                                kAddedByRtx * (newest->packets_before - first.packets_before);
    const std::chrono::duration<double> time = newest->arrival - first.arrival;
    return 8.0 * static_cast<double>(bytes) / time.count();
}

RamsInformation Bursts::Request(Client& client, std::uint32_t channel, const RamsRequest& request,
                                Nanoseconds now) {
    using Ms = std::chrono::milliseconds;
    RamsInformation information{.ssrc = history_.channel(channel).ssrc};
    const auto refuse = [&](std::uint16_t response) {
        information.response = response;
        return information;
    };
    Nanoseconds fill = options_.burst_start;
    if (request.min_fill_ms) fill = std::max<Nanoseconds>(fill, Ms(*request.min_fill_ms));
    if (request.max_fill_ms) fill = std::min<Nanoseconds>(fill, Ms(*request.max_fill_ms));
    if (request.min_fill_ms && fill < Ms(*request.min_fill_ms)) return refuse(kInvalidMaxFill);

    const auto running = bursts_.find(&client);
    const bool is_update = running != bursts_.end() && running->second.channel == channel;
    const StoredPacket* first = nullptr;
    if (is_update) {
        const Burst& burst = running->second;
        first = history_.Find(burst.last != 0 ? burst.last : burst.next, now);
    } else {
        first = history_.FindTime(channel, now - fill, now);
    }
    if (!first) first = history_.Find(history_.channel(channel).newest, now);
    if (!first) return refuse(kNoStartingPoint);
    if (!is_update && request.min_fill_ms && now - first->arrival < Ms(*request.min_fill_ms) &&
        !history_.Find(first->before, now)) {
        return refuse(kNoStartingPoint);
    }
    double rate = options_.burst_rate;
    const double stream_rate = Bitrate(*first);
    if (request.max_bitrate && !options_.ignore_bitrate && stream_rate > 0) {
        const double most = static_cast<double>(*request.max_bitrate) / stream_rate;
        if (most < std::min(1.0, rate)) return refuse(kInsufficientBitrate);
        rate = std::min(rate, most);
    }
    if (is_update) {
        Burst& burst = running->second;
        ++burst.message_number;
        burst.rate = rate;
        burst.pace_time = now;
        burst.pace_arrival = first->arrival;
        burst.due = now;
        return Inform(burst, stream_rate * rate);
    }
    Burst& burst = bursts_[&client];
    burst = {.channel = channel,
             .first_sequence = answers_.NextSequence(client, channel),
             .begin = now,
             .next = first->number,
             .due = now,
             .pace_time = now,
             .pace_arrival = first->arrival,
             .rate = rate};
    ++counts_.bursts;
    return Inform(burst, stream_rate * rate);
}

RamsInformation Bursts::Inform(const Burst& burst, double bitrate) const {
    Nanoseconds join = options_.burst_longest;
    if (burst.caught_up != Nanoseconds(0)) {
        join = burst.caught_up - burst.begin;
    } else if (burst.rate > 1) {
        // Behind by B, a burst of rate R has caught up after B / (R - 1).
        const Nanoseconds behind = burst.pace_time - burst.pace_arrival;
        join = std::min(join, burst.pace_time - burst.begin + Divide(behind, burst.rate - 1));
    }
    return {.ssrc = history_.channel(burst.channel).ssrc,
            .number = burst.message_number,
            .response = kAccepted,
            .first_sequence = burst.first_sequence,
            .join_ms = ToMs(join),
            .duration_ms = ToMs(options_.burst_longest),
            .bitrate = static_cast<std::uint64_t>(bitrate)};
}

bool Bursts::Has(Client& client, std::uint32_t channel) const {
    const auto found = bursts_.find(&client);
    return found != bursts_.end() && found->second.channel == channel;
}

void Bursts::Terminate(Client& client, std::optional<std::uint16_t> first_multicast, Nanoseconds now) {
    const auto found = bursts_.find(&client);
    if (found == bursts_.end()) return;
    found->second.end = first_multicast;
    const StoredPacket* const last = history_.Find(found->second.last, now);
    if (!first_multicast ||
        (last && !IsBefore(last->sequence, static_cast<std::uint16_t>(*first_multicast - 1)))) {
        EndAt(found, "termination", now);
    }
}

void Bursts::End(Client& client, std::string_view reason, Nanoseconds now) {
    if (const auto found = bursts_.find(&client); found != bursts_.end()) EndAt(found, reason, now);
}

Bursts::Map::iterator Bursts::EndAt(Map::iterator burst, std::string_view reason, Nanoseconds now) {
    const auto& [client, ended] = *burst;
    RequestLog::Line(log_, "burst-end", *client, ToDate(now))
        .Number("ssrc", history_.channel(ended.channel).ssrc)
        .Text("reason", reason)
        .Number("packets", ended.packets)
        .Number("ms", ToMs(now - ended.begin))
        .Number("caught_up_ms", ended.caught_up == Nanoseconds(0) ? 0 : ToMs(ended.caught_up - ended.begin));
    return bursts_.erase(burst);
}

void Bursts::Advance(Nanoseconds now) {
    for (auto burst = bursts_.begin(); burst != bursts_.end();) {
        const bool goes_on = AdvanceOne(*burst->first, burst->second, now);
        if (goes_on && now - burst->second.begin < options_.burst_longest) {
            ++burst;
        } else {
            if (goes_on) ++counts_.expired;
            burst = EndAt(burst, goes_on ? "longest" : "termination", now);
        }
    }
}

/// Returns false after the last packet.
bool Bursts::AdvanceOne(Client& client, Burst& burst, Nanoseconds now) {
    while (true) {
        if (burst.next != 0 && burst.due > now) return true;
        const StoredPacket* packet = history_.Find(burst.next, now);
        if (!packet) {
            const StoredPacket* const newest = history_.Find(history_.channel(burst.channel).newest, now);
            if (burst.next == 0 && newest && newest->number == burst.last) return true;
            packet = history_.FindAfter(burst.channel, burst.next != 0 ? burst.next : burst.last, now);
            if (!packet) return true;
            if (burst.next != 0) {
                // Too slow: what was next has gone from the history.
                burst.pace_time = now;
                burst.pace_arrival = packet->arrival;
            }
            burst.next = packet->number;
        }
        if (burst.caught_up == Nanoseconds(0)) {
            burst.due = burst.pace_time + Divide(packet->arrival - burst.pace_arrival, burst.rate);
            if (burst.due > now) return true;
        }
        if (burst.end && !IsBefore(packet->sequence, *burst.end)) return false;
        const bool join = burst.caught_up != Nanoseconds(0) && now >= burst.caught_up + options_.sbit_late;
        answers_.SendBurstPacket(client, *packet, join, now);
        ++burst.packets;
        burst.last = packet->number;
        burst.next = packet->after;
        burst.due = Nanoseconds(0);
        if (burst.next == 0 && burst.caught_up == Nanoseconds(0)) burst.caught_up = now;
        if (burst.end && packet->sequence == static_cast<std::uint16_t>(*burst.end - 1)) return false;
    }
}

}  // namespace orv::lab
