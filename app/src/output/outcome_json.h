// The outcome of a run, for programs.
#pragma once

#include <string>

#include "run/run_outcome.h"

namespace orv::app {

/// One JSON object: "end" ("passed", "failed", "bad input", "run-time failure", "interrupted"),
/// "exit_status", "title", "seed", "database", "tests" (each with data_set in the database, name, type,
/// environment, duration, thresholds, verdict ("passed", "failed", "not finished"), "distributions" of
/// latencies, "expectations" (text, met, measured, unit; met is null in a test that is not finished, measured
/// where nothing was), and the figures of "channel_ranges", "stb_blocks", "profiles" and "ports" by the names
/// of the data model), "unfinished_test" where one did not finish (name, elapsed time), "unfinished_reason"
/// where the run did not finish normally,
/// "live_ports" (name, interface, and the figures of orv/nic/live_port.h; those of bursts and of
/// retransmissions only where a port has them), "clock" ("virtual", "real") and "ports" (name, location,
/// kind: "simulated", "live", "recording") of a run that began, "mistakes" (file, line, column, object,
/// property, problem, expected, nearest), "warnings" and "errors".
std::string MakeOutcomeJson(const RunOutcome& outcome);

/// The same for the results database: without "mistakes", "database", and the latencies and figures
/// of objects, which the database has.
std::string MakeOutcomeDetails(const RunOutcome& outcome);

/// The same as a JUnit report: a test case per test for its verdict, one per STB block for its joins, and
/// one per expectation.
/// Errors of the run are errors of the test case "run". Always well-formed: characters that XML does not
/// allow are replaced by U+FFFD.
std::string MakeJUnitXml(const RunOutcome& outcome);

}  // namespace orv::app
