// Command line of the server.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "lab_common/clock.h"

namespace orv::lab {

struct ServerOptions {
    std::array<std::byte, 4> address4{};
    std::array<std::byte, 16> address6{};
    std::uint16_t port = 5006;
    std::uint8_t payload_type = 99;
    Nanoseconds history = std::chrono::seconds(3);
    std::size_t memory = std::size_t{256} << 20;
    Nanoseconds burst_start = std::chrono::seconds(1);
    double burst_rate = 1.5;
    Nanoseconds burst_longest = std::chrono::seconds(10);
    bool require_token = false;
    unsigned token_seconds = 300;
    unsigned seed = 1;
    std::string log;
    std::string interface;

    // Misbehaviour.
    bool silent = false;
    std::optional<std::uint16_t> refuse;
    Nanoseconds late{0};
    double lose_burst = 0;  // probability
    double lose_repairs = 0;
    bool sbit = true;
    Nanoseconds sbit_late{0};
    std::uint16_t wrong_osn = 0;
    bool twice = false;
    bool ignore_termination = false;
    bool ignore_bitrate = false;
};

/// Throws UsageError.
ServerOptions ReadServerOptions(int count, char** arguments);

extern const char* const kServerUsage;

}  // namespace orv::lab
