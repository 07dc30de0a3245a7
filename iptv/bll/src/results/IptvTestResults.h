// A test and how it ended.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

class CIptvTestResults : public ModelClass<ids::IptvTestResults::CLASS.GetValue(), core::CResult> {
  public:
    /// Names the object after its handle, and notes the test's name and the local time as its start.
    void SetTestParams(const std::string& testName);
    /// Notes the local time as the test's end.
    void SetEndTime();
};

}  // namespace orv::iptv
