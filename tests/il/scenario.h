// A simulated port as its peer sees it: requests in, responses and notifications out.
#pragma once

#include <gtest/gtest.h>

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
    std::uint32_t start_delay_step = 0, interval_ms = 1000;
    orv::il::Network network;  ///< join 37 ms, leave 112 ms, unicast 11 and 23 ms, 500 packets per second
    std::string port_name = "Port 1";
    orv::il::FaultSchedule faults;
    std::optional<orv::il::Recordings> recordings;
};

template <class... Arguments, class... Values>
orv::tm::Message Make(void (*create)(orv::tm::Message*, Arguments...), Values&&... values) {
    orv::tm::Message message;
    create(&message, std::forward<Values>(values)...);
    return message;
}

/// The other end of a port's connection.
struct Peer {
    using MakePort = std::function<std::unique_ptr<orv::il::ISoftwarePort>(
        orv::il::ITimeline&, orv::il::ISoftwarePort::Send, orv::il::ISoftwarePort::HangUp)>;

    /// Of a simulated port.
    explicit Peer(const Scenario& scenario);
    Peer(const Scenario& scenario, const MakePort& make_port);
    /// Of a simulated port that has run a test for this time.
    Peer(const Scenario& scenario, int run_to_ms) : Peer(scenario) {
        Start();
        RunTo(run_to_ms);
    }

    /// Sends a request and returns the port's answer; a message named "" when there was none.
    orv::tm::Message Ask(orv::tm::Message request);
    /// As Ask; the text of the fault, or "".
    std::string FaultOf(orv::tm::Message request);
    /// As FaultOf, of a request made by `create`.
    template <class... Arguments, class... Values>
    std::string FaultOf(void (*create)(orv::tm::Message*, Arguments...), Values&&... values) {
        return FaultOf(Make(create, std::forward<Values>(values)...));
    }
    /// Sends the configuration and the registrations; every answer is to be a response.
    void Configure();
    orv::tm::Message StartRequest() const;
    void Start() {
        Configure();
        EXPECT_EQ("", StartAgain());
    }
    /// The fault of another start, without a configuration before it.
    std::string StartAgain() { return FaultOf(StartRequest()); }
    /// Sends a stop, which is to be answered.
    void Stop() { EXPECT_EQ("", FaultOf(create_req_Stop)); }
    void RunTo(milliseconds time) { timeline.RunTo(time); }
    void RunTo(int ms) { RunTo(milliseconds(ms)); }
    /// Has the channels sent or not from now on, while the scenario's network asks `sent`.
    void Change(bool& sent) {
        port->ChannelsChange([&sent] { sent = !sent; });
    }

    Scenario scenario;
    FakeTimeline timeline;
    std::vector<std::vector<std::byte>> sent;  ///< everything that came from the port
    std::vector<stbox_event_s> events;
    std::vector<stbox_event_rrr_s> rrr_events;
    std::vector<std::vector<std::uint32_t>> reports;  ///< blocks of each result notification
    std::vector<int> report_times, end_times;         ///< ms; of result and end-of-test notifications
    std::string hang_up_reason;
    std::unique_ptr<orv::il::ISoftwarePort> port;

  private:
    void OnBytes(std::vector<std::byte> bytes);
    void OnMessage(orv::tm::Message message);
    std::vector<std::uint32_t> GetBlockHandles() const;

    orv::tm::Message answer_;
    std::uint32_t requests_ = 0;
};

/// The events of a whole run, in the order in which they were reported.
std::vector<stbox_event_s> RunAll(const Scenario& scenario);

/// What records say: "3 x 0 37-1012 900, 487 packets" are three, one after the other, with times in ms after
/// the join: it, the first and the last packet, the leave. With unicast "0 11-103 211-401 80; " comes before
/// that, times are after the unicast join: it, packets without and with S-bit, the leave.
std::string Told(const std::vector<stbox_event_s>& events);

/// From `b` to `a` in ms, across the wrap of the counter; NAN when one of them is 0.
double Between(std::int64_t a, std::int64_t b);

}  // namespace testing_aids
