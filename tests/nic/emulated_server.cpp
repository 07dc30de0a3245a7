#include "emulated_server.h"

#include <fmt/format.h>

#include "live/sample_frames.h"
#include "orv/live/frame.h"
#include "orv/live/stream_packet.h"

namespace testing_aids {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kUdp = 34, kPayload = kUdp + 8;  // untagged IPv4
constexpr std::uint8_t kMac[] = {2, 0, 0, 0, 9, 9};

std::uint32_t long_at(const std::vector<std::byte>& bytes, std::size_t at) {
    return std::uint32_t{number_at(bytes, at)} << 16 | number_at(bytes, at + 2);
}

void put(Bytes& bytes, std::uint64_t value, int size) {
    for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

}  // namespace

EmulatedServer::EmulatedServer(FakeTimeline& timeline, EmulatedNetwork& network)
    : timeline_(timeline), network_(network) {
    network_.to_server = [this](const std::vector<std::byte>& frame) { OnFrame(frame); };
}

void EmulatedServer::OnFrame(const std::vector<std::byte>& frame) {
    if (number_at(frame, 12) == 0x0806) {  // ARP: an answer from 10.0.9.9
        Bytes answer;
        for (std::size_t i = 6; i < 12; ++i) answer.push_back(std::to_integer<std::uint8_t>(frame[i]));
        answer.insert(answer.end(), std::begin(kMac), std::end(kMac));
        put(answer, 0x0806'0001'0800'0604U, 8);
        put(answer, 2, 2);
        answer.insert(answer.end(), std::begin(kMac), std::end(kMac));
        put(answer, 0x0a000909, 4);
        for (std::size_t i = 22; i < 32; ++i) answer.push_back(std::to_integer<std::uint8_t>(frame[i]));
        network_.Deliver(std::as_bytes(std::span(answer)));
        return;
    }
    if (number_at(frame, 12) != 0x0800 || frame.size() < kPayload || number_at(frame, kUdp + 2) != kPort)
        return;
    last_request_ = frame;
    for (std::size_t at = kPayload; at + 4 <= frame.size();) {
        const std::size_t size = 4 * (std::size_t{number_at(frame, at + 2)} + 1);
        OnMessage(frame, at, size);
        at += size;
    }
}

void EmulatedServer::OnMessage(const std::vector<std::byte>& frame, std::size_t at, std::size_t size) {
    const auto first = std::to_integer<unsigned>(frame[at]) & 0x1f;
    const auto type = std::to_integer<unsigned>(frame[at + 1]);
    if (type == 202 && wants_token)
        heard.push_back(fmt::format("{} CNAME", timeline_.GetNow() / std::chrono::milliseconds(1)));
    const long long now = timeline_.GetNow() / std::chrono::milliseconds(1);
    if (type == 210) {  // of tokens (RFC 6284)
        const bool is_request = first == 1;
        heard.push_back(fmt::format("{} token {}", now, is_request ? "request" : "shown"));
        if (!is_request) has_token_ = true;
        if (!is_request) return;
        Bytes answer;
        put(answer, 0x82d2, 2);
        put(answer, 10, 2);
        put(answer, 99, 4);
        put(answer, long_at(frame, at + 4), 4);
        put(answer, long_at(frame, at + 8), 4);
        put(answer, long_at(frame, at + 12), 4);
        put(answer, 0x0006'616263646566U, 8);  // the token: "abcdef"
        put(answer, 4'000'000'000U, 8);
        put(answer, static_cast<std::uint64_t>(token_life), 4);
        put(answer, 0x0001'cd'00U, 4);  // wanted in messages of type 205
        timeline_.PostAfter(way, [=, this] { Send(frame, answer); });
    } else if (type == 205 && first == 1) {  // generic NACK
        const std::uint32_t ssrc = long_at(frame, at + 8);
        const std::uint16_t id = number_at(frame, at + 12), mask = number_at(frame, at + 14);
        heard.push_back(fmt::format("{} NACK {:x} {}+{:x}", now, ssrc, id, mask));
        timeline_.PostAfter(way, [=, this] {
            const auto now_number = static_cast<std::uint64_t>(timeline_.GetNow() / EmulatedNetwork::kGap);
            for (unsigned i = 0; i <= 16; ++i) {
                if (i > 0 && (mask >> (i - 1) & 1) == 0) continue;
                const auto sequence = static_cast<std::uint16_t>(id + i);
                if (lost.erase(sequence) > 0) continue;
                for (int copy = 0; copy < repair_copies; ++copy)
                    SendPacket(frame, ssrc ^ 1,
                               now_number - static_cast<std::uint16_t>(now_number - sequence), -1);
            }
        });
    } else if (type == 205 && first == 6) {  // RAMS
        const auto kind = std::to_integer<unsigned>(frame[at + 12]);
        if (kind == 1) {
            const std::uint32_t ssrc = long_at(frame, at + 20);
            std::string text = fmt::format("{} RAMS-R {:x}", now, ssrc);
            if (size > 24) text += fmt::format(" min {}", long_at(frame, at + 28));
            heard.push_back(text);
            if (wants_token && !has_token_) return;
            if (++requests_ <= silent_requests) return;
            timeline_.PostAfter(way, [=, this] {
                SendInformation(frame, ssrc);
                if (response != 200 || !sends_packets ||
                    (last_burst_ > 0 && bursts_[last_burst_].ssrc == ssrc))
                    return;
                bursts_[++last_burst_] = {
                    ssrc, static_cast<std::uint64_t>((timeline_.GetNow() - backfill) / EmulatedNetwork::kGap),
                    UINT64_MAX, timeline_.GetNow(), false};
                Go(frame, last_burst_);
            });
        } else if (kind == 3) {
            const bool has_end = size > 16;
            heard.push_back(fmt::format("{} RAMS-T {:x}{}", now, long_at(frame, at + 8),
                                        has_end ? fmt::format(" {}", long_at(frame, at + 20)) : ""));
            if (sends_on || last_burst_ == 0) return;
            Burst& burst = bursts_[last_burst_];
            const std::uint64_t now_number = burst.next;
            burst.end = has_end ? now_number - static_cast<std::uint64_t>(static_cast<std::int16_t>(
                                                   now_number - long_at(frame, at + 20)))
                                : 0;
        }
    }
}

void EmulatedServer::Go(const std::vector<std::byte>& request, int number) {
    Burst& burst = bursts_[number];
    const auto now_number = static_cast<std::uint64_t>(timeline_.GetNow() / EmulatedNetwork::kGap);
    if (burst.next >= burst.end) {
        burst.is_over = true;
        return;
    }
    const bool sbit = timeline_.GetNow() - burst.begun >= sbit_after;
    if (lost.erase(static_cast<std::uint16_t>(burst.next)) == 0)
        SendPacket(request, burst.ssrc + 0x1000, burst.next, has_sbit ? sbit : -1);
    ++burst.next;
    const bool caught_up = burst.next >= now_number;
    timeline_.PostAfter(caught_up ? EmulatedNetwork::kGap : burst_gap, [=, this] { Go(request, number); });
}

void EmulatedServer::SendInformation(const std::vector<std::byte>& request, std::uint32_t ssrc) {
    Bytes tlvs;
    if (response == 200) {
        put(tlvs, 32ULL << 24 | 2, 4);
        put(tlvs, sequence_ + 1U, 2);
        put(tlvs, 0, 2);
    }
    if (tells_join_time) {
        put(tlvs, 33ULL << 24 | 4, 4);
        put(tlvs, static_cast<std::uint64_t>(sbit_after / std::chrono::milliseconds(1)), 4);
    }
    Bytes message;
    put(message, 0x86cd, 2);
    put(message, 3 + tlvs.size() / 4, 2);
    put(message, ssrc, 4);
    put(message, ssrc, 4);
    put(message, 2U << 24 | static_cast<unsigned>(response), 4);
    message.insert(message.end(), tlvs.begin(), tlvs.end());
    Send(request, message);
}

/// `sbit`: -1 without a header extension.
void EmulatedServer::SendPacket(const std::vector<std::byte>& request, std::uint32_t ssrc,
                                std::uint64_t number, int sbit) {
    std::array<std::byte, orv::live::kStreamPayloadLength> original;
    orv::live::WriteStreamPacket(original, {7, number, timeline_.GetNow()});
    Bytes packet;
    put(packet, sbit >= 0 ? 0x9063 : 0x8063, 2);
    put(packet, ++sequence_, 2);
    put(packet, 0, 4);
    put(packet, ssrc, 4);
    if (sbit >= 0) {
        put(packet, 0xbede0001, 4);
        put(packet, sbit > 0 ? 0x00080000 : 0, 4);
    }
    put(packet, number + static_cast<std::uint64_t>(osn_error), 2);
    for (std::size_t i = orv::live::kRtpHeaderLength; i < original.size(); ++i)
        packet.push_back(std::to_integer<std::uint8_t>(original[i]));
    Send(request, packet);
}

void EmulatedServer::Say(std::span<const std::byte> payload) {
    if (last_request_.empty()) return;
    Bytes bytes;
    for (const std::byte byte : payload) bytes.push_back(std::to_integer<std::uint8_t>(byte));
    Send(last_request_, bytes);
}

/// Back to where the request came from.
void EmulatedServer::Send(const std::vector<std::byte>& request, const std::vector<std::uint8_t>& payload) {
    std::vector<std::byte> answer(request.begin(), request.begin() + kPayload);
    std::swap_ranges(answer.begin(), answer.begin() + 6, answer.begin() + 6);
    std::swap_ranges(answer.begin() + 26, answer.begin() + 30, answer.begin() + 30);
    std::swap_ranges(answer.begin() + kUdp, answer.begin() + kUdp + 2, answer.begin() + kUdp + 2);
    const auto set = [&answer](std::size_t at, std::size_t value) {
        answer[at] = static_cast<std::byte>(value >> 8);
        answer[at + 1] = static_cast<std::byte>(value);
    };
    set(16, 28 + payload.size());
    set(kUdp + 4, 8 + payload.size());
    for (const std::uint8_t byte : payload) answer.push_back(static_cast<std::byte>(byte));
    refit_checksums(answer);
    network_.Deliver(answer);
}

UnicastScenario::UnicastScenario(TestType type, const orv::nic::UnicastSettings& settings)
    : live({host_of(0)}, {}, settings), server(live.peer.timeline, *live.network) {
    auto& scenario = live.peer.scenario;
    scenario.test.test_type = type;
    scenario.test.test_duration = 3'000;
    scenario.profile.unicast_leave_trigger_delay = 300;
    auto& block = scenario.blocks[0];
    block.fcc_server_address.v4 = {{10, 0, 9, 9}};
    block.fcc_server_port = EmulatedServer::kPort;
    block.udp_source_port = 6000;
    block.min_buffer_level = 150;
    if (type == TestType::FAST_CHANNEL_CHANGE) return;
    auto& repairs = block.rrr_stbConfig.emplace_back();
    repairs.stbNackEnable = true;
    repairs.nackInterval = 50;
    repairs.nackDelay = 10;
    repairs.nackSeqBits = 0xffff;
    repairs.rrrServerAddr.v4 = {{10, 0, 9, 9}};
    repairs.rrrServerPort = EmulatedServer::kPort;
    scenario.channels.rrr_cbConfig.emplace_back().cbNackEnable = true;
    scenario.test.rrr_test_config.emplace_back().testRetransThres = 30;
}

}  // namespace testing_aids
