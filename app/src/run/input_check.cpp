#include "input_check.h"

#include <fmt/format.h>

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "address_block.h"
#include "channel_check.h"
#include "device_check.h"
#include "find_objects.h"
#include "live_port_check.h"
#include "mistake_writer.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/sequencer.h"
#include "orv/framework/task_manager.h"
#include "orv/framework/validation.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/iptv_ids.h"
#include "port_location.h"
#include "report_keys.h"
#include "sequence_check.h"
#include "traffic.h"

namespace orv::app {

namespace {

class Check {
  public:
    Check(const TestFile& file, const TestFile::Built& built, core::CProject& project, RunOutcome& outcome)
        : file_(file), built_(built), writer_(file, built), project_(project), outcome_(outcome) {}

    void Ports() {
        const ScriptableVec ports = GetPorts();
        if (ports.empty()) outcome_.mistakes.push_back(file_.MakeMistake("project", "the test has no port"));
        std::map<std::string, const CScriptable*> by_address;
        for (const CScriptable* object : ports) {
            const auto& port = dynamic_cast<const core::CPort&>(*object);
            const std::string& location = port.GetString(ids::Port::Location);
            if (const std::string problem = FindLocationProblem(location); !problem.empty())
                Add({&port, "Location", problem});
            for (const l2l3::CStreamBlock* block : GetActiveStreamBlocks(port)) {
                CountStreams(*block);
            }
            if (GetPlace(port).IsLive()) Add(FindLivePortProblems(port));
            Add(FindAddressProblems(port));
            const auto [other, is_new] = by_address.emplace(port.GetMessenger().ToMessengerString(), &port);
            if (!is_new)
                Add({&port, "Location",
                     fmt::format("\"{}\" is that of {}, too", location, other->second->Describe())});
        }
    }

    /// The program's own rules come first: they refer to the file, while those of the plug-in may refer to
    /// missing objects.
    void Parts() {
        Add(FindDeviceProblems(project_));
        Add(FindChannelProblems(project_));
        Add(FindSequenceProblems());
    }

    void StartCommands() {
        const framework::CSequencer& sequence = framework::CSequencer::Instance();
        const ScriptableVec commands = FindActive(sequence, ids::IptvStartTestCommand::CLASS);
        if (commands.empty()) RefuseLackOfStart(FindBelow(sequence, ids::IptvStartTestCommand::CLASS));
        for (CScriptable* object : commands) {
            auto& command = dynamic_cast<framework::CCommand&>(*object);
            Add(FindServerProblems(command));
            if (IsMadeByDefault(command) && RefuseLackOfBoxes()) continue;
            framework::ValidationContext context;
            context.SetCurrentObject(&command);
            command.Validate(context);
            Take(context);
        }
    }

    void Places(bool has_server) {
        const bool is_virtual =
            framework::CTaskManager::Instance().GetClockKind() == framework::ClockKind::Virtual;
        for (const CScriptable* object : GetPorts()) {
            const auto& port = dynamic_cast<const core::CPort&>(*object);
            const PortPlace place = GetPlace(port);
            if (place.IsLive() && is_virtual)
                Add({&port, "Location",
                     "a live port needs the real clock (--clock real): the virtual one runs ahead of its "
                     "network"});
            if (!place.agent.empty() && !has_server)
                Add({&port, "Location",
                     fmt::format("agent {} is reached over a server: give its address (--server)",
                                 place.agent)});
        }
    }

    void Objects() {
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(project_, context);
        Take(context);
    }

    /// Reports for which there is no clearer mistake are passed on unchanged.
    void Finish() {
        if (outcome_.mistakes.empty()) std::swap(outcome_.mistakes, said_better_);
    }

  private:
    ScriptableVec GetPorts() const {
        ScriptableVec ports;
        project_.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
        return ports;
    }

