// Takes frames that hosts send.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::nic {

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    /// False when the interface does not accept it; counting that is up to the caller.
    virtual bool send(std::span<const std::byte> frame) = 0;
};

}  // namespace orv::nic
