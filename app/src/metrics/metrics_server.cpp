#include "metrics_server.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <prometheus/collectable.h>
#include <prometheus/exposer.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <exception>
#include <mutex>
#include <utility>
#include <vector>

#include "orv/common/exceptions.h"
#include "run_metrics.h"

namespace orv::app {

namespace {

constexpr auto kPeriod = std::chrono::seconds(1);
/// Updates take at most this share of the time, because the test waits for them.
constexpr int kShare = 50;

/// "ADDRESS:PORT". The library would accept more, such as lists of addresses, or a port on all of them.
std::string CompleteAddress(const std::string& text) {
    const std::size_t colon = text.find(':');
    const std::string address = colon == text.npos ? "127.0.0.1" : text.substr(0, colon);
    const std::string port = colon == text.npos ? text : text.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    in_addr ignored{};
    if (error != std::errc() || end != port.data() + port.size() || number == 0 ||
        inet_pton(AF_INET, address.c_str(), &ignored) != 1) {
        throw common::COrvRunTimeError(fmt::format(
            "\"{}\" is not a port from 1 to 65535, or an IPv4 address, a colon and such a port", text));
    }
    return fmt::format("{}:{}", address, number);
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
    const std::string where = CompleteAddress(address);
    try {
        listener_ = std::make_unique<Listener>(where);
    } catch (const std::exception&) {  // its text says nothing more
        throw common::COrvRunTimeError(fmt::format("cannot listen on {}", where));
    }
    listener_->exposer.RegisterCollectable(snapshot_);
}

MetricsServer::~MetricsServer() = default;

void MetricsServer::BeginTest(const std::string& name) {
    test_ = name;
    due_ = {};
}

void MetricsServer::Update(const RunProgress& progress) {
    const Clock::time_point begin = Clock::now();
    snapshot_->Set(MakeRunMetrics(progress, test_, iteration_));
    const Clock::time_point end = Clock::now();
    // While the next test is set up, its results begin from 0 and are none of the last one.
    due_ = progress.test.empty() ? Clock::time_point::max()
                                 : end + std::max<Clock::duration>(kPeriod, kShare * (end - begin));
}

}  // namespace orv::app
