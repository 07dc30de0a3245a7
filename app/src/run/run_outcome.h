// The outcome of a run.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "address_report.h"
#include "orv/nic/live_port.h"
#include "report_of_test.h"
#include "test_file/mistake.h"

namespace orv::app {

/// How a run ended; the values are exit statuses of the program.
enum class RunEnd : int {
    Passed = 0,
    Failed = 1,    ///< a test's verdict, or an expectation that is not met
    BadInput = 2,  ///< nothing has run
    Failure = 3,   ///< the run had errors
    Interrupted = 130
};

/// "passed"
const char* GetRunEndName(RunEnd end);

/// What a port did on its network interface.
struct LivePortReport {
    std::string name;       ///< of the port
    std::string interface;  ///< "eth1"
    nic::LiveFigures figures;
};

/// An agent that ports of a run were on.
struct AgentReport {
    std::string name;
    std::string version;  ///< of its program
    /// Of the agent's steady clock, ahead of ours, when the last test started; exact to the uncertainty.
    /// Starts were aligned by it.
    std::chrono::nanoseconds clock_offset{}, clock_uncertainty{};
    std::chrono::nanoseconds latest_start{};  ///< most that a port began its test too late
};

/// What measures at a port.
enum class PortKind { Simulated, Live, Recording };

/// "simulated"
const char* GetPortKindName(PortKind kind);

struct MeasuringPort {
    std::string name;
    std::string location;  ///< as configured
    PortKind kind = PortKind::Simulated;
};

/// A test that is running, or that was not finished when the program ended.
struct UnfinishedTest {
    std::string name;
    double elapsed = 0;              ///< seconds
    double configured_duration = 0;  ///< seconds
};

struct SweepIteration;

/// What came of the iterations of a sweep. Texts of values are as in the file.
struct SweepOutcome {
    std::vector<std::string> properties;           ///< "Homes/DeviceCount"
    std::vector<std::vector<std::string>> values;  ///< of all iterations, by property; of a search none
    std::vector<SweepIteration> iterations;        ///< those that ran, in order

    struct Search {
        std::string from, to;  ///< the first and the last value
        std::uint32_t repetitions = 1;
        std::vector<std::pair<std::string, bool>> tried;  ///< values, and whether they passed
        bool is_decided = false;
        std::string highest;  ///< that passes; empty for none
    };
    std::optional<Search> search;
};

struct RunOutcome {
    RunEnd end = RunEnd::Passed;
    std::string title;
    std::uint64_t seed = 0;
    std::vector<Mistake> mistakes;      ///< of the input
    std::vector<std::string> warnings;  ///< about the input
    std::vector<std::string> errors;    ///< of the run, in order of occurrence
    std::vector<TestReport> tests;      ///< those that ended, in order
    std::vector<LivePortReport> live_ports;
    std::vector<MeasuringPort> ports;  ///< all of them, once a run has begun
    std::vector<AgentReport> agents;   ///< in the order of their names
    std::vector<AddressReport> addressing;  ///< of hosts that get their addresses from the network
    bool is_virtual_clock = false;
    std::optional<UnfinishedTest> unfinished_test;
    std::string database;  ///< path; empty when nothing was stored
    /// Of a run for several values; its tests are those of the iterations.
    std::optional<SweepOutcome> sweep;
};

/// One run of a test with certain values of the swept properties.
struct SweepIteration {
    int number = 0;  ///< from 1
    std::uint32_t repetition = 1;
    std::vector<std::string> values;
    RunOutcome run;
};

/// "Homes/DeviceCount=400, Hasty/Interval=500"
std::string DescribeValues(const std::vector<std::string>& properties,
                           const std::vector<std::string>& values);

/// Whether a port has figures of bursts, or of retransmissions: some are not 0, or its set-top boxes were in
/// a test that has them.
bool HasBurstFigures(const RunOutcome& outcome, const LivePortReport& port);
bool HasRetransmissionFigures(const RunOutcome& outcome, const LivePortReport& port);

/// Why no test of a run can have the verdict passed: "the run was interrupted". Empty if the run was
/// completed without errors.
std::string GetUnfinishedReason(const RunOutcome& outcome);

/// The reported verdict of a test: "passed", "failed", or "not finished" for one that was cut short and for
/// one that did not fail in a run that is not finished itself.
const char* GetVerdict(const RunOutcome& outcome, const TestReport& test);
/// The same for one of its expectations.
const char* GetVerdict(const RunOutcome& outcome, const TestReport& test,
                       const ExpectationResult& expectation);
/// "FAILED, 2 of 3 met"; empty without expectations. One that failed decides, as it does for the exit status.
std::string DescribeExpectations(const RunOutcome& outcome, const TestReport& test);

}  // namespace orv::app
