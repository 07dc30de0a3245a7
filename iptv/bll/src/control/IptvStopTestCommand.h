// Ends the running test.
#pragma once

#include "ModelClass.h"
#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Tells every port to stop; the test ends when all ports have. Does nothing while a test is ending already.
class CIptvStopTestCommand
    : public ModelClass<ids::IptvStopTestCommand::CLASS.GetValue(), framework::CCommand> {
  public:
    bool Validate(framework::CBaseValidationContext&) override { return true; }
    bool DoReset() override { return true; }
    void DoRun() override;
};

}  // namespace orv::iptv
