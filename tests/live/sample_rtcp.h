// Datagrams as a server of retransmissions and bursts sends them, and their contents.
#pragma once

#include "live/sample_frames.h"
#include "orv/live/retransmission_packet.h"
#include "orv/live/rtcp.h"

namespace testing_aids {

/// `text` is what text_of_datagram() makes of the bytes.
std::span<const SampleFrame> sample_datagrams();

/// Everything that the messages hold, or the retransmission; empty for neither.
std::string text_of_datagram(std::span<const std::byte> payload);

}  // namespace testing_aids
