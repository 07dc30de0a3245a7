#include "metrics_server.h"

#include <fmt/format.h>
#include <prometheus/collectable.h>
#include <prometheus/exposer.h>

#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include "orv/common/exceptions.h"
#include "run_metrics.h"

namespace orv::app {

namespace {

constexpr auto kPeriod = std::chrono::seconds(1);

std::string AddLoopback(const std::string& address) {
    if (address.starts_with(':')) return "127.0.0.1" + address;
    return address.find(':') == address.npos ? "127.0.0.1:" + address : address;
}

}  // namespace

class MetricsServer::Snapshot : public prometheus::Collectable {
  public:
    /// On a thread of the server.
    std::vector<prometheus::MetricFamily> Collect() const override {
        const std::lock_guard guard(mutex_);
        return families_;
    }
    void Set(std::vector<prometheus::MetricFamily> families) {
        const std::lock_guard guard(mutex_);
        families_ = std::move(families);
    }

  private:
    mutable std::mutex mutex_;
    std::vector<prometheus::MetricFamily> families_;
};

struct MetricsServer::Listener {
    explicit Listener(const std::string& address) : exposer(address) {}
    prometheus::Exposer exposer;
};

MetricsServer::MetricsServer(const std::string& address) : snapshot_(std::make_shared<Snapshot>()) {
    const std::string where = AddLoopback(address);
    try {
        listener_ = std::make_unique<Listener>(where);
    } catch (const std::exception&) {  // its text says nothing more
        throw common::COrvRunTimeError(fmt::format("cannot listen on {}", where));
    }
    listener_->exposer.RegisterCollectable(snapshot_);
}

MetricsServer::~MetricsServer() = default;

bool MetricsServer::IsDue() const {
    return std::chrono::steady_clock::now() - updated_ >= kPeriod;
}

void MetricsServer::Update(const RunProgress& progress) {
    if (!progress.test.empty()) test_ = progress.test;
    if (test_.empty()) return;
    snapshot_->Set(MakeRunMetrics(progress, test_));
    // Taking them may take long in a test of many set-top boxes.
    updated_ = std::chrono::steady_clock::now();
}

}  // namespace orv::app
