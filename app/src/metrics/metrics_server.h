// Metrics over HTTP.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "run/run_observer.h"

namespace orv::app {

/// Serves the metrics of a run at /metrics in the text format of Prometheus (version 0.0.4) until it is
/// destroyed. They are at most a second old.
class MetricsServer {
  public:
    /// `address`: "ADDRESS:PORT"; ":PORT" or "PORT" for 127.0.0.1, because whoever can connect can read.
    /// Throws COrvRunTimeError if it cannot listen there.
    explicit MetricsServer(const std::string& address);
    ~MetricsServer();
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;

    /// True when the metrics are a second old.
    bool IsDue() const;
    /// Takes the metrics of now. Under the task lock.
    void Update(const RunProgress& progress);

  private:
    class Snapshot;

    std::string test_;  ///< that ran last
    std::chrono::steady_clock::time_point updated_{};
    std::shared_ptr<Snapshot> snapshot_;
    struct Listener;
    std::unique_ptr<Listener> listener_;  ///< ends before the snapshot
};

}  // namespace orv::app
