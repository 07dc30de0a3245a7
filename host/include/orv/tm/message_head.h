// The beginning of a message, for those who pass messages on.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "orv/tm/kinds.h"

namespace orv::tm {

struct Message_head {
    TMT type = TMT_REQUEST;
    std::string_view request_name;  ///< refers to the bytes
};

/// Reads no more than that, however long the message is (docs/wire-format.md). Nothing if the bytes do not
/// begin like a message; that they do says nothing of the rest.
std::optional<Message_head> read_message_head(std::span<const std::byte> bytes);

}  // namespace orv::tm
