// What a fuzzer's bytes choose.
#pragma once

#include <cstddef>
#include <span>

namespace testing_aids {

/// Takes numbers from bytes, and 0 behind their end.
class ByteReader {
  public:
    explicit ByteReader(std::span<const std::byte> bytes) : left_(bytes) {}
    bool IsAtEnd() const { return left_.empty(); }
    unsigned Take() {
        if (left_.empty()) return 0;
        const unsigned value = std::to_integer<unsigned>(left_.front());
        left_ = left_.subspan(1);
        return value;
    }

  private:
    std::span<const std::byte> left_;
};

}  // namespace testing_aids
