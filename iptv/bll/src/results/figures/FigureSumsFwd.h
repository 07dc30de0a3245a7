// Forward declarations of the sums of figures, for code that only passes them on.
#pragma once

#include <cstdint>

#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

template <std::uint32_t class_id>
struct FigureSums;

using JoinLeaveSums = FigureSums<ids::IptvJoinLeaveResults::CLASS.GetValue()>;
using GapOverlapSums = FigureSums<ids::IptvGapOverlapResults::CLASS.GetValue()>;

}  // namespace orv::iptv
