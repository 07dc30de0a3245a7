// Where the results of a test are stored.
#pragma once

#include <string>

#include "orv/core/test_result_manager.h"

namespace orv::core {
class CProject;
}

namespace orv::iptv {

class CIptvTestResults;

/// Where the results go: to a path as it is, under a bare name into the host's folder of results. Without a
/// name, and when each iteration has a database of its own, the name is "iptvTest".
core::TestResultSetting MakeTestResultSetting(const std::string& file, bool per_iteration);

/// The project's object for the results of a test, made when there is none. `operation` is named in the log
/// when that fails; throws COrvRunTimeError then.
CIptvTestResults& FindOrMakeTestResults(core::CProject& project, const std::string& operation);

}  // namespace orv::iptv
