// Waits for the end of the running test.
#pragma once

#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Ends when no test runs any more, however long that takes. A sequence that is stopped meanwhile stops the
/// test, once, and the wait goes on until it has ended.
class CIptvWaitForTestCompletionCommand : public framework::CCommand {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    bool DoReset() override { return true; }
    void DoRun() override;
    bool IsSingleton() const override { return false; }
};

}  // namespace orv::iptv
