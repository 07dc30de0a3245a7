#include "mistake_writer.h"

#include <cctype>
#include <cstdlib>

#include "orv/core/project.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/framework/sequencer.h"
#include "orv/ids/iptv_ids.h"

namespace orv::app {

using framework::CScriptable;

namespace {

/// The first object of the wizard's class, and for want of it the project.
const CScriptable& FindFirst(common::ClassId id, const CScriptable& project) {
    framework::ScriptableVec objects;
    framework::CScriptableLocator::Instance().GetObjectsEx(objects, id, &project);
    return objects.empty() ? project : *objects.front();
}

/// What the properties of an object that the wizard has made are called in its own.
std::string FindWizardKey(const CScriptable& object, const std::string& key) {
    if (key == "NetworkCount") return "NumOfChannels";
    if (key == "StartIpList")
        return object.IsTypeOf("Ipv4NetworkBlock") ? "StartIpv4Address" : "StartIpv6Address";
    return key;
}

/// The wizard's object below another; null for none.
const CScriptable* FindWizardObject(const CScriptable& parent) {
    for (const common::ClassId id : {ids::IptvWizardStbBlock::CLASS, ids::IptvWizardMcastSources::CLASS}) {
        if (const CScriptable* found = parent.GetObject(id, common::kParentChild)) return found;
    }
    return nullptr;
}

}  // namespace

bool MistakeWriter::IsInFile(const CScriptable& object) const {
    const bool is_root =
        object.IsTypeOf(core::CProject::CLASS_ID()) || object.IsTypeOf(framework::CSequencer::CLASS_ID());
    return !is_root && built_.objects.contains(object.GetHandle());
}

const CScriptable& MistakeWriter::FindOrigin(const CScriptable& object) const {
    if (IsInFile(object)) return object;
    const CScriptable* at = &object;
    for (const auto relation : {ids::relations::StbChannel, ids::relations::IptvProfile}) {
        if (const CScriptable* user = object.GetObject(ids::IptvStbBlockConfig::CLASS, relation.Reverse()))
            at = user;
    }
    for (; at; at = at->GetParent()) {
        if (const CScriptable* maker = FindWizardObject(*at)) return *maker;
        if (IsInFile(*at)) return *at;
    }
    const bool is_channel = object.IsTypeOf(ids::IptvChannelBlock::CLASS) ||
                            object.IsTypeOf("MulticastGroup") || object.IsTypeOf("NetworkBlock");
    return FindFirst(is_channel ? ids::IptvWizardMcastSources::CLASS : ids::IptvWizardTestConfig::CLASS,
                     *core::CProject::GetCurrentActiveInstance());
}

/// The host names what has no name of its own "<class> <handle>".
std::string MistakeWriter::RenameObjects(const std::string& text) const {
    const auto is_digit = [&text](std::size_t i) {
        return i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]));
    };
    std::string renamed;
    for (std::size_t at = 0; at < text.size();) {
        if (!is_digit(at) || at == 0 || text[at - 1] != ' ') {
            renamed += text[at++];
            continue;
        }
        std::size_t end = at;
        while (is_digit(end)) ++end;
        const std::string number = text.substr(at, end - at);
        const auto handle = static_cast<std::uint32_t>(std::strtoul(number.c_str(), nullptr, 10));
        const CScriptable* object = framework::CHandleRegistry::Instance().Find(handle);
        const std::string name = object ? object->GetName() : std::string();
        const auto reference =
            object ? file_.FindReference(built_, FindOrigin(*object).GetHandle()) : std::nullopt;
        renamed += number;
        if (reference && !name.empty() && renamed.ends_with(name))
            renamed.replace(renamed.size() - name.size(), name.size(), *reference);
        at = end;
    }
    return renamed;
}

Mistake MistakeWriter::Write(const ObjectProblem& problem) const {
    const CScriptable& origin = FindOrigin(*problem.object);
    std::string key = problem.key;
    if (&origin != problem.object) {
        key = FindWizardKey(*problem.object, key);
        if (!origin.GetMetaClass()->FindProperty(key)) key.clear();
    }
    return file_.MakeMistake(built_, origin.GetHandle(), key, RenameObjects(problem.text),
                             RenameObjects(problem.expected));
}

}  // namespace orv::app
