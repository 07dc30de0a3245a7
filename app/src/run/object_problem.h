// A problem of one object that prevents a test from running.
#pragma once

#include <string>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::app {

struct ObjectProblem {
    const framework::CScriptable* object;
    std::string key;  ///< property or relation; empty when the object itself is meant
    std::string text;
    std::string expected = {};  ///< may be empty
};

using ObjectProblems = std::vector<ObjectProblem>;

}  // namespace orv::app
