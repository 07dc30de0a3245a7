// Retransmission of packets that a view lost.
#pragma once

#include <cstdint>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/il/network.h"
#include "random.h"
#include "tick_counter.h"

namespace orv::il {

/// Works out which negative acknowledgements (NACKs) an STB sent and what became of them. The object only
/// keeps memory from one call to the next.
class Retransmissions {
  public:
    struct View {
        Time first = 0;  ///< multicast packet
        Time end = 0;    ///< the STB asks for nothing any more
        std::uint64_t lost = 0;
    };
    /// One NACK, as far as the event record is concerned with it.
    struct Nack {
        std::uint16_t sequence = 0;  ///< RTP sequence number of the first packet asked for
        Time sent = kNever;
        Time last_received = kNever;
        bool flagged = false;
        bool failed = false;  ///< at least one of the packets asked for was lost again
    };

    /// `threshold_ms`: slower retransmissions are flagged. The result is good until the next call.
    const std::vector<Nack>& work_out(const View& view, const iptvcd_1_bll::rrr_stbConfig_s& config,
                                      std::uint32_t threshold_ms, const NetworkBehaviour& network,
                                      Random& random);

  private:
    std::vector<std::uint64_t> lost_;  ///< numbers of the lost packets, counted from time 0
    std::vector<Nack> nacks_;
};

}  // namespace orv::il
