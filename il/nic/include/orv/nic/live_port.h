// A software port whose set-top boxes live on a network interface of this machine.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "orv/il/faults.h"
#include "orv/il/software_port.h"
#include "orv/live/address.h"

namespace orv::nic {

using Nanoseconds = std::chrono::nanoseconds;

/// An interface cannot be used; the text names the interface and what is missing.
class NicError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What the port's generator sends from one source to one group: RTP packets of seven transport stream
/// packets, each with a signature (orv/live/stream_packet.h). Their SSRC is the last 32 bits of the group.
struct Stream {
    std::uint32_t id = 0;  ///< in the signature
    live::HostAddress source;
    live::IpAddress group;             ///< of the source's family
    double packets_per_second = 0;     ///< above 0
    std::uint16_t source_port = 5004;  ///< RFC 3551 section 8
    std::uint16_t destination_port = 5004;
};

/// How hosts speak IGMP and MLD; the version comes with the STB block.
struct MembershipSettings {
    /// How often a change is reported; 1 to 7 (RFC 3376 section 8.1). Leaves of IGMPv2 and MLDv1 are sent
    /// once.
    std::uint8_t robustness = 2;
    bool suppress_reports = false;  ///< IGMPv1, IGMPv2, MLDv1: no report when another host has sent one
};

/// How STBs speak to the server of fast channel change and retransmission; its address comes with the STB
/// block.
struct UnicastSettings {
    /// How an STB learns that it should join the channel during a burst.
    enum class Sbit : std::uint8_t {
        Automatic,        ///< by whichever of the two comes
        HeaderExtension,  ///< by a bit in the header extension of the burst's RTP packets
        JoinTime,         ///< by the Earliest Multicast Join Time of the server's response (RFC 6285)
    };
    bool port_mapping = false;  ///< requests carry a token that the server has given before (RFC 6284)
    bool reduced_size = false;  ///< RTCP packets without receiver report and CNAME (RFC 5506)
    Sbit sbit = Sbit::Automatic;
    /// Channel number n is the RTP stream with this SSRC plus n; without a value, the one whose SSRC is the
    /// last 32 bits of the channel's group.
    std::optional<std::uint32_t> ssrc_base = {};
    std::uint64_t max_bitrate = 0;  ///< bit/s that an STB can receive during a burst; 0: does not say
};

/// What a port did on its interface since it was made.
struct LiveFigures {
    std::uint64_t joins_and_leaves = 0;  ///< in event records
    std::uint64_t unseen = 0;            ///< joins and leaves that were not seen leaving the interface
    std::uint64_t frames_sent = 0;       ///< of hosts: reports and leaves
    std::uint64_t frames_unsent = 0;     ///< of hosts: no room in the ring
    std::uint64_t frames_received = 0;   ///< that passed the filter
    std::uint64_t frames_dropped = 0;    ///< by the receive ring, which was full
    std::uint64_t stream_packets_sent = 0;
    std::uint64_t stream_packets_unsent = 0;  ///< no room in the ring, or too late
    std::uint64_t late_joins = 0;             ///< joins and leaves more than 1 ms after their time
    std::uint64_t very_late_joins = 0;        ///< more than 50 ms
    Nanoseconds latest_join{};                ///< largest delay of one
    std::uint64_t bursts_requested = 0;       ///< fast channel changes
    std::uint64_t bursts_refused = 0;         ///< by the server's response
    std::uint64_t bursts_unanswered = 0;      ///< neither a response nor a burst came, or nobody to ask
    std::uint64_t nacks_sent = 0;             ///< each may ask for several packets
    /// Of the channel and of bursts, that STBs with retransmission found missing.
    std::uint64_t packets_missed = 0;
    std::uint64_t packets_repaired = 0;  ///< of these, came as retransmissions
};

/// The same messages as a simulated port, on a real network.
///
/// - Every STB is a host of its own, with the addresses and VLAN tags of its interface stack, which
///   `ConfigInterfacesWithIlHandle` brings: for each layer a list with one entry per host. Hosts answer ARP
///   and neighbour solicitations.
/// - Times of joins, leaves and packets are those of the kernel, taken when a frame leaves or reaches the
///   interface.
/// - Everything happens on a thread of the port's own.
/// - Fast channel change and retransmission need a server in the network (RFC 6285, RFC 4585, RFC 4588).
class LivePort : public il::ISoftwarePort {
  public:
    struct Setup {
        std::string name;       ///< of the port
        std::string interface;  ///< "eth1"; up to 15 characters
        il::FaultSchedule faults = {};
        std::uint64_t seed = 1;
        MembershipSettings membership = {};
        UnicastSettings unicast = {};
    };
    /// Called with a message about a problem that makes the run's figures wrong: frames that could not be
    /// sent or received.
    using Complain = std::function<void(const std::string& what)>;

    /// Opens the interface, which must exist and be up; other interfaces are not touched. `send`, `hang_up`
    /// and `complain` are called on the port's thread and must not call the port. Throws NicError.
    LivePort(Setup setup, Send send, HangUp hang_up, Complain complain);
    /// Leaves every group. None of the functions is called after it returns.
    ~LivePort() override;
    LivePort(const LivePort&) = delete;
    LivePort& operator=(const LivePort&) = delete;

    /// Any thread; returns at once.
    void Receive(const std::vector<std::byte>& bytes) override;
    /// Only calls `change`: the network decides which channels are sent.
    void ChannelsChange(const std::function<void()>& change) override { change(); }
    /// Replaces the streams that are sent; none if empty. Any thread; returns at once. The future is ready
    /// when each stream has sent its first packet, or the streams were replaced, or the port is gone.
    std::future<void> SetStreams(std::vector<Stream> streams);
    /// Any thread.
    LiveFigures GetFigures() const;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

/// In bits per second, as the driver says; 10 Gbit/s when it does not. Throws NicError when there is no such
/// interface.
double GetLineRate(const std::string& interface);

}  // namespace orv::nic
