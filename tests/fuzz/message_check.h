// What must hold for any bytes parsed as a message.
#pragma once

#include <cstddef>
#include <span>

namespace orv::tm::testing {

/// Decodes the bytes. When that succeeds, walks every value and sends the message round once more. Returns
/// whether the bytes were a message; throws std::logic_error when the second round differs from the first,
/// and lets through any exception other than Tm_exception.
bool check_message_bytes(std::span<const std::byte> bytes);

}  // namespace orv::tm::testing
