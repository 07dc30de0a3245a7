// Finding and creating result objects.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::iptv {

/// The result object of a class under `parent`: with `findExisting` the first existing one, otherwise (or if
/// there is none) a new one named "<class> <handle>". `addResultChild`: it becomes a result child of the
/// parent. Null, after logging, if it cannot be created.
framework::CScriptable* GetResultTypeNode(const common::ClassId& id, framework::CScriptable* parent,
                                          bool findExisting, bool addResultChild);

/// The same as an object of the C++ class; null if it is of another class.
template <class Result>
Result* FindOrMakeResult(framework::CScriptable& parent, bool findExisting = true,
                         bool addResultChild = true) {
    return dynamic_cast<Result*>(
        GetResultTypeNode(Result::CLASS_ID(), &parent, findExisting, addResultChild));
}

}  // namespace orv::iptv
