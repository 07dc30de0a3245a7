#include "lab_server/client.h"

#include <arpa/inet.h>

#include <algorithm>

#include "lab_common/bytes.h"
#include "lab_common/checksum.h"

namespace orv::lab {

namespace {

constexpr std::size_t kUdpHeader = 8;

std::string NameOf(const Datagram& request) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    if (request.is_ipv6) {
        inet_ntop(AF_INET6, request.source.data(), text.data(), text.size());
        return "[" + std::string(text.data()) + "]:" + std::to_string(request.source_port);
    }
    inet_ntop(AF_INET, request.source.data() + 12, text.data(), text.size());
    return std::string(text.data()) + ":" + std::to_string(request.source_port);
}

template <class From>
void CopyTo(std::span<std::byte> to, const From& from) {
    std::copy(from.begin(), from.end(), to.begin());
}

}  // namespace

void Client::AnswerTo(const Datagram& request, const OwnAddresses& own) {
    const auto frame = request.link.frame;
    network_at_ = request.link.network_at;
    is_ipv6_ = request.is_ipv6;
    vlans_ = request.link.vlans;
    address_ = request.source;
    port_ = request.source_port;
    if (name_.empty()) name_ = NameOf(request);

    const std::span<std::byte> header(header_);
    CopyTo(header, frame.first(network_at_));  // the tags
    CopyTo(header, frame.subspan(6, 6));
    CopyTo(header.subspan(6), own.mac);
    const auto network = header.subspan(network_at_);
    std::size_t udp_at = network_at_;
    if (is_ipv6_) {
        udp_at += 40;
        Put32(network, 0, 6U << 28);
        Put16(network, 6, 17 << 8 | 64);  // UDP, hop limit
        CopyTo(network.subspan(8), request.destination);
        CopyTo(network.subspan(24), request.source);
    } else {
        udp_at += 20;
        Put32(network, 0, 0x45000000);
        Put32(network, 4, 0x00004000);  // not to be fragmented, therefore without an id (RFC 6864)
        Put32(network, 8, 64 << 24 | 17 << 16);
        CopyTo(network.subspan(12), std::span(request.destination).subspan(12));
        CopyTo(network.subspan(16), std::span(request.source).subspan(12));
    }
    const auto udp = header.subspan(udp_at);
    Put16(udp, 0, request.destination_port);
    Put16(udp, 2, request.source_port);
    Put32(udp, 4, 0);
    header_size_ = udp_at + kUdpHeader;
    constant_sum_ = std::uint64_t{SumOf(request.source)} + SumOf(request.destination) + 17 +
                    request.source_port + request.destination_port;
}

std::size_t Client::Begin(Outgoing& outgoing) const {
    std::copy_n(header_.begin(), header_size_, outgoing.bytes.begin());
    return header_size_;
}

void Client::Finish(Outgoing& outgoing, std::size_t payload_size, std::uint32_t payload_sum) const {
    const std::span<std::byte> bytes(outgoing.bytes);
    const auto udp_size = static_cast<std::uint16_t>(payload_size + kUdpHeader);
    const auto network = bytes.subspan(network_at_);
    if (is_ipv6_) {
        Put16(network, 4, udp_size);
    } else {
        Put16(network, 2, static_cast<std::uint16_t>(udp_size + 20));
        Put16(network, 10, 0);
        Put16(network, 10, ChecksumOf(SumOf(network.first(20))));
    }
    const auto udp = bytes.subspan(header_size_ - kUdpHeader);
    Put16(udp, 4, udp_size);
    const auto own_payload = bytes.subspan(header_size_, outgoing.size - header_size_);
    Put16(udp, 6, UdpChecksumOf(constant_sum_ + 2U * udp_size + SumOf(own_payload) + payload_sum));
}

RtxStream& Client::FindStream(std::uint32_t channel, std::minstd_rand& random) {
    const auto found = std::find_if(streams_.begin(), streams_.end(),
                                    [&](const RtxStream& stream) { return stream.channel == channel; });
    if (found != streams_.end()) {
        std::rotate(streams_.begin(), found, found + 1);
    } else {
        if (streams_.size() == kMostStreams) streams_.pop_back();
        const auto ssrc = static_cast<std::uint32_t>(random() << 16 ^ random());
        const auto sequence = static_cast<std::uint16_t>(random() >> 8);
        streams_.insert(streams_.begin(), {channel, ssrc, sequence});
    }
    return streams_.front();
}

Client* Clients::FindOrMake(const Datagram& request, const OwnAddresses& own) {
    const Key key{request.source, request.source_port, request.link.vlans};
    auto found = clients_.find(key);
    if (found == clients_.end()) {
        if (clients_.size() == kMost) return nullptr;
        found = clients_.emplace(key, std::make_unique<Client>()).first;
    }
    found->second->AnswerTo(request, own);
    return found->second.get();
}

}  // namespace orv::lab
