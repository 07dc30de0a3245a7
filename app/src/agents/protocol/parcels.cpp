#include "agents/protocol/parcels.h"

#include <algorithm>
#include <utility>

#include "agents/protocol/little_endian.h"

namespace orv::app {

bus::Parcel MakeParcel(ParcelKind kind, std::uint16_t port, std::vector<std::byte> data) {
    return {static_cast<std::uint8_t>(kind), port, std::move(data)};
}

bus::Parcel MakeTextParcel(ParcelKind kind, std::uint16_t port, std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return MakeParcel(kind, port, {bytes.begin(), bytes.end()});
}

std::string GetText(const bus::Parcel& parcel, std::size_t most) {
    const auto* text = reinterpret_cast<const char*>(parcel.data.data());
    return {text, std::min(parcel.data.size(), most)};
}

std::vector<std::byte> MakeTimedMessage(std::chrono::nanoseconds time, std::span<const std::byte> message) {
    LittleEndianWriter writer;
    writer.Put(std::int64_t{time.count()});
    std::vector<std::byte> bytes = writer.Take();
    bytes.insert(bytes.end(), message.begin(), message.end());
    return bytes;
}

std::optional<TimedMessage> ReadTimedMessage(std::span<const std::byte> bytes) {
    if (bytes.size() < sizeof(std::int64_t)) return {};
    const std::chrono::nanoseconds time(LittleEndianReader(bytes).Get<std::int64_t>());
    const auto message = bytes.subspan(sizeof(std::int64_t));
    return TimedMessage{time, {message.begin(), message.end()}};
}

}  // namespace orv::app
