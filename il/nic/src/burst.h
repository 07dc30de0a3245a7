// The unicast burst of a fast channel change, as the STB that asked for it receives it.
#pragma once

#include <cstdint>
#include <optional>

#include "msgset/iptvcd_1.h"
#include "orv/il/tick_counter.h"
#include "orv/il/time.h"
#include "orv/il/view_record.h"
#include "orv/live/retransmission_packet.h"
#include "orv/live/rtcp.h"
#include "orv/nic/live_port.h"
#include "sequence_counter.h"

namespace orv::nic {

/// What RAMS-I messages (RFC 6285 section 7.3) and packets say about one burst. Sends nothing.
class Burst {
  public:
    enum class State : std::uint8_t {
        Requested,  ///< there was no answer yet
        Accepted,   ///< by a message or by a packet
        Refused,
        Unanswered,  ///< no longer waited for
    };
    /// What a RAMS-I message asks the STB to do.
    enum class Reaction : std::uint8_t {
        None,
        JoinNow,    ///< there will be no burst
        Terminate,  ///< as JoinNow, and a response that is not known has to be answered with a RAMS-T
    };

    Burst() = default;
    Burst(UnicastSettings::Sbit sbit, bool is_signed) : sbit_(sbit), is_signed_(is_signed) {}

    Reaction on_information(const live::RamsInformation& information);
    /// The server does not answer.
    void give_up();
    /// A packet of the burst. Returns how many packets just before it have not come yet.
    std::uint64_t on_packet(const live::RetransmissionPacket& packet, il::Time stamp);

    /// Whether the packet is the next one of the stream, so that nobody needs to have asked for it.
    bool is_next(std::uint16_t original_sequence) const;
    /// Whether the packet has come lately.
    bool has(std::uint16_t original_sequence) const { return counter_.has(original_sequence); }

    State state() const { return state_; }
    /// The last response of the server; 0 when there was none.
    std::uint16_t response() const { return response_; }
    /// Of the last packet: whether its original sequence number is that of its signature.
    bool has_right_number() const { return has_right_number_; }
    /// Of the packets, which tells the bursts of an STB apart.
    std::optional<std::uint32_t> ssrc() const { return ssrc_; }
    il::Time first() const { return first_; }
    il::Time last() const { return last_; }
    il::Time first_with_sbit() const { return with_sbit_.first; }
    /// When the packets get the S-bit, if the server has announced it; kNever if not.
    il::Time announced_sbit() const;

    /// The number of the first packet of the multicast stream, which comes at this moment.
    void note_multicast(std::uint16_t sequence);
    /// Whether the packet comes before it, in the stream.
    bool is_before_multicast(std::uint16_t original_sequence) const;

    /// Fills in times and counts of packets, and their distance from the multicast stream.
    void fill_in(const il::TickCounter& counter, iptvcd_1_bll::stbox_event_s& event) const;

  private:
    struct Part {
        il::Time first = il::kNever;
        il::Time last = il::kNever;
        std::uint64_t packets = 0;

        void add(il::Time stamp);
    };
    /// In the counter's numbers, the one nearest to the last packet.
    std::int64_t extended(std::uint16_t sequence) const;
    bool has_sbit(const live::RetransmissionPacket& packet, il::Time stamp);

    UnicastSettings::Sbit sbit_ = UnicastSettings::Sbit::Automatic;
    bool is_signed_ = false;  ///< packets have a signature
    bool has_right_number_ = true;
    bool has_extension_ = false;  ///< the server marks packets itself
    State state_ = State::Requested;
    std::uint16_t response_ = 0;
    std::optional<std::uint32_t> ssrc_;
    std::optional<il::Time> join_time_;            ///< after the first packet
    std::optional<std::uint16_t> first_sequence_;  ///< of the retransmission stream
    il::Time first_ = il::kNever;
    il::Time last_ = il::kNever;
    Part without_sbit_, with_sbit_;
    SequenceCounter counter_;
    std::optional<std::uint16_t> first_multicast_;  ///< lower bits of `multicast_`
    std::int64_t multicast_ = 0;                    ///< as the counter's numbers, once it has begun
    il::Packets packets_;
};

}  // namespace orv::nic
