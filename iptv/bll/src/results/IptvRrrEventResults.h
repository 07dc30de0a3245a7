// The row of one retransmission.
#pragma once

#include "results/IptvBaseEventResults.h"

namespace orv::iptv {

class CIptvRrrEventResults : public CIptvBaseEventResults {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();
};

}  // namespace orv::iptv
