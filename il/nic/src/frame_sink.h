// Takes frames that hosts send.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace orv::nic {

class FrameSink {
  public:
    virtual ~FrameSink() = default;
    /// False if the interface does not accept it; the caller counts that.
    virtual bool send(std::span<const std::byte> frame) = 0;
};

}  // namespace orv::nic
