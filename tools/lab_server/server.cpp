#include "lab_server/server.h"

#include <algorithm>
#include <array>

#include "lab_common/bytes.h"

namespace orv::lab {

namespace {

constexpr std::string_view kCanonicalName = "server@laboratory";
constexpr std::uint16_t kRamsAccepted = 200;
constexpr std::uint16_t kRamsMalformedRequest = 400;
constexpr std::uint16_t kRamsInvalidToken = 405;  // RFC 6284
constexpr std::uint16_t kRamsUnknownSsrc = 509;
constexpr std::uint16_t kRamsDenied = 512;
constexpr std::array<std::uint8_t, 2> kTypesWithToken{rtcp::kTransportFeedback, rtcp::kBye};

}  // namespace

Server::Server(const ServerOptions& options, const MacAddress& mac)
    : options_(options),
      own_{mac, options.address4, options.address6},
      ssrc_(static_cast<std::uint32_t>(std::random_device()())),
      history_(options.memory, options.history),
      neighbours_(history_, false),
      outbox_(history_, options.twice),
      log_(options.log),
      answers_(options, history_, counts_, outbox_),
      bursts_(options, history_, counts_, answers_, log_) {}

void Server::Take(std::span<const std::byte> frame, Nanoseconds arrival) {
    const auto link = ReadLink(frame);
    if (!link) return;
    if (const auto datagram = ReadDatagram(*link)) {
        if (datagram->IsToGroup()) {
            history_.Store(link->vlans, datagram->payload(), arrival);
        } else if (datagram->destination_port == options_.port) {
            const auto& to = datagram->destination;
            const bool is_ours = datagram->is_ipv6
                                     ? to == own_.ipv6
                                     : std::equal(own_.ipv4.begin(), own_.ipv4.end(), to.begin() + 12);
            if (is_ours) TakeRequest(*datagram, arrival);
        }
        return;
    }
    std::array<std::byte, 128> buffer;
    if (const auto answer = AnswerNeighbour(*link, own_, buffer); !answer.empty()) {
        Outgoing& outgoing = neighbours_.Add(arrival);
        std::copy(answer.begin(), answer.end(), outgoing.bytes.begin());
        outgoing.size = static_cast<std::uint16_t>(answer.size());
    }
}

void Server::Send(PacketPort& port) {
    const Nanoseconds now = Now();
    bursts_.Advance(now);
    neighbours_.Send(port, now);
    outbox_.Send(port, now);
}

Counts Server::counts(PacketPort& port) const {
    Counts counts = counts_;
    counts.channels = history_.channels();
    counts.stored = history_.stored();
    counts.not_received = port.not_received();
    counts.not_sent = port.not_sent();
    return counts;
}

void Server::TakeRequest(const Datagram& datagram, Nanoseconds arrival) {
    Client* const client = clients_.FindOrMake(datagram, own_);
    if (!client) {
        ++counts_.malformed;
        return;
    }
    if (!datagram.HasGoodChecksums()) return TakeMalformed(*client, arrival, "checksum");
    std::optional<RtcpPacket> verification;
    std::optional<RtcpPacket> first;
    const bool good = ReadCompound(datagram.payload(), [&](const RtcpPacket& packet) {
        if (!first) first = packet;
        if (packet.type == rtcp::kToken && packet.format == rtcp::kTokenVerification) verification = packet;
    });
    if (!good) return TakeMalformed(*client, arrival, "RTCP");
    const Request request{.client = *client,
                          .arrival = arrival,
                          .is_compound = first->type <= rtcp::kReceiverReport,
                          .verification = verification ? &*verification : nullptr};
    ReadCompound(datagram.payload(), [&](const RtcpPacket& packet) { TakeMessage(request, packet); });
}

void Server::TakeMessage(const Request& request, const RtcpPacket& packet) {
    if (packet.type == rtcp::kTransportFeedback) return TakeFeedback(request, packet);
    if (packet.type == rtcp::kBye) return TakeBye(request, packet);
    if (packet.type == rtcp::kToken && packet.format == rtcp::kPortMappingRequest) {
        return TakePortMappingRequest(request, packet);
    }
}

void Server::TakeFeedback(const Request& request, const RtcpPacket& packet) {
    const bool is_rams = packet.format == rtcp::kRams;
    if (!is_rams && packet.format != rtcp::kNack) return;
    if (packet.body.size() < 12) return TakeMalformed(request.client, request.arrival, "feedback");
    const bool has_token = HasToken(request);
    if (!has_token) RefuseToken(request, packet);
    const unsigned message = is_rams ? Get8(packet.body, 8) : 0;
    if (message == rtcp::kRamsRequest) return TakeRamsRequest(request, packet, has_token);
    if (!has_token) return;
    if (!is_rams) return TakeNack(request, packet);
    if (message == rtcp::kRamsTermination) return TakeRamsTermination(request, packet);
    TakeMalformed(request.client, request.arrival, "RAMS");
}

void Server::TakeNack(const Request& request, const RtcpPacket& packet) {
    ++counts_.nacks;
    const std::uint32_t ssrc = Get32(packet.body, 4);
    const auto channel = history_.FindChannel({request.client.vlans(), ssrc});
    std::uint64_t unknown = 0;
    RequestLog::Line line(log_, "nack", request.client, ToDate(request.arrival));
    line.Number("ssrc", ssrc).Begin("asked");
    const auto take_one = [&](std::uint16_t sequence) {
        ++counts_.asked;
        line.Item(sequence);
        const StoredPacket* const stored =
            channel ? history_.FindSequence(*channel, sequence, request.arrival) : nullptr;
        if (!stored) {
            ++unknown;
        } else if (!options_.silent) {
            answers_.SendRepair(request.client, *stored, request.arrival);
        }
    };
    for (std::size_t at = 8; at + 4 <= packet.body.size(); at += 4) {
        const std::uint16_t sequence = Get16(packet.body, at);
        const unsigned others = Get16(packet.body, at + 2);
        take_one(sequence);
        for (unsigned bit = 0; bit < 16; ++bit) {
            if (others >> bit & 1) take_one(static_cast<std::uint16_t>(sequence + bit + 1));
        }
    }
    counts_.unknown += unknown;
    line.End().Number("unknown", unknown);
}

void Server::TakeRamsRequest(const Request& request, const RtcpPacket& packet, bool has_token) {
    ++counts_.requests;
    const auto wanted = ReadRamsRequest(packet.body);
    if (!wanted) {
        TakeMalformed(request.client, request.arrival, "RAMS-R");
        const std::uint32_t ssrc = Get32(packet.body, 4);
        ++counts_.refused;
        Answer(request, ssrc, [&](RtcpWriter& writer) {
            writer.WriteRamsInformation({.ssrc = ssrc, .response = kRamsMalformedRequest});
        });
        return;
    }
    for (std::size_t which = 0; which < wanted->count; ++which) {
        const std::uint32_t ssrc = wanted->ssrcs[which];
        const std::uint64_t updates = counts_.updates;
        const RamsInformation answer = !has_token
                                           ? RamsInformation{.ssrc = ssrc, .response = kRamsInvalidToken}
                                           : AnswerRamsRequest(request, *wanted, which);
        if (which == 0 && answer.response != kRamsAccepted && !options_.silent) ++counts_.refused;
        RequestLog::Line line(log_, "rams-r", request.client, ToDate(request.arrival));
        line.Number("ssrc", ssrc).Number("response", options_.silent ? 0 : answer.response);
        line.Yes("compound", request.is_compound).Yes("update", counts_.updates != updates);
        if (answer.first_sequence)
            line.Number("first", *answer.first_sequence).Number("join_ms", answer.join_ms);
        if (answer.bitrate) line.Number("bitrate", *answer.bitrate);
        if (wanted->min_fill_ms) line.Number("min_fill_ms", *wanted->min_fill_ms);
        if (wanted->max_fill_ms) line.Number("max_fill_ms", *wanted->max_fill_ms);
        if (wanted->max_bitrate) line.Number("max_bitrate", *wanted->max_bitrate);
        Answer(request, ssrc, [&](RtcpWriter& writer) { writer.WriteRamsInformation(answer); });
    }
}

/// One burst at a time: of several streams the first is served.
RamsInformation Server::AnswerRamsRequest(const Request& request, const RamsRequest& wanted,
                                          std::size_t which) {
    RamsInformation refusal{.ssrc = wanted.ssrcs[which], .response = kRamsUnknownSsrc};
    if (options_.silent) return refusal;
    if (options_.refuse) refusal.response = *options_.refuse;
    if (options_.refuse || which > 0) {
        if (which > 0) refusal.response = kRamsDenied;
        return refusal;
    }
    const auto channel = history_.FindChannel({request.client.vlans(), wanted.ssrcs[which]});
    if (channel && bursts_.Has(request.client, *channel)) {
        ++counts_.updates;
    } else {
        bursts_.End(request.client, "another channel", request.arrival);
    }
    if (!channel) return refusal;
    return bursts_.Request(request.client, *channel, wanted, request.arrival);
}

void Server::TakeRamsTermination(const Request& request, const RtcpPacket& packet) {
    ++counts_.terminations;
    const auto termination = ReadRamsTermination(packet.body);
    if (!termination) return TakeMalformed(request.client, request.arrival, "RAMS-T");
    const std::uint32_t ssrc = Get32(packet.body, 4);
    const auto channel = history_.FindChannel({request.client.vlans(), ssrc});
    const bool has_burst = channel && bursts_.Has(request.client, *channel);
    {
        RequestLog::Line line(log_, "rams-t", request.client, ToDate(request.arrival));
        line.Number("ssrc", ssrc).Yes("burst", has_burst);
        if (termination->first_multicast) line.Number("first_multicast", *termination->first_multicast);
    }
    if (has_burst && !options_.ignore_termination) {
        bursts_.Terminate(request.client, termination->first_multicast, request.arrival);
    }
}

void Server::TakeBye(const Request& request, const RtcpPacket& packet) {
    ++counts_.byes;
    if (!HasToken(request)) return RefuseToken(request, packet);
    RequestLog::Line(log_, "bye", request.client, ToDate(request.arrival));
    if (!options_.ignore_termination) bursts_.End(request.client, "bye", request.arrival);
}

void Server::TakePortMappingRequest(const Request& request, const RtcpPacket& packet) {
    if (packet.body.size() < 12)
        return TakeMalformed(request.client, request.arrival, "port mapping request");
    ++counts_.tokens;
    const std::uint32_t client_ssrc = Get32(packet.body, 0);
    TokenVerification valid{.nonce = Get64(packet.body, 4), .expiry = NtpSeconds() + options_.token_seconds};
    const Token token = tokens_.Make(request.client.address(), valid.nonce, valid.expiry);
    valid.token = token;
    RequestLog::Line(log_, "token", request.client, ToDate(request.arrival)).Number("ssrc", client_ssrc);
    const std::span<const std::uint8_t> types(kTypesWithToken);
    Answer(request, ssrc_, [&](RtcpWriter& writer) {
        writer.WritePortMappingResponse(ssrc_, client_ssrc, valid, options_.token_seconds,
                                        options_.require_token ? types : types.first(0));
    });
}

void Server::TakeMalformed(const Client& client, Nanoseconds arrival, const char* what) {
    ++counts_.malformed;
    RequestLog::Line(log_, "malformed", client, ToDate(arrival)).Text("what", what);
}

bool Server::HasToken(const Request& request) const {
    if (!options_.require_token) return true;
    if (!request.verification) return false;
    const auto shown = ReadTokenVerification(request.verification->body);
    if (!shown || shown->expiry < NtpSeconds()) return false;
    const Token token = tokens_.Make(request.client.address(), shown->nonce, shown->expiry);
    return std::equal(token.begin(), token.end(), shown->token.begin(), shown->token.end());
}

void Server::RefuseToken(const Request& request, const RtcpPacket& packet) {
    ++counts_.token_failures;
    const bool is_feedback = packet.type == rtcp::kTransportFeedback;
    const std::uint32_t client_ssrc = packet.body.size() >= 4 ? Get32(packet.body, 0) : 0;
    // That of the channel: in a RAMS-R, the media source may be the client itself.
    std::uint32_t ssrc = is_feedback ? Get32(packet.body, 4) : ssrc_;
    if (is_feedback && packet.format == rtcp::kRams && Get8(packet.body, 8) == rtcp::kRamsRequest) {
        if (const auto wanted = ReadRamsRequest(packet.body)) ssrc = wanted->ssrcs[0];
    }
    const auto shown =
        request.verification ? ReadTokenVerification(request.verification->body) : std::nullopt;
    RequestLog::Line(log_, "token-failure", request.client, ToDate(request.arrival))
        .Number("type", packet.type)
        .Number("format", is_feedback ? packet.format : 0);
    Answer(request, ssrc, [&](RtcpWriter& writer) {
        writer.WriteTokenFailure(ssrc, client_ssrc, packet.type, is_feedback ? packet.format : 0,
                                 shown ? shown->nonce : 0);
    });
}

template <class Write>
void Server::Answer(const Request& request, std::uint32_t ssrc, const Write& write) {
    if (options_.silent) return;
    std::array<std::byte, 240> bytes;
    RtcpWriter writer(bytes);
    if (request.is_compound) writer.WriteBeginning(ssrc, kCanonicalName);
    write(writer);
    answers_.SendRtcp(request.client, std::span(bytes).first(writer.size()), request.arrival);
}

}  // namespace orv::lab
