#include "input_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "live_port_check.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/task_manager.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "port_location.h"
#include "traffic.h"

namespace orv::app {

namespace {

using framework::CScriptable;
using framework::ScriptableVec;

/// What the set-top boxes of live ports cannot do; null for all else.
const char* FindRefusedTest(std::uint8_t type) {
    switch (type) {
        case ids::TestType::FAST_CHANNEL_CHANGE:
            return "fast channel change";
        case ids::TestType::RELIABLE_RETRANSMISSION:
            return "retransmission";
        case ids::TestType::FCC_WITH_RRR:
            return "fast channel change with retransmission";
        default:
            return nullptr;
    }
}

/// Ports with blocks that a command starts, each once.
std::vector<const core::CPort*> FindPortsOf(const CScriptable& start_command) {
    std::vector<const core::CPort*> found;
    for (const std::uint32_t handle :
         start_command.GetCollection<std::uint32_t>(ids::IptvStartTestCommand::StbBlockList)) {
        const CScriptable* root = framework::CHandleRegistry::Instance().Find(handle);
        if (!root) continue;
        ScriptableVec blocks;
        framework::CScriptableLocator::Instance().GetObjectsEx(blocks, ids::IptvStbBlockConfig::CLASS, root);
        for (const CScriptable* block : blocks) {
            const auto* port = dynamic_cast<const core::CPort*>(
                block->GetParent()->GetObject(core::CPort::CLASS_ID(), ids::relations::AffiliationPort));
            if (!port || !block->GetActive()) continue;
            if (std::find(found.begin(), found.end(), port) == found.end()) found.push_back(port);
        }
    }
    return found;
}

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
            if (const std::string problem = FindLocationProblem(location); !problem.empty())
                Add(port, problem);
            for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
                if (const std::string problem = FindStreamCountProblem(*block); !problem.empty())
                    AddOnce(*block, problem);
            }
            if (GetLiveInterface(port)) {
                for (const auto& [user, problem] : FindLivePortProblems(port)) AddOnce(*user, problem);
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
            TestType(*command);
            framework::ValidationContext context;
            context.SetCurrentObject(command);
            dynamic_cast<framework::CCommand&>(*command).Validate(context);
            Take(context);
        }
    }

    void Clock(const core::CProject& project) {
        ScriptableVec ports;
        project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
        for (const CScriptable* object : ports) {
            const auto& port = dynamic_cast<const core::CPort&>(*object);
            if (GetLiveInterface(port))
                Add(port,
                    "a live port needs the real clock (--clock real): the virtual one runs ahead of its "
                    "network");
        }
    }

    void Objects(core::CProject& project) {
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(project, context);
        Take(context);
    }

  private:
    void TestType(const CScriptable& command) {
        const char* refused = FindRefusedTest(command.GetU8(ids::IptvStartTestCommand::TestType));
        if (!refused) return;
        for (const core::CPort* port : FindPortsOf(command)) {
            if (!GetLiveInterface(*port)) continue;
            Add(command, fmt::format("{} is not offered by live ports, one of which is {}", refused,
                                     port->Describe()));
        }
    }

    void AddOnce(const CScriptable& object, const std::string& problem) {
        if (known_.emplace(object.GetHandle(), problem).second) Add(object, problem);
    }

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

void CheckClock(const TestFile& file, const TestFile::Built& built, const core::CProject& project,
                RunOutcome& outcome) {
    if (framework::CTaskManager::Instance().GetClockKind() == framework::ClockKind::Virtual)
        Check(file, built, outcome).Clock(project);
}

}  // namespace orv::app
