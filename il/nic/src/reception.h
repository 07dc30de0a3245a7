// What reaches one link of one group.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "orv/il/time.h"
#include "orv/il/view_record.h"
#include "orv/live/frame_parser.h"
#include "sequence_counter.h"

namespace orv::nic {

/// How packets are identified.
enum class Numbering : std::uint8_t {
    Signature,  ///< ours; packets without one do not count
    Rtp,        ///< the RTP sequence number where the stream is RTP, otherwise packets are only counted
};

/// The sources of a group that somebody wants to hear.
struct SourceChoice {
    bool include = false;  ///< only these; otherwise all but these
    std::vector<live::IpAddress> sources;

    bool lets_pass(const live::IpAddress& source) const;
    bool operator==(const SourceChoice&) const = default;
};

/// A packet that was counted.
struct Arrival {
    bool is_numbered = false;    ///< the other members are known
    std::uint16_t sequence = 0;  ///< of RTP
    std::uint32_t ssrc = 0;
    std::uint64_t missing = 0;  ///< packets just before it that have not come yet
};

/// Counts the packets that pass one choice of sources, for all the STBs of a link that view the channel: what
/// an STB got is the difference between two moments.
class Reception {
  public:
    explicit Reception(Numbering numbering) : numbering_(numbering) {}

    /// Counts a packet that passed the filter. Nothing if it does not belong to the test.
    std::optional<Arrival> add(il::Time stamp, const live::UdpPacket& packet);
    /// The numbered packet with the latest stamp; there is one while the stream flows, if it is numbered.
    const Arrival& latest() const { return latest_; }

    /// Whether a packet with this number has come lately.
    bool has(std::uint16_t sequence) const;

    /// Whether the stream flows at `time`: the last packet before is not older than the expected packet
    /// interval.
    bool flows(il::Time time) const;
    il::Time last() const { return last_; }  ///< packet; kNever when there was none since the restart
    /// After this time without a packet no more are expected: a multiple of the packet interval.
    il::Time quiet_time() const;
    /// Whether a packet at `time` comes so long after the last one that the stream must have stopped in
    /// between.
    bool has_paused(il::Time time) const;
    /// Since the start.
    const il::Packets& packets() const { return packets_; }
    /// A member joins after a time without members: packets missed meanwhile, from any source, are not lost.
    void restart();

    std::uint32_t members = 0;           ///< views
    std::vector<std::uint32_t> waiting;  ///< members without a packet

  private:
    struct Source {
        live::IpAddress address;
        std::uint16_t port = 0;
        std::uint32_t stream = 0;  ///< of the signature or, of RTP, the SSRC
        SequenceCounter counter;
        il::Time heard = 0;
    };
    static constexpr std::size_t kMostSources = 16;  ///< of one group at a time; others are only counted

    Source* source_of(il::Time stamp, const live::UdpPacket& packet, std::uint32_t stream);
    std::optional<Arrival> add_signed(il::Time stamp, const live::UdpPacket& packet);
    Arrival add_foreign(il::Time stamp, const live::UdpPacket& packet);

    void note_gap(il::Time stamp);

    Numbering numbering_;
    il::Time last_ = il::kNever;
    Arrival latest_;

    il::Time gap_ = 0;  ///< between packets, a moving average
    /// The longest gaps of the time since `window_` and of that before it: streams may come in bursts.
    il::Time longest_ = 0, longest_before_ = 0, window_ = 0;
    il::Packets packets_;
    std::vector<Source> sources_;
};

}  // namespace orv::nic
