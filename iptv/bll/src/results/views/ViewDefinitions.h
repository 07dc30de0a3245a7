// What the report views show.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "running/TestKind.h"

namespace orv::iptv::views {

/// For which tests a part of a list of columns is shown.
enum class When {
    kAll,
    kMulticastOnly,   ///< zapping and verification
    kUnicast,         ///< fast channel change and retransmission
    kRetransmission,  ///< tests with retransmission
    kSbit,            ///< unicast tests whose multicast join waits for the S-bit
    kNoSbit           ///< the other unicast tests
};

struct Piece {
    When when;
    const char* columns;        ///< "Table.Column as 'title',..."; titles left out are the display names
    std::uint8_t views = 0xff;  ///< which of the views that share the list have the columns, joined with |
};

struct View {
    const char* name;
    const char* description;
    std::span<const Piece> pieces;
    const char* from;
    const char* where;
    std::uint8_t bit = 0xff;  ///< the view among those that share the list

    /// The columns for a kind of test.
    std::string GetSelect(const TestKind& kind) const;
};

extern const View kTestSummary;
extern const View kPortConfig;
extern const View kPortResult;
extern const View kIpv4StbConfig;
extern const View kIpv4StbResult;
extern const View kIpv6StbConfig;
extern const View kIpv6StbResult;
extern const View kChannelConfig;
extern const View kChannelResult;
extern const View kProfileConfig;
extern const View kProfileResult;
extern const View kEventResult;
extern const View kRrrEventResult;

}  // namespace orv::iptv::views
