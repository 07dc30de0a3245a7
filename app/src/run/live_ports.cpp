#include "live_ports.h"

#include <fmt/format.h>

#include <chrono>
#include <future>
#include <utility>

#include "interface_stacks.h"
#include "orv/common/exceptions.h"
#include "stream_plan.h"
#include "traffic.h"

namespace orv::app {

namespace {

constexpr std::chrono::seconds kLongestStart{1};

/// What a link has of a live port.
class FarEnd : public il::ISoftwarePort {
  public:
    explicit FarEnd(std::shared_ptr<EndablePort> port) : port_(std::move(port)) {}
    ~FarEnd() override { port_->End(); }
    FarEnd(const FarEnd&) = delete;
    FarEnd& operator=(const FarEnd&) = delete;

    void Receive(const std::vector<std::byte>& bytes) override { port_->Receive(bytes); }
    /// The network decides which channels are sent.
    void ChannelsChange(const std::function<void()>& change) override { change(); }

  private:
    const std::shared_ptr<EndablePort> port_;
};

}  // namespace

std::unique_ptr<il::ISoftwarePort> LivePorts::Make(const core::CPort& port, const std::string& interface,
                                                   il::FaultSchedule faults, il::ISoftwarePort::Send send,
                                                   il::ISoftwarePort::HangUp hang_up) {
    nic::LivePort::Setup setup;
    setup.name = port.GetName();
    setup.interface = interface;
    setup.faults = std::move(faults);
    setup.seed = seed_;
    setup.membership = settings_.membership;
    setup.unicast = settings_.unicast;
    const auto complain = [complain = complain_, name = port.GetName(), interface](const std::string& what) {
        complain(fmt::format("Port \"{}\" ({}): {}", name, interface, what));
    };
    try {
        auto made = std::make_shared<EndablePort>(
            std::make_unique<nic::LivePort>(std::move(setup), std::move(send), std::move(hang_up), complain));
        ports_.push_back({&port, interface, nic::GetLineRate(interface), made});
        return std::make_unique<FarEnd>(std::move(made));
    } catch (const nic::NicError& error) {
        throw common::COrvRunTimeError(fmt::format("Port \"{}\": {}", port.GetName(), error.what()));
    }
}

void LivePorts::ConfigureInterfaces() const {
    for (const Live& live : ports_) app::ConfigureInterfaces(*live.port);
}

void LivePorts::FollowGenerators() {
    std::vector<std::future<void>> begun;
    for (Live& live : ports_) {
        const bool sends = IsGeneratorRunning(*live.port);
        if (sends == std::exchange(live.is_sending, sends)) continue;
        begun.push_back(live.far_end->SetStreams(sends ? PlanStreams(*live.port, live.line_rate)
                                                       : std::vector<nic::Stream>()));
    }
    const auto latest = std::chrono::steady_clock::now() + kLongestStart;
    for (const std::future<void>& each : begun)
        if (each.valid()) each.wait_until(latest);
}

std::vector<LivePortReport> LivePorts::GetReports() const {
    std::vector<LivePortReport> reports;
    for (const Live& live : ports_)
        reports.push_back({live.port->GetName(), live.interface, live.far_end->GetFigures()});
    return reports;
}

}  // namespace orv::app
