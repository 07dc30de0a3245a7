// Name, times and verdict of a test.
#pragma once

#include "ModelClass.h"
#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

class CIptvTestResults : public ModelClass<ids::IptvTestResults::CLASS.GetValue(), core::CResult> {
  public:
    /// Names the object after its handle, and sets the test's name and, from the local time, its start.
    void SetTestParams(const std::string& testName);
    /// Sets the test's end to the local time.
    void SetEndTime();
    /// The distributions of the whole test, which otherwise exist from its end on.
    void Refresh() override;
};

}  // namespace orv::iptv
