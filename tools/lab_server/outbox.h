// What leaves the server, in the order in which it was made, each packet at its time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "lab_common/clock.h"
#include "lab_common/packet_port.h"
#include "lab_server/history.h"

namespace orv::lab {

/// A frame of two parts: its own bytes, then the end of a stored packet.
struct Outgoing {
    static constexpr std::size_t kMostBytes = 320;

    Nanoseconds time{};
    PacketNumber packet = 0;  ///< 0: none
    std::uint16_t payload_at = 0;
    std::uint16_t payload_size = 0;
    std::uint16_t size = 0;  ///< of its own bytes
    std::array<std::byte, kMostBytes> bytes;
};

class Outbox {
  public:
    Outbox(const History& history, bool twice);

    /// To be filled in before the next call. Its time is never before that of those before it.
    Outgoing& Add(Nanoseconds time);
    /// Sends what is due. A stored packet that has been overwritten meanwhile is left out.
    void Send(PacketPort& port, Nanoseconds now);

    bool empty() const { return count_ == 0; }

  private:
    Outgoing& at(std::size_t index) { return ring_[(first_ + index) % ring_.size()]; }

    const History& history_;
    bool twice_;
    std::vector<Outgoing> ring_;
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

}  // namespace orv::lab
