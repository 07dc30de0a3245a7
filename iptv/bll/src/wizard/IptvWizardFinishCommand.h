// Ends the wizard: builds the test that it describes.
#pragma once

#include "ModelClass.h"
#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Holds the settings of the whole test while a user edits them. A new one shows those of the project's
/// wizard test configuration, if there is one. The first change of any property of the command, its state
/// when it runs included, makes that configuration when there is none; each setting that is changed is
/// changed in it too, a default that nobody has changed is not. Running the command builds the test and its
/// sequence (CIptvWizardManager::SetupTest).
class CIptvWizardFinishCommand
    : public ModelClass<ids::IptvWizardFinishCommand::CLASS.GetValue(), framework::CCommand> {
  public:
    bool OnInit() override;
    /// Throws COrvException when there is no wizard test configuration and none can be made.
    void OnPropertyModified(framework::Property& property) override;
    /// Fails inside a sequence, which it would destroy together with itself.
    void DoRun() override;
};

}  // namespace orv::iptv
