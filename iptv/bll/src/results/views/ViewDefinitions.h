// Definitions of the report views.
#pragma once

#include <span>
#include <string>

#include "orv/common/ids.h"
#include "results/views/When.h"
#include "running/TestKind.h"

namespace orv::iptv::views {

/// Columns other than figures.
struct Piece {
    When when;
    const char* columns;  ///< "Table.Column as 'title',..."; without a title: the display name
    int place = 0;        ///< position among the columns of figures
};

struct View {
    const char* name;
    const char* description;
    std::span<const Piece> pieces;
    const char* from;
    const char* where;
    common::ClassId results = 0;        ///< class of the figures shown; 0: none
    const char* table_of_figures = "";  ///< prefix of their columns
    In figures_as = In::kAllButIpv4StbResult;

    /// The columns for a kind of test, separated by commas.
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
