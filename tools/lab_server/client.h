// Those who ask: where their answers go, and their retransmission streams.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "lab_server/datagram.h"
#include "lab_server/neighbour.h"
#include "lab_server/outbox.h"

namespace orv::lab {

/// RFC 4588: a stream of its own for each client and channel.
struct RtxStream {
    std::uint32_t channel = 0;
    std::uint32_t ssrc = 0;
    std::uint16_t next_sequence = 0;
};

class Client {
  public:
    /// Answers go where the request has come from, with MAC addresses, IP addresses and ports swapped.
    void AnswerTo(const Datagram& request, const OwnAddresses& own);

    /// Puts the headers in front, for a UDP payload that Finish() is told of. Returns where it begins.
    std::size_t Begin(Outgoing& outgoing) const;
    /// `payload_size`: all of it; `payload_sum`: of what is not among the bytes of `outgoing`.
    void Finish(Outgoing& outgoing, std::size_t payload_size, std::uint32_t payload_sum) const;

    RtxStream& FindStream(std::uint32_t channel, std::minstd_rand& random);

    /// Its address and port as text.
    const std::string& name() const { return name_; }
    const std::array<std::uint16_t, 2>& vlans() const { return vlans_; }
    const Ipv6Address& address() const { return address_; }

  private:
    static constexpr std::size_t kMostStreams = 16;  // the longest unused gives way

    std::array<std::byte, 14 + 8 + 40 + 8> header_{};
    std::size_t header_size_ = 0;
    std::size_t network_at_ = 0;
    bool is_ipv6_ = false;
    std::uint64_t constant_sum_ = 0;
    std::array<std::uint16_t, 2> vlans_{};
    Ipv6Address address_{};
    std::uint16_t port_ = 0;
    std::string name_;
    std::vector<RtxStream> streams_;  // the last used first
};

class Clients {
  public:
    static constexpr std::size_t kMost = 65'536;

    /// Null when there are too many.
    Client* FindOrMake(const Datagram& request, const OwnAddresses& own);

  private:
    using Key = std::tuple<Ipv6Address, std::uint16_t, std::array<std::uint16_t, 2>>;
    std::map<Key, std::unique_ptr<Client>> clients_;
};

}  // namespace orv::lab
