// Where the frames of a port's hosts go.
#pragma once

#include <cstring>

#include "frame_sink.h"
#include "packet_link.h"

namespace orv::nic {

/// They leave with the link's next flush.
class LinkSink : public FrameSink {
  public:
    explicit LinkSink(PacketLink& link) : link_(link) {}

    bool send(std::span<const std::byte> frame) override {
        std::span<std::byte> room = link_.room();
        if (room.empty()) {
            link_.flush();
            room = link_.room();
        }
        if (room.size() < frame.size()) return false;
        std::memcpy(room.data(), frame.data(), frame.size());
        link_.commit(frame.size());
        return true;
    }

  private:
    PacketLink& link_;
};

}  // namespace orv::nic
