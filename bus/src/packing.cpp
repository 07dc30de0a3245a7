#include "packing.h"

#include <lz4.h>

#include <cstdint>

#include "orv/bus/frame.h"

namespace orv::bus {

namespace {

constexpr std::size_t kSizeBytes = 4;
/// Less is not worth it.
constexpr std::size_t kLeast = 1'024;
constexpr std::size_t kMostRatio = 255;
/// Of LZ4: looks less closely for what repeats.
constexpr int kAcceleration = 4;

}  // namespace

std::optional<std::vector<std::byte>> pack(std::span<const std::byte> data, std::vector<std::byte>& scratch) {
    if (data.size() < kLeast || data.size() > LZ4_MAX_INPUT_SIZE) return {};
    // A quarter must be gained: then no room is needed for more.
    const std::size_t room = data.size() * 3 / 4;
    if (scratch.size() < room) scratch.resize(room);
    for (std::size_t i = 0; i < kSizeBytes; ++i)
        scratch[i] = static_cast<std::byte>(data.size() >> (8 * i) & 0xFF);
    const int size = LZ4_compress_fast(
        reinterpret_cast<const char*>(data.data()), reinterpret_cast<char*>(scratch.data() + kSizeBytes),
        static_cast<int>(data.size()), static_cast<int>(room - kSizeBytes), kAcceleration);
    if (size <= 0) return {};
    const auto end = scratch.begin() + static_cast<std::ptrdiff_t>(kSizeBytes) + size;
    return std::vector<std::byte>(scratch.begin(), end);
}

std::optional<std::vector<std::byte>> unpack(std::span<const std::byte> packed) {
    if (packed.size() < kSizeBytes) return {};
    std::size_t size = 0;
    for (std::size_t i = 0; i < kSizeBytes; ++i) size |= static_cast<std::size_t>(packed[i]) << (8 * i);
    if (size > kMostParcelBytes || size > kMostRatio * packed.size()) return {};
    std::vector<std::byte> data(size);
    const int read = LZ4_decompress_safe(
        reinterpret_cast<const char*>(packed.data() + kSizeBytes), reinterpret_cast<char*>(data.data()),
        static_cast<int>(packed.size() - kSizeBytes), static_cast<int>(size));
    if (read < 0 || static_cast<std::size_t>(read) != size) return {};
    return data;
}

}  // namespace orv::bus
