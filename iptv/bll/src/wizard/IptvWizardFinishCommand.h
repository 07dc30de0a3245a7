// Ends the wizard: builds the test that it describes.
#pragma once

#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Holds the settings of the whole test while a user edits them: each one that is set is set in the project's
/// wizard test configuration too, which is made when there is none. Running the command builds the test and
/// its sequence (CIptvWizardManager::SetupTest).
class CIptvWizardFinishCommand : public framework::CCommand {
  public:
    static ClassId CLASS_ID();
    static const framework::CMetaClass* GetMetaClassStatic();

    /// Throws COrvException when there is no wizard test configuration and none can be made.
    void OnPropertyModified(framework::Property& property) override;
    /// Fails inside a sequence, which it would destroy together with itself.
    void DoRun() override;
    bool IsSingleton() const override { return false; }
};

}  // namespace orv::iptv
