// What the rows of single events have in common.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

/// A row of the results database. Made for one event, stored with others, and destroyed.
class CIptvBaseEventResults : public ModelClass<ids::IptvBaseEventResults::CLASS.GetValue(), core::CResult> {
};

}  // namespace orv::iptv
