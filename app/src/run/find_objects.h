// Finds the objects of a project that the rules of a test check.
#pragma once

#include <vector>

#include "orv/core/emulated_device.h"
#include "orv/core/project.h"
#include "orv/framework/command.h"

namespace orv::app {

using framework::CScriptable;
using framework::ScriptableVec;

/// Objects of a class below another, less those that are deleted.
ScriptableVec FindBelow(const CScriptable& root, common::ClassId id);
/// The same, less those that are switched off.
ScriptableVec FindActive(const CScriptable& root, common::ClassId id);

/// Start commands of the sequence that are on.
std::vector<const framework::CCommand*> FindStartCommands();
/// The STB blocks that a start command covers, also those that are off.
ScriptableVec FindStbBlocks(const framework::CCommand& start);
/// The STB blocks that are on, and those that a start command covers: a start looks at both.
ScriptableVec FindStbBlocks(const core::CProject& project);

/// The multicast group of a channel block, or the protocol of an STB block, is one of IPv4.
bool IsIpv4(const CScriptable& group_or_protocol);

}  // namespace orv::app
