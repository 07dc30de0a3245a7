// Conditions on which views show a column.
#pragma once

#include <cstdint>

#include "running/TestKind.h"

namespace orv::iptv::views {

enum class When : std::uint8_t {
    kNever,
    kAll,
    kMulticastOnly,   ///< zapping and verification
    kUnicast,         ///< fast channel change and retransmission
    kRetransmission,  ///< tests with retransmission
    kSbit,            ///< unicast tests whose multicast join waits for the S-bit
    kNoSbit           ///< the other unicast tests
};

constexpr bool Holds(When when, const TestKind& kind) {
    switch (when) {
        case When::kNever:
            return false;
        case When::kAll:
            return true;
        case When::kMulticastOnly:
            return !kind.HasUnicast();
        case When::kUnicast:
            return kind.HasUnicast();
        case When::kRetransmission:
            return kind.HasRetransmission();
        case When::kSbit:
            return kind.HasSbit();
        case When::kNoSbit:
            return kind.HasUnicast() && !kind.HasSbit();
    }
    return false;
}

/// Views with different titles for the same column.
enum class In : std::uint8_t { kAnyView, kIpv4StbResult, kAllButIpv4StbResult };

/// Title of a column.
struct Title {
    When when = When::kNever;
    const char* text = "";  ///< the display name when empty
    In in = In::kAnyView;
};

}  // namespace orv::iptv::views
