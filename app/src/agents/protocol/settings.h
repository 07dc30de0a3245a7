// What an agent needs to know for the ports of a test, as JSON. Whatever comes may be hostile: reading throws
// ProtocolError.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "agents/protocol/requests.h"
#include "orv/il/faults.h"
#include "orv/il/network.h"
#include "orv/il/streams_on_air.h"
#include "orv/nic/live_port.h"
#include "test_file/live_settings.h"

namespace orv::app {

/// One port of a session; its number is its position.
struct RemotePortSetup {
    std::string name;   ///< of the port in the project
    std::string place;  ///< "eth1", or "sim/1" for a simulated one
    il::FaultSchedule faults = {};

    bool IsSimulated() const { return place.starts_with("sim/"); }
};

struct SessionSetup {
    std::vector<RemotePortSetup> ports;
    std::uint64_t seed = 1;
    LiveSettings live;
    il::Network network;  ///< without is_sent: StreamsOnAir come in parcels
    /// Simulated ports take their time from the controller, step by step; otherwise from their own clock.
    bool is_stepped = false;
    std::chrono::nanoseconds now{};  ///< of the controller, if stepped
};

/// Answer to a setup.
struct SessionAnswer {
    std::string error;               ///< if not empty, there are no ports
    std::vector<double> line_rates;  ///< bit/s, by port; 0 for simulated ones
};

std::string ToJson(const SessionSetup& setup);
SessionSetup ReadSessionSetup(std::string_view json);
std::string ToJson(const SessionAnswer& answer);
SessionAnswer ReadSessionAnswer(std::string_view json);

std::string ToJson(const std::vector<nic::Stream>& streams);
std::vector<nic::Stream> ReadStreams(std::string_view json);

std::string ToJson(const il::StreamsOnAir::Paths& paths);
il::StreamsOnAir::Paths ReadStreamsOnAir(std::string_view json);

/// By port; of simulated ones all 0.
std::string ToJson(const std::vector<nic::LiveFigures>& figures);
std::vector<nic::LiveFigures> ReadFigures(std::string_view json);

}  // namespace orv::app
