// The reports of the plug-in's rules: which property they are about.
#pragma once

#include <string>

namespace orv::app {

/// The property or relation of the reported object that a report is about; empty when it says none.
std::string FindKeyOfReport(const std::string& text);

/// Reports that speak of the plug-in's inside, or say less than the program's own rules, which find the same.
bool IsSaidBetter(const std::string& text);

}  // namespace orv::app
