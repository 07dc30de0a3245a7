// Where the frames of a port's hosts go.
#pragma once

#include "frame_sink.h"
#include "packet_link.h"

namespace orv::nic {

/// They leave with the link's next flush.
class LinkSink : public FrameSink {
  public:
    explicit LinkSink(PacketLink& link) : link_(link) {}

    bool send(std::span<const std::byte> frame) override { return link_.send(frame); }

  private:
    PacketLink& link_;
};

}  // namespace orv::nic
