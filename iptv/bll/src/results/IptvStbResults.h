// The views of one set-top box.
#pragma once

#include "results/IptvTotalResults.h"

namespace orv::iptv {

class CIptvStbResults : public CIptvTotalResults {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();
};

}  // namespace orv::iptv
