// Retransmission of packets that a view lost.
#pragma once

#include <cstdint>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/il/network.h"
#include "orv/il/random.h"
#include "orv/il/tick_counter.h"
#include "orv/il/time.h"

namespace orv::il {

/// Works out which negative acknowledgements (NACKs) an STB sent and their outcome. The object only
/// keeps memory from one call to the next.
class Retransmissions {
  public:
    struct View {
        Time first = 0;  ///< multicast packet
        Time last = 0;   ///< multicast packet
        Time end = 0;    ///< the STB sends no NACK after it
        std::uint64_t lost = 0;
    };
    /// One NACK, as needed for its event record.
    struct Nack {
        std::uint16_t sequence = 0;  ///< RTP sequence number of the first packet requested
        Time sent = kNever;
        Time last_received = kNever;  ///< `sent` when nothing came
        bool flagged = false;
        bool failed = false;  ///< at least one requested packet was lost again
    };

    /// `threshold_ms`: slower retransmissions are flagged; 0: none. `next_nack`: earliest time of the STB's
    /// next NACK, updated by the NACKs sent. The result is valid until the next call.
    const std::vector<Nack>& work_out(const View& view, const iptvcd_1_bll::rrr_stbConfig_s& config,
                                      std::uint32_t threshold_ms, const NetworkBehaviour& network,
                                      Random& random, Time& next_nack);

  private:
    struct Missing {
        std::uint64_t number = 0;  ///< of the packet, counted from time 0
        Time known = 0;            ///< when the STB detects the loss
        bool asked = false;
    };
    /// Missing packets, requested in the order of detection.
    struct Queue {
        std::vector<Missing> packets;
        std::size_t head = 0;  ///< the first one not yet requested
        Time delay = 0;        ///< from detection to request

        bool empty() const { return head == packets.size(); }
        Time ready() const { return packets[head].known + delay; }
        void skip_asked();
    };
    void draw_losses(const View& view, double packets_per_ns, Random& random);
    void ask(Queue& queue, Time now, std::uint16_t mask);

    Queue noticed_;
    Queue lost_again_;
    std::vector<std::uint64_t> asked_;  ///< numbers of the packets in one NACK
    std::vector<Nack> nacks_;
};

}  // namespace orv::il
