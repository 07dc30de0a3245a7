// Creation of host objects, and the errors when it fails.
#pragma once

#include <memory>
#include <source_location>
#include <string>

#include "IptvErrors.h"
#include "orv/common/ids.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"

namespace orv::iptv {

/// Deleter for an object without parent.
struct ReleaseOwned {
    void operator()(framework::CScriptable* object) const { framework::ReleaseScriptable(object); }
};
using OwnedScriptable = std::unique_ptr<framework::CScriptable, ReleaseOwned>;

/// Creates an object; without `parent` the caller owns it. On failure logs `what` and throws a
/// COrvRunTimeError that names `class_name`.
template <class T>
T& CreateOrThrow(common::ClassId id, framework::CScriptable* parent, const framework::LazyText& what,
                 const std::string& class_name,
                 const std::source_location& where = std::source_location::current()) {
    framework::CScriptable* const object = framework::CScriptableCreator().Create(id, parent, true, true, 0);
    if (auto* made = dynamic_cast<T*>(object)) return *made;
    if (object && !parent) framework::ReleaseScriptable(object);
    ThrowCreationFailure(what, class_name, where);
}

/// Creates a command of class T, without parent.
template <class T>
std::unique_ptr<T, ReleaseOwned> CreateCommand(
    const std::string& class_name, const std::source_location& where = std::source_location::current()) {
    return std::unique_ptr<T, ReleaseOwned>(
        &CreateOrThrow<T>(T::CLASS_ID(), nullptr, class_name, class_name, where));
}

}  // namespace orv::iptv
