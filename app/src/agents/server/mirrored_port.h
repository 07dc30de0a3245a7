// A simulated port that lives by the clock of a controller on another machine.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

#include "agents/protocol/settings.h"

namespace orv::app {

/// Does nothing by itself: everything happens in steps. Used from one thread at a time.
class MirroredPort {
  public:
    /// Which channels are sent comes in steps: none at first.
    MirroredPort(const RemotePortSetup& setup, const il::Network& network, std::chrono::nanoseconds now);
    ~MirroredPort();
    MirroredPort(const MirroredPort&) = delete;
    MirroredPort& operator=(const MirroredPort&) = delete;

    /// Takes a step and returns what the port did, both as bytes (protocol/step.h). Throws ProtocolError for
    /// bytes that are no step.
    std::vector<std::byte> TakeStep(std::span<const std::byte> step);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::app
