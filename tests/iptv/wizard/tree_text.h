// The project and the sequence as text, to be compared as a whole.
#pragma once

#include <string>

namespace wizard_test {

/// Each live object by class and name, and indented below it, a line each, the properties that differ from
/// the class's defaults and the relations by name; then its children. "registered" are those of whose changes
/// a user interface is told. Objects are named as the test named
/// them, those that nobody named by class and number of appearance ("IptvChannelBlock #1"); the same in
/// properties that hold handles.
std::string DescribeProjectAndSequence();

}  // namespace wizard_test
