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
/// JSON: {"iteration": 3, "iterations": 7, "repetition": 1, "values": {"Homes/DeviceCount": "400"}}; without
/// `iterations` in a search, without `repetition` where each value has one run.
inline constexpr const char* kSweep = "Sweep";
/// JSON, with the last iteration: {"end": "passed"} of the whole sweep (GetRunEndName); of a search also
/// "property": "Homes/DeviceCount", "highest": "400" (null when no value passes, absent when it did not get
/// so far), "tried": [{"value": "100", "passed": true}].
inline constexpr const char* kSweepResult = "SweepResult";
/// The outcome of the run as JSON (MakeOutcomeDetails), once the run has ended.
inline constexpr const char* kOutcomeDetails = "OutcomeDetails";

/// JSON, of runs whose hosts got their addresses from the network: [{"port", "device", "protocol", "hosts": [{"address",
/// "prefix_length", "gateway", "server", "bind_s", or "failure"}]}], hosts in order; what there was not is missing.
inline constexpr const char* kHostAddresses = "HostAddresses";

}  // namespace orv::app::run_description
