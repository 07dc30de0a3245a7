// What must hold for any bytes that come from a network.
#pragma once

#include <cstddef>
#include <span>

namespace testing_aids {

/// Reads the bytes as a frame, as they are and once more with checksums that fit, walks everything they say,
/// and lets hosts of all versions react to it. Returns whether either was accepted; throws std::logic_error
/// when a frame that a host sends is not as it should be.
bool check_frame_bytes(std::span<const std::byte> bytes);

}  // namespace testing_aids