    /// The first block that exceeds the common limit is reported.
    void CountStreams(const l2l3::CStreamBlock& block) {
        if (const std::string problem = FindStreamCountProblem(block); !problem.empty())
            return Add({&block, "DstBinding", problem});
        const bool is_over = streams_ > kMostStreamsOfTest;
        streams_ += block.GetStreamCount();
        if (is_over || streams_ <= kMostStreamsOfTest) return;
        Add({&block, "DstBinding",
             fmt::format(
                 "with it the test has {} streams; the stream blocks of all ports together have at most {}",
                 streams_, kMostStreamsOfTest)});
    }

    void RefuseLackOfStart(const ScriptableVec& idle) {
        if (idle.empty())
            return outcome_.mistakes.push_back(
                file_.MakeMistake("sequence", "no command of it starts a test"));
        Add({idle.front(), "Active", "it is off, and no other command starts a test", "true"});
    }

    /// Neither the file nor the wizard provides a sequence.
    bool IsMadeByDefault(const CScriptable& command) const {
        return !file_.HasSequence() && built_.objects.contains(command.GetHandle());
    }

    /// Commands that are not in the file cannot be edited there. True when there are none.
    bool RefuseLackOfBoxes() {
        const ScriptableVec blocks = FindBelow(project_, ids::IptvStbBlockConfig::CLASS);
        if (!FindActive(project_, ids::IptvStbBlockConfig::CLASS).empty()) return false;
        if (blocks.empty()) {
            outcome_.mistakes.push_back(file_.MakeMistake("project", "the test has no set-top boxes",
                                                          "an IptvStbBlockConfig below an EmulatedDevice"));
        } else {
            Add({blocks.front(), "Active", "it is off, and no other set-top boxes are on"});
        }
        return true;
    }

    void Add(const ObjectProblem& problem) {
        const std::uint32_t handle = problem.object->GetHandle();
        if (known_.emplace(handle, problem.text).second) outcome_.mistakes.push_back(writer_.Write(problem));
    }

    void Add(const ObjectProblems& problems) {
        for (const ObjectProblem& problem : problems) Add(problem);
    }

    ObjectProblem ReadReport(const framework::ValidationReport& report) const {
        const CScriptable* object = framework::CHandleRegistry::Instance().Find(report.object_handle);
        return {object ? object : &project_, FindKeyOfReport(report.message), report.message};
    }

    /// The rules of a start command and those of the objects overlap.
    void Take(const framework::ValidationContext& context) {
        for (const auto& report : context.GetErrors()) {
            const ObjectProblem problem = ReadReport(report);
            if (!known_.emplace(report.object_handle, report.message).second) continue;
            (IsSaidBetter(report.message) ? said_better_ : outcome_.mistakes)
                .push_back(writer_.Write(problem));
        }
        for (const auto& report : context.GetWarnings()) {
            if (!known_.emplace(report.object_handle, report.message).second) continue;
            outcome_.warnings.push_back(writer_.Write(ReadReport(report)).ToString());
        }
    }

    const TestFile& file_;
    const TestFile::Built& built_;
    const MistakeWriter writer_;
    core::CProject& project_;
    RunOutcome& outcome_;
    std::uint64_t streams_ = 0;                              ///< of the blocks so far
    std::vector<Mistake> said_better_;                       ///< covered by other mistakes
    std::set<std::pair<std::uint32_t, std::string>> known_;  ///< what was reported about objects
};

}  // namespace

void CheckInput(const TestFile& file, const TestFile::Built& built, core::CProject& project,
                RunOutcome& outcome) {
    Check check(file, built, project, outcome);
    check.Ports();
    check.Parts();
    check.StartCommands();
    // The validators depend on the kind of test that the start commands select.
    check.Objects();
    check.Finish();
    SortMistakes(outcome.mistakes);
}

void CheckPlaces(const TestFile& file, const TestFile::Built& built, core::CProject& project, bool has_server,
                 RunOutcome& outcome) {
    Check(file, built, project, outcome).Places(has_server);
}

}  // namespace orv::app
