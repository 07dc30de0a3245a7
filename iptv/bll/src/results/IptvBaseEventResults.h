// Common base of event rows.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

/// A row of the results database. Created for one event, saved in a batch, then destroyed.
class CIptvBaseEventResults : public ModelClass<ids::IptvBaseEventResults::CLASS.GetValue(), core::CResult> {
};

}  // namespace orv::iptv
