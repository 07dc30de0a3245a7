// Event row of a retransmission.
#pragma once

#include "ModelClass.h"
#include "results/IptvBaseEventResults.h"

namespace orv::iptv {

class CIptvRrrEventResults
    : public ModelClass<ids::IptvRrrEventResults::CLASS.GetValue(), CIptvBaseEventResults> {};

}  // namespace orv::iptv
