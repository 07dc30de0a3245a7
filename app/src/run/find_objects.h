// Finds the objects of a project that the rules of a test check.
#pragma once

#include <vector>

#include "orv/core/emulated_device.h"
#include "orv/core/project.h"
#include "orv/framework/command.h"

namespace orv::app {

using framework::CScriptable;
using framework::ScriptableVec;

/// Objects of a class below another, without deleted ones.
ScriptableVec FindBelow(const CScriptable& root, common::ClassId id);
/// The same, without inactive ones.
ScriptableVec FindActive(const CScriptable& root, common::ClassId id);

/// The active start commands of the sequence.
std::vector<const framework::CCommand*> FindStartCommands();
/// The STB blocks that a start command covers, including inactive ones.
ScriptableVec FindStbBlocks(const framework::CCommand& start);
/// The active STB blocks, and those that a start command covers: a start checks both.
ScriptableVec FindStbBlocks(const core::CProject& project);
/// The results of all STB blocks. Visits only the objects on the way to them, since there may be thousands,
/// and a running test asks often.
ScriptableVec FindBlockResults(const core::CProject& project);

/// The multicast group of a channel block, or the protocol of an STB block, is one of IPv4.
bool IsIpv4(const CScriptable& group_or_protocol);

}  // namespace orv::app
