// Waits for the end of the running test.
#pragma once

#include "ModelClass.h"
#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Ends when no test runs, however long that takes. When the sequence is stopped meanwhile, it stops the
/// test once, and waits on until the test has ended.
class CIptvWaitForTestCompletionCommand
    : public ModelClass<ids::IptvWaitForTestCompletionCommand::CLASS.GetValue(), framework::CCommand> {
  public:
    bool DoReset() override { return true; }
    void DoRun() override;
};

}  // namespace orv::iptv
