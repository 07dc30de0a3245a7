// Numbers in little-endian order, one after the other.
#pragma once

#include <concepts>
#include <cstddef>
#include <span>
#include <type_traits>
#include <vector>

#include "agents/protocol/requests.h"

namespace orv::app {

class LittleEndianWriter {
  public:
    template <std::integral Number>
    void Put(Number number) {
        const auto value = static_cast<std::make_unsigned_t<Number>>(number);
        for (std::size_t i = 0; i < sizeof(Number); ++i)
            bytes_.push_back(static_cast<std::byte>(value >> (8 * i) & 0xFF));
    }
    void PutBytes(std::span<const std::byte> bytes) {
        Put(static_cast<std::uint32_t>(bytes.size()));
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    std::vector<std::byte> Take() { return std::move(bytes_); }

  private:
    std::vector<std::byte> bytes_;
};

/// Throws ProtocolError at the end of the bytes.
class LittleEndianReader {
  public:
    explicit LittleEndianReader(std::span<const std::byte> bytes) : left_(bytes) {}

    template <std::integral Number>
    Number Get() {
        std::make_unsigned_t<Number> value = 0;
        const auto bytes = Get(sizeof(Number));
        for (std::size_t i = 0; i < sizeof(Number); ++i)
            value |= static_cast<std::make_unsigned_t<Number>>(
                static_cast<std::make_unsigned_t<Number>>(bytes[i]) << (8 * i));
        return static_cast<Number>(value);
    }
    std::vector<std::byte> GetBytes() {
        const auto bytes = Get(Get<std::uint32_t>());
        return {bytes.begin(), bytes.end()};
    }
    bool IsAtEnd() const { return left_.empty(); }

  private:
    std::span<const std::byte> Get(std::size_t count) {
        if (count > left_.size()) throw ProtocolError("a message ends too early");
        const auto bytes = left_.first(count);
        left_ = left_.subspan(count);
        return bytes;
    }

    std::span<const std::byte> left_;
};

}  // namespace orv::app
