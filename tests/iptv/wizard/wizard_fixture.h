// A project of wizard objects.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "orv/framework/command.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "test_project.h"
#include "wizard/IptvWizardFinishCommand.h"
#include "wizard/IptvWizardMcastSources.h"
#include "wizard/IptvWizardStbBlock.h"
#include "wizard/IptvWizardTestConfig.h"
#include "wizard/tree_text.h"

namespace wizard_test {

using namespace orv;  // NOLINT: tests
using framework::CScriptable;
using framework::CScriptableCreator;
using framework::CSequencer;
using Values = std::initializer_list<std::pair<const char*, std::string>>;

inline void SetAll(CScriptable& object, Values values) {
    for (const auto& [name, value] : values) object.Set(name, value);
}
inline std::string Handle(const CScriptable& object) {
    return std::to_string(object.GetHandle());
}

/// Makes wizard objects below a test project.
class WizardScene {
  public:
    explicit WizardScene(testing_aids::TestProject& project) : project_(project) {}

    CScriptable& Make(const std::string& class_name, CScriptable& parent, Values values = {}) {
        CScriptableCreator creator;
        CScriptable* object = creator.Create(class_name, &parent);
        EXPECT_TRUE(object) << creator.GetErrorText();
        SetAll(*object, values);
        return *object;
    }
    CScriptable& Child(const CScriptable& parent, const std::string& class_name) {
        return *parent.GetObject(class_name, common::kParentChild);
    }
    core::CPort& MakePort(const std::string& name) { return project_.MakePort(name); }
    /// A device whose protocol is left to the wizard.
    core::CEmulatedDevice& MakeDevice(core::CPort* port, const std::string& name,
                                      testing_aids::Stack stack = {}, std::uint32_t count = 1) {
        core::CEmulatedDevice& device = project_.MakeDevice(port, count, stack);
        testing_aids::TestProject::McastOf(device).Delete();
        device.Set(ids::Scriptable::Name, name);
        return device;
    }
    CScriptable& Config() {
        CScriptable* config = project_.Root().GetObject("IptvWizardTestConfig", common::kParentChild);
        return config ? *config : Make("IptvWizardTestConfig", project_.Root());
    }
    iptv::CIptvWizardMcastSources& MakeSources(CScriptable& port, Values values = {}) {
        return dynamic_cast<iptv::CIptvWizardMcastSources&>(Make("IptvWizardMcastSources", port, values));
    }
    CScriptable& MakeBoxes(CScriptable& device, Values values = {}) {
        return Make("IptvWizardStbBlock", device, values);
    }
    /// What the wizard says; empty when all went well.
    std::string Finish() {
        auto& finish = CScriptableCreator().Make<iptv::CIptvWizardFinishCommand>(&project_.Root());
        std::string why;
        try {
            finish.Execute(false);
        } catch (const common::COrvException& error) {
            why = error.what();
        }
        finish.Delete();
        return why;
    }

  private:
    testing_aids::TestProject& project_;
};

/// Channels 1 to 4 from one port to the set-top boxes of another.
struct Good {
    explicit Good(WizardScene& scene) : s(scene) {}

    WizardScene& s;
    core::CPort& from = s.MakePort("From");
    core::CPort& to = s.MakePort("To");
    core::CEmulatedDevice& server = s.MakeDevice(&from, "Server");
    core::CEmulatedDevice& homes = s.MakeDevice(&to, "Homes");
    CScriptable& config = s.Config();
    CScriptable& sources = s.MakeSources(from, {{"Name", "Sources"}, {"TrafHost", Handle(server)}});
    CScriptable& boxes = s.MakeBoxes(homes, {{"Name", "Boxes"}});
};

class WizardTest : public testing::Test {
  protected:
    testing_aids::LogCapture log;
    testing_aids::TestProject project;
    WizardScene scene{project};
};

}  // namespace wizard_test
