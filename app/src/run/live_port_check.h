// What live ports cannot do with the objects that use them.
#pragma once

#include <string>
#include <vector>

#include "orv/core/port.h"

namespace orv::app {

struct ObjectProblem {
    const framework::CScriptable* object;
    std::string text;
};

/// Interface stacks on the port, its stream blocks, and the channel blocks that its set-top boxes view.
std::vector<ObjectProblem> FindLivePortProblems(const core::CPort& port);

}  // namespace orv::app
