#include "config/ConfigChanges.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "config/IptvStbBlockConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/ids/core_ids.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "orv/ids/l2l3_ids.h"
#include "running/RunningTest.h"

namespace orv::iptv {

namespace {

using framework::CScriptable;

/// Nothing at or below objects of these classes makes a difference to a set-top box.
bool IsIrrelevant(const CScriptable& object) {
    static const common::ClassId kClasses[] = {
        ids::Result::CLASS,   ids::Command::CLASS,     ids::Sequencer::CLASS,    ids::Generator::CLASS,
        ids::Analyzer::CLASS, ids::StreamBlock::CLASS, ids::ResultOptions::CLASS};
    return std::any_of(std::begin(kClasses), std::end(kClasses),
                       [&object](common::ClassId id) { return object.IsTypeOf(id); });
}

/// When a block last came to or left a port, by the port's handle.
std::map<std::uint32_t, ConfigChanges::Moment>& Moves() {
    static auto* moves = new std::map<std::uint32_t, ConfigChanges::Moment>;
    return *moves;
}

}  // namespace

void ConfigChanges::NotePort(std::uint32_t port) {
    // Later than any moment taken so far.
    Moves()[port] = framework::CChangeLog::Instance().TakeMoment() + 1;
}

ConfigChanges ConfigChanges::Since(Moment moment) {
    ConfigChanges changes(moment == 0);
    if (changes.everything_) return changes;
    for (const CScriptable* object : framework::CChangeLog::Instance().GetChangedSince(moment)) {
        changes.Add(*object);
        if (changes.everything_) return Everything();
    }
    for (const auto& [port, moved] : Moves()) {
        if (moved > moment) changes.ports_.insert(port);
    }
    return changes;
}

void ConfigChanges::Add(const CScriptable& object) {
    for (const CScriptable* each = &object; each; each = each->GetParent()) {
        if (IsIrrelevant(*each)) return;
        if (const auto* device = dynamic_cast<const core::CEmulatedDevice*>(each)) return AddDevice(*device);
        // Objects outside of any project, like a command's own, belong to no configuration.
        if (each->IsTypeOf(ids::Project::CLASS) || each->IsTypeOf(ids::System::CLASS)) everything_ = true;
    }
}

namespace {

const core::CEmulatedDevice* FindDevice(const CScriptable* object) {
    while (object && !object->IsTypeOf(ids::EmulatedDevice::CLASS)) object = object->GetParent();
    return dynamic_cast<const core::CEmulatedDevice*>(object);
}

/// An object outside the device refers to this object or to one below it.
bool IsUsedFromOutside(const CScriptable& object, const core::CEmulatedDevice& device) {
    static const common::RelationType kUses[] = {
        ids::relations::MulticastParam.Reverse(), ids::relations::UsesIf.Reverse(),
        ids::relations::StackedOn.Reverse(), ids::relations::TrafficSources.Reverse()};
    for (const common::RelationType type : kUses) {
        framework::ScriptableVec users;
        object.GetObjects(users, CScriptable::CLASS_ID(), type);
        for (const CScriptable* user : users) {
            if (FindDevice(user) != &device) return true;
        }
    }
    framework::ScriptableVec children;
    object.GetObjects(children, CScriptable::CLASS_ID(), common::kParentChild);
    return std::any_of(children.begin(), children.end(), [&device](const CScriptable* child) {
        return !IsIrrelevant(*child) && IsUsedFromOutside(*child, device);
    });
}

}  // namespace

void ConfigChanges::AddDevice(const core::CEmulatedDevice& device) {
    if (!known_devices_.insert(&device).second) return;
    devices_.push_back(&device);
    const bool carries_blocks = device.GetObject(CIptvStbBlockConfig::CLASS_ID(), common::kParentChild);
    // A device without blocks of its own may serve any other (as a traffic source, for example).
    if (!carries_blocks || IsUsedFromOutside(device, device)) everything_ = true;
    if (const core::CPort* port = device.GetPort()) ports_.insert(port->GetHandle());
}

ConfigLook ConfigLook::Now() {
    ConfigLook look;
    look.moment_ = framework::CChangeLog::Instance().TakeMoment();
    look.fcc_check_ = RunningTest::GetRules().fcc_check;
    return look;
}

bool ConfigLook::HasSameRules() const {
    return fcc_check_ == RunningTest::GetRules().fcc_check;
}

ConfigChanges ConfigLook::GetChanges() const {
    return HasSameRules() ? ConfigChanges::Since(moment_) : ConfigChanges::Everything();
}

ConfigChanges RepeatedCheck::GetChanges() const {
    return RunningTest::IsRunning() ? ConfigChanges::Everything() : clean_.GetChanges();
}

}  // namespace orv::iptv
