// The network between a port and the sources of its channels.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "msgset/ip_address.h"

namespace orv::il {

using iptvcd_1_bll::ipAddress_t;

/// A duration that is drawn anew each time, in milliseconds; never below 0.
struct Distribution {
    enum class Kind : std::uint8_t {
        Constant,     ///< a
        Uniform,      ///< a to b
        Normal,       ///< mean a, standard deviation b
        Exponential,  ///< a plus an exponential part of mean b
    };
    Kind kind = Kind::Constant;
    double a = 0;  ///< ms
    double b = 0;  ///< ms
};

/// What happens to a channel on its way to a port. Fractions are of packets, 0 to 1.
struct NetworkBehaviour {
    Distribution join_delay{.a = 30};          ///< from a join to the first multicast packet
    Distribution leave_delay{.a = 60};         ///< from a leave to the last multicast packet
    Distribution unicast_join_delay{.a = 10};  ///< from a unicast request to the burst's first packet
    Distribution unicast_leave_delay{.a = 10};
    Distribution retransmission_delay{.a = 20};  ///< from a NACK to the last retransmitted packet
    Distribution jitter;                         ///< added to the time of a first or last packet
    double packet_rate = 500;                    ///< of a channel, packets per second
    double burst_rate = 1.3;                     ///< of a unicast burst, times the channel's rate
    double join_failure = 0;                     ///< fraction of joins without any packet
    /// Joins of a port that the network carries out in each second of a test, counted from its start; further
    /// ones stay without any packet. Joins of streams that reach the port already do not count.
    double join_capacity = std::numeric_limits<double>::infinity();
    double loss = 0;
    double reordering = 0;
    double duplication = 0;
    double late = 0;
    double payload_error = 0;
    Distribution address_delay{.a = 50};  ///< from a host's first message to the address it is given
    double address_failure = 0;           ///< fraction of hosts that ask in vain
    double retransmission_loss = 0;  ///< fraction of retransmitted packets that are lost again
};

/// Which sources of a group an STB wants to receive. INCLUDE without sources lets nothing pass, EXCLUDE
/// without sources everything. Group membership protocols without source filters ask with the latter.
struct SourceFilter {
    bool include = false;  ///< INCLUDE: only these; EXCLUDE: all but these
    std::span<const ipAddress_t> sources;
};

/// The network of one run: its behaviour, and which channels are sent.
struct Network {
    NetworkBehaviour behaviour;  ///< default
    /// By name of the port; replaces `behaviour` for that port.
    std::map<std::string, NetworkBehaviour> ports;
    /// Behaviour of the channels of a range of multicast groups, first to last address. The first range that
    /// contains a group applies, in place of the port's behaviour.
    struct GroupRange {
        ipAddress_t first;
        ipAddress_t last;
        NetworkBehaviour behaviour;
        /// By name of the port; replaces `behaviour` for that port. Unset: no port has its own.
        std::shared_ptr<const std::map<std::string, NetworkBehaviour>> ports = {};
    };
    std::vector<GroupRange> groups;
    /// True while something sends the group that passes the filter; asked in the test environment only.
    /// Unset: always. Ports ask when a test starts and in SimulatedPort::ChannelsChange, and remember the
    /// answers.
    std::function<bool(const ipAddress_t& group, const SourceFilter& filter)> is_sent;
    /// With a multiple of 16 the counters that time stamps are taken from wrap 5 to 15 s after their port was
    /// made; with another seed they do not wrap for days.
    std::uint64_t seed = 1;
};

}  // namespace orv::il
