// Helpers of the wizard's steps: finding, creating and relating objects, with their errors.
#pragma once

#include <cstdint>
#include <source_location>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "IptvCreation.h"
#include "IptvErrors.h"
#include "orv/core/network_interface.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable.h"

namespace orv::core {
class CEmulatedDevice;
}

namespace orv::iptv {

using common::ClassId;
using framework::CScriptable;

/// The open project. A missing one is an internal lookup failure.
core::CProject& GetWizardProject(const char* operation);

/// The children of a class that are not being deleted. A child of another C++ class is an internal lookup
/// failure.
template <class T>
std::vector<T*> GetWizardChildren(const CScriptable& parent, const LookupFailure& failure,
                                  const std::string& detail,
                                  const std::source_location& where = std::source_location::current()) {
    framework::ScriptableVec objects;
    parent.GetObjects(objects, T::CLASS_ID(), common::kParentChild);
    std::vector<T*> children;
    for (CScriptable* object : objects) {
        if (object->IsDeleted()) continue;
        auto* child = dynamic_cast<T*>(object);
        if (!child) ThrowLookupFailure(failure, detail, where);
        children.push_back(child);
    }
    return children;
}

/// Creates an object; without `parent` the caller owns it. A failure is logged with `where_used`
/// ("CIptvWizardStbBlock::SetupViewedChannels") unless that is null, and thrown as COrvRunTimeError.
template <class T>
T& MakeWizardObject(ClassId id, CScriptable* parent, const std::string& class_name, const char* where_used,
                    const std::source_location& where = std::source_location::current()) {
    const auto what = [&] { return where_used ? class_name + " in " + where_used : class_name; };
    return CreateOrThrow<T>(id, parent, what, class_name, where);
}

/// Relates two objects by a relation's name. On failure logs `failure` as a bad argument, and throws
/// COrvException.
void AddWizardRelation(CScriptable& source, const std::string& relation, std::uint32_t target,
                       const framework::LazyText& failure,
                       const std::source_location& where = std::source_location::current());

/// The device's top interface of the given IP version, otherwise its first top interface; null if there is
/// none.
core::CNetworkInterface* FindTopInterface(const core::CEmulatedDevice& device, bool ipv4);

/// Warns the user that something does not fit the IP version of the test. The test is built nevertheless.
void WarnOfIpVersion(const framework::LazyText& text, bool ipv4_test,
                     const std::source_location& where = std::source_location::current());

/// A property of the source object, and the property of the destination object that gets its value. Both have
/// the same type.
using CopiedProperty = std::pair<framework::PropId, framework::PropId>;
void CopyProperties(const CScriptable& from, CScriptable& to, std::span<const CopiedProperty> properties);

/// The handles in decimal, separated by blanks: the text form of a list of handles.
std::string HdlListToString(const std::vector<std::uint32_t>& handles);

}  // namespace orv::iptv
