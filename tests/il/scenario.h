// A simulated port as its peer sees it: requests in, responses and notifications out.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fake_timeline.h"
#include "msgset/iptvcd_1.h"
#include "orv/il/simulated_port.h"

namespace testing_aids {

using namespace iptvcd_1_bll;  // NOLINT: the tests talk in this message set
using std::chrono::milliseconds;

inline constexpr std::uint32_t kTest = 9, kProfile = 1, kChannels = 2, kBlock = 3;

/// A configuration that works; tests change what they are about.
struct Scenario {
    Scenario();

    testConfig_s test;                        ///< zapping, test environment, 10 s
    profileConfig_s profile;                  ///< zap only, up, LTL 1000 ms, 100 ms from leave to join
    channelBlockConfig_s channels;            ///< 1 to 10, groups from 225.0.0.1
    std::vector<settopBlockConfig_s> blocks;  ///< one with one STB, IGMP version 2
    std::uint32_t start_delay_step = 0;
    std::uint32_t interval_ms = 1000;
    orv::il::Network network;  ///< join 37 ms, leave 112 ms, unicast 11 and 23 ms, 500 packets per second
    std::string port_name = "Port 1";
    orv::il::FaultSchedule faults;
    std::optional<orv::il::Recordings> recordings;
};

/// The other end of a port's connection.
class Peer {
  public:
    using MakePort = std::function<std::unique_ptr<orv::il::ISoftwarePort>(
        orv::il::ITimeline&, orv::il::ISoftwarePort::Send, orv::il::ISoftwarePort::HangUp)>;

    /// Of a simulated port.
    explicit Peer(const Scenario& scenario);
    Peer(const Scenario& scenario, const MakePort& make_port);

    /// Sends a request and returns the port's answer; a message named "" when there was none.
    orv::tm::Message Ask(orv::tm::Message request);
    /// As Ask; the text of the fault, or "".
    std::string FaultOf(orv::tm::Message request);
    /// Sends the configuration and the registrations; every answer is to be a response.
    void Configure();
    orv::tm::Message StartRequest() const;
    void Start();
    /// Sends a stop, which is to be answered.
    void Stop();
    void RunTo(milliseconds time) { timeline.RunTo(time); }

    Scenario scenario;
    FakeTimeline timeline;
    std::vector<std::vector<std::byte>> sent;  ///< everything that came from the port
    std::vector<stbox_event_s> events;
    std::vector<stbox_event_rrr_s> rrr_events;
    std::vector<std::vector<std::uint32_t>> reports;  ///< blocks of each result notification
    std::vector<milliseconds> report_times;
    std::vector<milliseconds> end_times;  ///< of end-of-test notifications
    std::string hang_up_reason;
    std::unique_ptr<orv::il::ISoftwarePort> port;

  private:
    void OnBytes(std::vector<std::byte> bytes);
    void OnMessage(orv::tm::Message message);

    orv::tm::Message answer_;
    std::uint32_t requests_ = 0;
};

/// The events of a whole run, in the order in which they were reported.
std::vector<stbox_event_s> RunAll(const Scenario& scenario);

/// From `b` to `a` in ms, across the wrap of the counter; NAN when one of them is 0.
double Between(std::int64_t a, std::int64_t b);

}  // namespace testing_aids
