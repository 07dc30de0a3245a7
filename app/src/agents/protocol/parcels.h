// The parcels of a session between a controller and an agent: what their bytes are.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "orv/bus/frame.h"

namespace orv::app {

/// In the comments: the lane, and what the bytes are. Numbers are little-endian.
enum class ParcelKind : std::uint8_t {
    Configure = 1,   ///< Down: SessionSetup as JSON
    Configured = 2,  ///< Answers: SessionAnswer as JSON
    Message = 3,     ///< Down: a typed message to the port. Answers: its answer. Reports: a notification
    MessageAt = 4,   ///< Down: i64 ns of the agent's steady clock, and a typed message for that time
    Streams = 5,     ///< Down: what the port's generator sends, as JSON
    OnAir = 6,       ///< Down: which channels are sent, as JSON
    HungUp = 7,      ///< Reports: the port, or all of them, has ended, a text says why. Down: it is to end
    Complaint = 8,   ///< Reports: a text about something that makes the port's figures wrong
    Step = 9,        ///< Down: a step of a port on the controller's clock (step.h)
    StepDone = 10,   ///< Reports: what the port did in it
};

/// Port of a parcel that concerns the whole session.
inline constexpr std::uint16_t kNoPort = 0xFFFF;

bus::Parcel MakeParcel(ParcelKind kind, std::uint16_t port, std::vector<std::byte> data);
bus::Parcel MakeTextParcel(ParcelKind kind, std::uint16_t port, std::string_view text);
/// Whatever bytes came, at most `most` of them.
std::string GetText(const bus::Parcel& parcel, std::size_t most = 2'000);

/// For ParcelKind::MessageAt.
std::vector<std::byte> MakeTimedMessage(std::chrono::nanoseconds time, std::span<const std::byte> message);
struct TimedMessage {
    std::chrono::nanoseconds time{};
    std::vector<std::byte> message;
};
/// Nothing if the bytes are too few.
std::optional<TimedMessage> ReadTimedMessage(std::span<const std::byte> bytes);

}  // namespace orv::app
