// Ends the wizard: builds the test from its objects.
#pragma once

#include "ModelClass.h"
#include "orv/framework/command.h"

namespace orv::iptv {

using common::ClassId;

/// Holds the settings of the whole test while a user edits them. A new command copies those of the project's
/// wizard test configuration, if there is one. The first change of any property of the command, including its
/// state when it runs, creates that configuration if needed. Changed settings are copied to it; unchanged
/// defaults are not. Running the command builds the test and its sequence (CIptvWizardManager::SetupTest).
class CIptvWizardFinishCommand
    : public ModelClass<ids::IptvWizardFinishCommand::CLASS.GetValue(), framework::CCommand> {
  public:
    bool OnInit() override;
    /// Throws COrvException if there is no wizard test configuration and none can be created.
    void OnPropertyModified(framework::Property& property) override;
    /// Fails inside a sequence, because it would destroy the sequence and itself.
    void DoRun() override;
};

}  // namespace orv::iptv
