// Names of the texts by which a results database describes the run that wrote it.
#pragma once

namespace orv::app::run_description {

inline constexpr const char* kTitle = "Title";
inline constexpr const char* kTestFile = "TestFile";  ///< its path, as it was given
inline constexpr const char* kTestFileText = "TestFileText";
/// What replaced values of the file, a line each: "--set NAME/Property=VALUE".
inline constexpr const char* kSettings = "Settings";
inline constexpr const char* kSeed = "Seed";
inline constexpr const char* kVersion = "Version";  ///< of the program
inline constexpr const char* kOutcome = "Outcome";  ///< GetRunEndName, once the run has ended
/// JSON: [{"data_set": 1, "expectations": [{"text", "met", "measured", "unit"}]}], for each test of the run.
/// "met" is null if not finished, "measured" if nothing was. Not there without expectations.
inline constexpr const char* kExpectations = "Expectations";
/// JSON: {"iteration": 3, "iterations": 7, "repetition": 1, "values": {"Homes/DeviceCount": "400"}}; without
/// `iterations` in a search, without `repetition` where each value has one run.
inline constexpr const char* kSweep = "Sweep";
/// JSON, with the last iteration of a search: {"property": "Homes/DeviceCount", "highest": "400",
/// "tried": [{"value": "100", "passed": true}]}; `highest` is null when no value passes.
inline constexpr const char* kSweepResult = "SweepResult";
/// The outcome of the run as JSON (MakeOutcomeDetails), once the run has ended.
inline constexpr const char* kOutcomeDetails = "OutcomeDetails";

}  // namespace orv::app::run_description
