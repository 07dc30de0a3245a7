// Reports what makes the figures of a run wrong.
#pragma once

#include "orv/nic/live_port.h"

namespace orv::nic {

/// Compares a port's figures with those of the last check, and reports counters that should not have grown.
class Complaints {
  public:
    explicit Complaints(LivePort::Complain complain) : complain_(std::move(complain)) {}

    void look(const LiveFigures& figures);
    /// Streams whose packets exceed the MTU of the interface.
    void on_too_long(std::size_t streams, std::size_t mtu) const;
    /// Frames not sent when the port is closed.
    void on_left_behind(std::size_t frames) const;
    /// Hosts that still have addresses of servers then.
    void on_addresses_kept() const;

  private:
    LivePort::Complain complain_;
    LiveFigures before_;
};

}  // namespace orv::nic
