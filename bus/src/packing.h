// Parcels made smaller for the way: records of events are mostly zeros.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace orv::bus {

/// As an LZ4 block (LZ4 Block Format), after the number of its bytes, u32 little-endian; nothing if that is
/// not much smaller.
/// `scratch` is used again for the next one: large new memory costs more than the packing.
std::optional<std::vector<std::byte>> pack(std::span<const std::byte> data, std::vector<std::byte>& scratch);
/// Nothing for bytes that are no packed data. Takes memory in proportion to them: at most 255 times as much,
/// which is the most that LZ4 packs.
std::optional<std::vector<std::byte>> unpack(std::span<const std::byte> packed);

}  // namespace orv::bus
