// What the rows of single events have in common.
#pragma once

#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

/// A row of the results database. Made for one event, stored with others, and destroyed.
class CIptvBaseEventResults : public core::CResult {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();
    bool IsSingleton() const override { return false; }
};

}  // namespace orv::iptv
