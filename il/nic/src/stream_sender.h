// The generator of a live port.
#pragma once

#include <cstddef>
#include <cstdint>
#include <queue>
#include <vector>

#include "clock_bridge.h"
#include "orv/live/frame.h"
#include "orv/nic/live_port.h"
#include "packet_link.h"

namespace orv::nic {

/// Sends the packets of streams, each at its own distance, written straight into the link's ring.
class StreamSender {
  public:
    /// `clock`: wall clock for the signatures.
    StreamSender(PacketLink& link, const ClockBridge& clock, LiveFigures& figures)
        : link_(link), clock_(clock), figures_(figures) {}

    /// Replaces the streams. They start one after the other, spread over the first packet interval.
    /// Continuing streams keep their sequence numbers. Returns the number of streams left out because their
    /// packets exceed the link's MTU.
    std::size_t set(std::vector<Stream> streams, il::Time now);

    /// Whether each stream has sent a packet since it was set.
    bool has_begun() const { return not_begun_ == 0; }
    /// When to call run; kNever when nothing is sent.
    il::Time next() const;
    /// Writes the packets that are due, up to a limit per call. Flush the link afterwards.
    void run(il::Time now);

  private:
    struct Flow {
        Stream stream;
        live::UdpFlow headers;
        std::uint32_t ssrc = 0;  ///< by which a server knows the channel
        il::Time gap = 0;
        std::uint64_t sequence = 0;
        bool has_begun = false;
    };
    struct Due {
        il::Time time;
        std::uint32_t flow;
        bool operator>(const Due& other) const {
            return time != other.time ? time > other.time : flow > other.flow;
        }
    };
    void write(Flow& flow, il::Time now);

    PacketLink& link_;
    const ClockBridge& clock_;
    LiveFigures& figures_;
    std::vector<Flow> flows_;
    std::size_t not_begun_ = 0;
    std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
    il::Time batch_ = 0;  ///< shortest time between two runs
    il::Time last_run_ = 0;
};

}  // namespace orv::nic
