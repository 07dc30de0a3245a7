// Metrics over HTTP.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>

#include "run/run_observer.h"

namespace orv::app {

/// Serves the metrics of a run at /metrics in the text format of Prometheus (version 0.0.4) until it is
/// destroyed. While a test runs they are a second old at most, unless there are so many set-top boxes that
/// taking the metrics would slow the test down; afterwards they are those of its end. There are none before
/// the first test.
class MetricsServer {
  public:
    /// `address`: "ADDRESS:PORT" with an IPv4 address; "PORT" for 127.0.0.1, because whoever can connect can
    /// read. Throws COrvRunTimeError if it is no address, or the server cannot listen there.
    explicit MetricsServer(const std::string& address);
    ~MetricsServer();
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

    /// The tests that follow belong to this iteration of a sweep.
    void BeginIteration(std::size_t number) { iteration_ = number; }
    void BeginTest(const std::string& name);
    /// The next update is the last one of this test.
    void EndTest() { due_ = {}; }
    /// True when it is time for an update.
    bool IsDue() const { return Clock::now() >= due_; }
    /// Takes the metrics of now. Under the task lock.
    void Update(const RunProgress& progress);

  private:
    using Clock = std::chrono::steady_clock;
    class Snapshot;

    std::string test_;           ///< that ran last
    std::size_t iteration_ = 0;  ///< 0: no sweep
    Clock::time_point due_ = Clock::time_point::max();
    std::shared_ptr<Snapshot> snapshot_;
    struct Listener;
    std::unique_ptr<Listener> listener_;  ///< ends before the snapshot
};

}  // namespace orv::app
