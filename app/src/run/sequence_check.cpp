#include "sequence_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <utility>

#include "find_objects.h"
#include "orv/core/port.h"
#include "orv/core/protocol_blocks.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/relation_helper.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/igmpmld_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"

namespace orv::app {

namespace {

using framework::CCommand;

constexpr double kLongest = 31'536'000;  ///< a year, in seconds: the longest test or wait

class SequenceWalk {
  public:
    void Walk(const std::vector<const CCommand*>& commands) {
        for (const CCommand* command : commands) {
            if (command->GetActive()) Meet(*command);
        }
    }

    ObjectProblems Take() { return std::move(problems_); }

  private:
    void Meet(const CCommand& command) {
        const common::ClassId id = command.GetClassId();
        if (id == ids::SequencerLoopCommand::CLASS) {
            Loop(command);
        } else if (id == ids::IptvStartTestCommand::CLASS) {
            Start(command);
        } else if (id == ids::IptvWaitForTestCompletionCommand::CLASS) {
            test_ = nullptr;
        } else if (id == ids::IptvStopTestCommand::CLASS) {
            NeedTime(command, "is stopped");
        } else if (id == ids::GeneratorStartCommand::CLASS || id == ids::GeneratorStopCommand::CLASS) {
            SwitchGenerators(command, id == ids::GeneratorStartCommand::CLASS);
        } else if (id == ids::ArpNdStartOnAllDevicesCommand::CLASS) {
            addresses_resolved_ = true;
        } else if (id == ids::SetRelativesCommand::CLASS) {
            Relate(command);
        } else if (id == ids::IptvWizardFinishCommand::CLASS) {
            Add(command, {}, "the wizard is run before the sequence, which it makes",
                "an IptvWizardTestConfig in the project, and no sequence");
        } else if (id == ids::WaitCommand::CLASS) {
            CheckTime(command, "WaitTime", command.GetU32(ids::WaitCommand::WaitTime));
            has_time_ = true;
        } else {
            for (const core::ProtocolCommands& protocol : core::kProtocolCommands)
                UseProtocol(command, protocol);
        }
    }

    /// If nothing waits after the start of a test, its streams end before it has seen a channel.
    void NeedTime(const CCommand& command, const char* what) {
        if (!test_ || has_time_) return;
        Add(command, {}, fmt::format("the test of {} {} as soon as it has started", test_->Describe(), what),
            "an IptvWaitForTestCompletionCommand or a WaitCommand before it");
    }

    void SwitchGenerators(const CCommand& command, bool on) {
        if (!on) NeedTime(command, "loses its streams");
        for (const CScriptable* generator :
             FindNamed(command, ids::Generator::CLASS, ids::GeneratorCommand::GeneratorList)) {
            Put(running_, generator, on);
            const auto* port = dynamic_cast<const core::CPort*>(generator->GetParent());
            if (on && port && !port->IsReachable())
                Add(*port, "Online", "the port is off line when its generator is started", "true");
        }
    }

    /// The state after the second iteration is the same as after each later one.
    void Loop(const CCommand& loop) {
        ScriptableVec children;
        loop.GetObjects(children, CCommand::CLASS_ID(), common::kParentChild);
        std::vector<const CCommand*> commands;
        for (const CScriptable* child : children) commands.push_back(dynamic_cast<const CCommand*>(child));
        Walk(commands);
        if (loop.GetU32(ids::SequencerLoopCommand::IterationCount) != 1) Walk(commands);
    }

    void Start(const CCommand& start) {
        namespace Id = ids::IptvStartTestCommand;
        // Fractions of a second are dropped.
        CheckTime(start, "TestDuration", start.GetDouble(Id::TestDuration), 1);
        if (test_) {
            Add(start, {},
                fmt::format("the test that {} starts may still run",
                            test_ == &start ? "it" : test_->Describe()),
                "an IptvWaitForTestCompletionCommand before the next start");
        }
        test_ = &start;
        has_time_ = false;
        if (start.GetU8(Id::TestEnv) == ids::TestEnv::TESTING && running_.empty()) {
            Add(start, "TestEnv", "no generator runs when the test starts",
                "a GeneratorStartCommand before it, or REAL_WORLD when others send the channels");
        }
        if (!addresses_resolved_) CheckAddresses(start);
        CheckHosts(start);
    }

    void CheckTime(const CCommand& command, const char* key, double seconds, int least = 0) {
        if (seconds >= least && seconds <= kLongest) return;  // false for NaN
        Add(command, key, fmt::format("{} is out of range", seconds),
            fmt::format("a number of seconds from {} to {}", least, kLongest));
    }

    void CheckAddresses(const CCommand& start) {
        for (const CScriptable* block : FindStbBlocks(start)) {
            const CScriptable* protocol =
                block->GetObject("MulticastHostConfig", ids::relations::MulticastParam);
            const CScriptable* top =
                protocol ? protocol->GetObject(ids::NetworkInterface::CLASS, ids::relations::UsesIf)
                         : nullptr;
            if (!top || !top->GetMetaClass()->FindProperty("AddrResolveState")) continue;
            const std::string state = top->Get("AddrResolveState");
            if (state == "RESOLVE_DONE" || state == "RESOLVE_PARTIALLY_DONE") continue;
            Add(*top, "AddrResolveState", state + " when the test starts",
                "RESOLVE_DONE, or an ArpNdStartOnAllDevicesCommand before the start");
        }
    }

