// Waits for the end of the running test.
#pragma once

#include "ModelClass.h"
#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Ends when no test runs any more, however long that takes. A sequence that is stopped meanwhile stops the
/// test, once, and the wait goes on until it has ended.
class CIptvWaitForTestCompletionCommand
    : public ModelClass<ids::IptvWaitForTestCompletionCommand::CLASS.GetValue(), framework::CCommand> {
  public:
    bool DoReset() override { return true; }
    void DoRun() override;
};

}  // namespace orv::iptv
