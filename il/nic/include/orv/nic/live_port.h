// A software port whose set-top boxes live on a network interface of this machine.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
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
/// packets, each with a signature (orv/live/stream_packet.h).
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
};

/// The same messages as a simulated port, on a real network.
///
/// - Every STB is a host of its own, with the addresses and VLAN tags of its interface stack, which
///   `ConfigInterfacesWithIlHandle` brings: for each layer a list with one entry per host. Hosts answer ARP
///   and neighbour solicitations.
/// - Times of joins, leaves and packets are those of the kernel, taken when a frame leaves or reaches the
///   interface.
/// - Everything happens on a thread of the port's own.
/// - Fast channel change and retransmission are refused.
class LivePort : public il::ISoftwarePort {
  public:
    struct Setup {
        std::string name;       ///< of the port
        std::string interface;  ///< "eth1"; up to 15 characters
        il::FaultSchedule faults = {};
        std::uint64_t seed = 1;
        MembershipSettings membership = {};
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
    /// Replaces the streams that are sent; none if empty. Any thread; returns at once.
    void SetStreams(std::vector<Stream> streams);
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