    /// Hosts that ask for their addresses, and have not been told to.
    void CheckHosts(const CCommand& start) {
        std::set<const CScriptable*> devices;
        for (const CScriptable* block : FindStbBlocks(start)) devices.insert(block->GetParent());
        for (const CScriptable* device : devices) {
            ScriptableVec blocks;
            device->GetObjects(blocks, ids::AddressBlockConfig::CLASS, common::kParentChild);
            for (const CScriptable* block : blocks) {
                const bool gives_addresses = !block->IsTypeOf(ids::Dhcpv6PdBlockConfig::CLASS);
                if (!block->GetActive() || !gives_addresses || bound_.contains(block)) continue;
                Add(*block, {},
                    "the hosts have no addresses when the test of " + start.Describe() + " starts",
                    "commands before it that bind them and wait for it");
            }
        }
    }

    void UseProtocol(const CCommand& command, const core::ProtocolCommands& protocol) {
        const common::ClassId id = command.GetClassId();
        const bool binds = id == protocol.bind,
                   waits = id == protocol.bind_wait || id == protocol.release_wait;
        if (!binds && id != protocol.release && !waits) return;
        const auto list = waits ? ids::ProtocolWaitCommand::ObjectList : ids::ProtocolBlockCommand::BlockList;
        for (const CScriptable* block : FindNamed(command, protocol.blocks, list)) {
            if (!block->GetActive()) continue;
            if (test_ && id == protocol.release && block->IsTypeOf(ids::AddressBlockConfig::CLASS))
                Add(command, {},
                    fmt::format("the hosts give back their addresses while the test of {} runs",
                                test_->Describe()),
                    "an IptvWaitForTestCompletionCommand before it");
            if (!waits) {
                Put(bound_, block, binds);
            } else if (bound_.contains(block) != (id == protocol.bind_wait)) {
                Add(command, {},
                    fmt::format("{} of {} is {} when the command waits", block->Describe(),
                                block->GetParent()->Describe(),
                                id == protocol.bind_wait ? "not bound" : "bound"),
                    fmt::format("a command before it that {} it",
                                id == protocol.bind_wait ? "binds" : "releases"));
            }
        }
    }

    void Relate(const CCommand& command) {
        namespace Id = ids::SetRelativesCommand;
        const auto find = [](std::uint32_t handle) {
            return framework::CHandleRegistry::Instance().Find(handle);
        };
        const CScriptable* source = find(command.GetU32(Id::SrcObjectHandle));
        if (!source)
            Add(command, "SrcObjectHandle", "there is no object to relate others to",
                "an object's name or path");
        const std::string& name = command.GetString(Id::RelationName);
        common::RelationType type;
        if (!framework::CRelationHelper::Instance().ParseRelation(name, type.type, type.direction))
            return Add(command, "RelationName", fmt::format("there is no relation \"{}\"", name),
                       "a relation's name");
        const auto& relations = framework::CRelationManager::Instance();
        for (const std::uint32_t handle : command.GetCollection<std::uint32_t>(Id::RelativeList)) {
            const CScriptable* relative = find(handle);
            if (!source || !relative ||
                relations.FindRelation(*source->GetMetaClass(), *relative->GetMetaClass(), type))
                continue;
            Add(command, "RelativeList",
                fmt::format("{} cannot be related to {} by {}", relative->Describe(), source->Describe(),
                            name),
                "objects of the relation's classes");
        }
    }

    static ScriptableVec FindNamed(const CCommand& command, common::ClassId id, common::PropId list) {
        ScriptableVec objects;
        command.ProcessInputHandleVec(id, command.GetCollection<std::uint32_t>(list), objects);
        return objects;
    }

    static void Put(std::set<const CScriptable*>& set, const CScriptable* object, bool in) {
        if (in) {
            set.insert(object);
        } else {
            set.erase(object);
        }
    }

    void Add(const CScriptable& object, const char* key, const std::string& text,
             const std::string& expected) {
        problems_.push_back({&object, key ? key : "", text, expected});
    }

    std::set<const CScriptable*> running_;  ///< generators
    std::set<const CScriptable*> bound_;    ///< protocol blocks
    const CCommand* test_ = nullptr;        ///< started, and not yet waited for
    bool has_time_ = false;                 ///< something waits after the start
    bool addresses_resolved_ = false;
    ObjectProblems problems_;
};

}  // namespace

ObjectProblems FindSequenceProblems() {
    SequenceWalk walk;
    const std::vector<CCommand*> commands = framework::CSequencer::Instance().GetCommands();
    walk.Walk({commands.begin(), commands.end()});
    return walk.Take();
}

}  // namespace orv::app
