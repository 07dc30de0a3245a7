// Finding and making result objects.
#pragma once

#include "orv/framework/scriptable.h"

namespace orv::iptv {

/// The result object of a class under `parent`: with `findExisting` the first that is there, otherwise (or
/// when there is none) a new one named "<class> <handle>". `addResultChild`: it becomes a result child of the
/// parent. Null, after logging, when it cannot be made.
framework::CScriptable* GetResultTypeNode(const common::ClassId& id, framework::CScriptable* parent,
                                          bool findExisting, bool addResultChild);

/// The same as the C++ class; null for another one.
template <class Result>
Result* FindOrMakeResult(framework::CScriptable& parent, bool findExisting = true,
                         bool addResultChild = true) {
    return dynamic_cast<Result*>(
        GetResultTypeNode(Result::CLASS_ID(), &parent, findExisting, addResultChild));
}

}  // namespace orv::iptv
