#include "input_check.h"

#include <fmt/format.h>

#include <map>
#include <set>

#include "orv/core/port.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

namespace {

using framework::CScriptable;
using framework::ScriptableVec;

constexpr const char* kSimulatedScheme = "//sim/";

class Check {
  public:
    Check(const TestFile& file, const TestFile::Built& built, RunOutcome& outcome)
        : file_(file), built_(built), outcome_(outcome) {}

    void Ports(const core::CProject& project) {
        ScriptableVec ports;
        project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
        if (ports.empty())
            outcome_.mistakes.push_back(file_.MakeMistake({}, "project", "the test has no port"));
        std::map<std::string, const CScriptable*> by_address;
        for (const CScriptable* object : ports) {
            const auto& port = dynamic_cast<const core::CPort&>(*object);
            const std::string& location = port.GetString(ids::Port::Location);
            if (!location.empty() && !location.starts_with(kSimulatedScheme)) {
                Add(port,
                    fmt::format("Location \"{}\" is no place for a port; expected {}<name>, or nothing: "
                                "ports are simulated",
                                location, kSimulatedScheme));
            }
            const auto [other, is_new] = by_address.emplace(port.GetMessenger().ToMessengerString(), &port);
            if (!is_new)
                Add(port,
                    fmt::format("Location \"{}\" is that of {}, too", location, other->second->Describe()));
        }
    }

    void StartCommands() {
        ScriptableVec commands;
        framework::CScriptableLocator::Instance().GetObjectsEx(commands, ids::IptvStartTestCommand::CLASS,
                                                               &framework::CSequencer::Instance());
        if (commands.empty())
            outcome_.mistakes.push_back(file_.MakeMistake({}, "sequence", "no command of it starts a test"));
        for (CScriptable* command : commands) {
            if (command->GetDouble(ids::IptvStartTestCommand::TestDuration) < 0)
                Add(*command, "TestDuration is negative");
            framework::ValidationContext context;
            context.SetCurrentObject(command);
            dynamic_cast<framework::CCommand&>(*command).Validate(context);
            Take(context);
        }
    }

    void Objects(core::CProject& project) {
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(project, context);
        Take(context);
    }

  private:
    void Add(const CScriptable& object, const std::string& problem) {
        outcome_.mistakes.push_back(
            file_.MakeMistake(GetPosition(object.GetHandle()), object.Describe(), problem));
    }

    Position GetPosition(std::uint32_t handle) const {
        const auto found = built_.positions.find(handle);
        return found == built_.positions.end() ? Position{} : found->second;
    }

    /// The rules of a start command and those of the objects overlap.
    void Take(const framework::ValidationContext& context) {
        for (const auto& report : context.GetErrors()) {
            if (!known_.emplace(report.object_handle, report.message).second) continue;
            outcome_.mistakes.push_back(
                file_.MakeMistake(GetPosition(report.object_handle), report.object, report.message));
        }
        for (const auto& report : context.GetWarnings()) {
            if (!known_.emplace(report.object_handle, report.message).second) continue;
            outcome_.warnings.push_back(
                file_.MakeMistake(GetPosition(report.object_handle), report.object, report.message)
                    .ToString());
        }
    }

    const TestFile& file_;
    const TestFile::Built& built_;
    RunOutcome& outcome_;
    std::set<std::pair<std::uint32_t, std::string>> known_;
};

}  // namespace

void CheckInput(const TestFile& file, const TestFile::Built& built, core::CProject& project,
                RunOutcome& outcome) {
    Check check(file, built, outcome);
    check.Ports(project);
    check.StartCommands();
    // The validators go by what kind of test the start commands say it is.
    check.Objects(project);
}

}  // namespace orv::app
