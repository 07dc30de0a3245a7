// Making objects of the host, and what is said when it cannot make one.
#pragma once

#include <memory>
#include <source_location>
#include <string>

#include "IptvErrors.h"
#include "orv/common/ids.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"

namespace orv::iptv {

/// Releases an object that has no parent.
struct ReleaseOwned {
    void operator()(framework::CScriptable* object) const { framework::ReleaseScriptable(object); }
};
using OwnedScriptable = std::unique_ptr<framework::CScriptable, ReleaseOwned>;

/// A new object. When it cannot be made, logs `what` and throws COrvRunTimeError that names `class_name`.
/// What is made without parent is the caller's.
template <class T>
T& CreateOrThrow(common::ClassId id, framework::CScriptable* parent, const framework::LazyText& what,
                 const std::string& class_name,
                 const std::source_location& where = std::source_location::current()) {
    framework::CScriptable* const object = framework::CScriptableCreator().Create(id, parent, true, true, 0);
    if (auto* made = dynamic_cast<T*>(object)) return *made;
    if (object && !parent) framework::ReleaseScriptable(object);
    ThrowCreationFailure(what, class_name, where);
}

/// A new command without parent, of the C++ class that `T::CLASS_ID()` names.
template <class T>
std::unique_ptr<T, ReleaseOwned> CreateCommand(
    const std::string& class_name, const std::source_location& where = std::source_location::current()) {
    return std::unique_ptr<T, ReleaseOwned>(
        &CreateOrThrow<T>(T::CLASS_ID(), nullptr, class_name, class_name, where));
}

}  // namespace orv::iptv
