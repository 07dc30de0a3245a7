// A message's bytes as a list of MessagePack items, read one after the other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orv::tm {

/// One MessagePack item. The items of an array follow its token.
struct Wire_token {
    enum class Type : std::uint8_t { kUnsigned, kNegative, kDouble, kBool, kString, kBytes, kArray };

    std::uint64_t bits;  ///< value; position in the message of a string's or byte field's first byte
    std::uint32_t size;  ///< bytes of a string or byte field, items of an array
    Type type;
};

/// Splits a message into tokens, then returns them in order. A packed run or a simple array is one token, so
/// the list is short even for large messages. Counts in tokens can be trusted: the message was parsed to its
/// end, so every counted item exists.
///
/// Every operation throws Tm_exception with the position of the offending byte.
class Wire_tokens {
  public:
    /// `bytes` must outlive the object. Throws for anything but one complete MessagePack item of the types
    /// above.
    explicit Wire_tokens(std::span<const std::byte> bytes);

    std::span<const std::byte> bytes() const { return bytes_; }

    /// The next item, whatever it is. `what` names it in errors.
    const Wire_token& take() { return tokens_[position_++]; }
    const Wire_token& peek() const { return tokens_[position_]; }
    /// The next item, which must be of a type (and in range).
    std::uint64_t take_unsigned(std::uint64_t max, const char* what);
    std::string_view take_string(std::size_t max_size, const char* what);
    std::span<const std::byte> take_bytes(const char* what);
    std::uint32_t take_array(const char* what);
    void take_array_of(std::uint32_t count, const char* what);

    /// Throws: "message, byte <position of the item taken last>: <text>".
    [[noreturn]] void fail(const std::string& text) const;

  private:
    const Wire_token& take(Wire_token::Type type, const char* what);
    std::size_t offset_of(std::size_t token) const;

    std::span<const std::byte> bytes_;
    std::vector<Wire_token> tokens_;
    std::size_t position_ = 0;
};

}  // namespace orv::tm
