// The reports of the plug-in's rules: which property they are about.
#pragma once

#include <string>

namespace orv::app {

/// The property or relation of the reported object that a report is about; empty when it says none.
std::string FindKeyOfReport(const std::string& text);

/// Reports about internals of the plug-in, or less specific than the program's own rules for the same.
bool IsSaidBetter(const std::string& text);

}  // namespace orv::app
