// A project of wizard objects.
#pragma once

#include "orv/framework/command.h"
#include "orv/framework/sequencer.h"
#include "results/results_fixture.h"
#include "thrown.h"
#include "wizard/IptvWizardFinishCommand.h"
#include "wizard/IptvWizardMcastSources.h"

namespace wizard_test {

using namespace results_test;  // NOLINT: tests
using framework::CScriptableCreator, framework::CSequencer, testing_aids::LogCapture, testing_aids::Stack;

/// Each live object by class and name, and indented below it, a line each, the properties that differ from
/// the class's defaults and the relations by name; then its children. "registered" are those of whose changes
/// a user interface is told. Objects are named as the test named them, those that nobody named by class and
/// number of appearance ("IptvChannelBlock #1"); the same in properties that hold handles.
std::string DescribeProjectAndSequence();

inline std::string Handle(const CScriptable& object) {
    return std::to_string(object.GetHandle());
}

/// Makes wizard objects below a test project.
struct WizardScene {
    explicit WizardScene(TestProject& project) : project_(project) {}

    CScriptable& Make(const std::string& class_name, CScriptable& parent, const std::string& values = "") {
        CScriptableCreator creator;
        CScriptable* object = creator.Create(class_name, &parent);
        EXPECT_TRUE(object) << creator.GetErrorText();
        SetAll(*object, values);
        return *object;
    }
    static CScriptable& Child(const CScriptable& parent, const std::string& class_name) {
        return *parent.GetObject(class_name, common::kParentChild);
    }
    core::CPort& MakePort(const std::string& name) { return project_.MakePort(name); }
    /// A device whose protocol is left to the wizard.
    core::CEmulatedDevice& MakeDevice(core::CPort* port, const std::string& name, Stack stack = {}) {
        core::CEmulatedDevice& device = project_.MakeDevice(port, 1, stack);
        TestProject::McastOf(device).Delete();
        device.Set(ids::Scriptable::Name, name);
        return device;
    }
    CScriptable& Config() {
        CScriptable* config = project_.Root().GetObject("IptvWizardTestConfig", common::kParentChild);
        return config ? *config : Make("IptvWizardTestConfig", project_.Root());
    }
    iptv::CIptvWizardMcastSources& MakeSources(CScriptable& port, const std::string& values = "") {
        return dynamic_cast<iptv::CIptvWizardMcastSources&>(Make("IptvWizardMcastSources", port, values));
    }
    CScriptable& MakeBoxes(CScriptable& device, const std::string& values = "") {
        return Make("IptvWizardStbBlock", device, values);
    }
    /// What the wizard says.
    std::string Finish() {
        auto& finish = CScriptableCreator().Make<iptv::CIptvWizardFinishCommand>(&project_.Root());
        const std::string why = testing_aids::ThrownBy<common::COrvException>([&] { finish.Execute(false); });
        finish.Delete();
        return why;
    }

  private:
    TestProject& project_;
};
/// It does when all went well.
const std::string kDone = "nothing thrown";

/// Channels 1 to 4 from one port to the set-top boxes of another.
struct Good {
    TestProject project;
    WizardScene s{project};
    core::CPort &from = s.MakePort("From"), &to = s.MakePort("To");
    core::CEmulatedDevice &server = s.MakeDevice(&from, "Server"), &homes = s.MakeDevice(&to, "Homes");
    CScriptable& config = s.Config();
    CScriptable& sources = s.MakeSources(from, "Name Sources TrafHost " + Handle(server));
    CScriptable& boxes = s.MakeBoxes(homes, "Name Boxes");
};

struct WizardTest : testing::Test {
    LogCapture log;
    TestProject project;
    WizardScene scene{project};
};

}  // namespace wizard_test
