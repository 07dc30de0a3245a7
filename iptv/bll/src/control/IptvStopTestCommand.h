// Ends the running test.
#pragma once

#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Tells every port to stop; the test ends when all ports have. Does nothing while a test is ending already.
class CIptvStopTestCommand : public framework::CCommand {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    bool Validate(framework::CBaseValidationContext&) override { return true; }
    bool DoReset() override { return true; }
    void DoRun() override;
    bool IsSingleton() const override { return false; }
};

}  // namespace orv::iptv
