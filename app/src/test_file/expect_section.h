// The section "expect" of a test file: what its tests are expected to measure.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "expectations/expectation.h"
#include "mistake.h"
#include "source_tree.h"

namespace orv::app {

/// An expectation, and the position of the name in it.
struct PlacedExpectation {
    Expectation expectation;
    Position name_at;
};
using Expectations = std::vector<PlacedExpectation>;

/// Reads the section; mistakes go to the list. Names are not checked. With mistakes, expectations may be
/// incomplete.
Expectations ReadExpectSection(const SourceNode& node, MistakeList& mistakes);

/// The names of the objects of a class.
using NamesOfClass = std::function<std::vector<std::string>(const std::string& class_name)>;
/// Adds a mistake for each expectation whose name is not that of exactly one object.
void CheckSubjects(const Expectations& expectations, const NamesOfClass& names_of, MistakeList& mistakes);

}  // namespace orv::app
