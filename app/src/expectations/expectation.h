// What a figure of a test is expected to be: "STB block Boxes: join latency p99 <= 50 ms".
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "expectation_result.h"
#include "figures.h"

namespace orv::app {

struct Statistic;

/// How a measured figure compares with the bound.
struct Comparison {
    const char* name;  ///< "<="
    bool (*holds)(double measured, double bound);
};

struct Expectation {
    std::string text;
    const Subject* subject = nullptr;
    std::string name;             ///< of the object; empty for the test
    std::size_t name_offset = 0;  ///< in what was parsed
    /// A count, or else a latency with statistic and unit.
    const Count* count = nullptr;
    bool is_percentage = false;  ///< of a count
    std::string latency;
    const Statistic* statistic = nullptr;
    const TimeUnit* unit = nullptr;
    const Comparison* comparison = nullptr;
    double bound = 0;  ///< in the unit
};

/// What is wrong with the text of an expectation, and where in it.
struct ExpectationMistake {
    std::size_t offset = 0;
    std::string problem, expected, nearest;
};

/// An example, and what a text that is none is told.
inline constexpr const char* kExpectationForm =
    "SUBJECT: FIGURE COMPARISON NUMBER UNIT, such as \"test: failed joins <= 0.1 %\"";

/// The grammar is in docs/test-file.md. Whether there is an object of that name is not checked. With
/// mistakes, of which the subject and the rest may each have one, the expectation is not complete.
Expectation ParseExpectation(const std::string& text, std::vector<ExpectationMistake>& mistakes);

/// Whether it is met. What was not measured meets nothing, nor does an object without results.
ExpectationResult Evaluate(const Expectation& expectation, const TestReport& report);

}  // namespace orv::app
