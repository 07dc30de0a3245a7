// A host with the virtual clock, and classes for tests that work with objects.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/command.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"

namespace host_test {

using namespace orv::framework;  // NOLINT: tests
using orv::common::COrvLogicError;
using orv::common::COrvRunTimeError;
using orv::common::kParentChild;

inline constexpr std::uint32_t kProjectClass = 0x6000;
inline constexpr std::uint32_t kThing = 0x7d001000;
inline constexpr std::uint32_t kSpecialThing = 0x7d002000;
inline constexpr std::uint32_t kTestCommand = 0x7d003000;
inline constexpr PropId kValue = 0x7d001001;
inline constexpr PropId kActive = 0x1003;
inline constexpr PropId kCancellable = 0xe01b;
/// From things to things.
inline constexpr RelationType kUses{0x7d000001, 0};

/// A command whose work the test defines.
class TestCommand : public CCommand {
  public:
    static ClassId CLASS_ID() { return kTestCommand; }
    using CCommand::SetStep;

    bool Validate(CBaseValidationContext& context) override { return !on_validate || on_validate(context); }
    void DoRun() override {
        ++runs;
        if (on_run) on_run();
    }
    bool DoReset() override { return !refuse_reset; }
    bool DoRunnableValidate(std::string& reason) const override;
    void OnRunnableStateChange(bool runnable) override { states += runnable ? "runnable " : "blocked "; }
    void OnCommandStateChange(CommandState from, CommandState to) override;
    void OnChildAdded(CScriptable& child) override { states += "child " + child.GetName() + " "; }

    std::function<bool(CBaseValidationContext&)> on_validate;
    std::function<void()> on_run;
    bool refuse_reset = false;
    std::string blocked;
    int runs = 0;
    std::string states;  ///< "IDLE>PENDING " and so on
};

class HostTest : public testing::Test {
  protected:
    HostTest();

    orv::core::CProject& Project() { return host_.GetProject(); }
    CScriptable& MakeThing(const std::string& name, CScriptable* parent = nullptr, std::uint32_t id = kThing);
    TestCommand& MakeCommand(const std::string& name, CScriptable* parent = nullptr);

    orv::core::CHostApplication host_;
};

/// Names of objects, separated by blanks.
std::string NamesOf(const ScriptableVec& objects);

}  // namespace host_test
