// Results of one set-top box.
#pragma once

#include "ModelClass.h"
#include "results/IptvTotalResults.h"

namespace orv::iptv {

class CIptvStbResults : public ModelClass<ids::IptvStbResults::CLASS.GetValue(), CIptvTotalResults> {};

}  // namespace orv::iptv
