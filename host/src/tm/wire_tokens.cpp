#include "wire_tokens.h"

#include <bit>

#include <fmt/format.h>
#include <msgpack.hpp>

#include "orv/tm/message.h"
#include "wire_form.h"

namespace orv::tm {
namespace {

using Type = Wire_token::Type;

/// Nesting of MessagePack arrays: a level of structs within arrays takes up to five of them (array value,
/// payload, segment, its rows, one row), so this leaves room for every value that is not too deep itself.
constexpr int kMaxArrayNesting = 4 * Message::kMaxDepth + 8;

[[noreturn]] void fail_at(std::size_t offset, const std::string& text) {
    throw Tm_exception(fmt::format("message, byte {}: {}", offset, text));
}

/// Takes the parser's events. Returning false stops the parser at the current item.
class Token_visitor : public msgpack::null_visitor {
  public:
    Token_visitor(std::vector<Wire_token>& tokens, const char* data) : tokens_(tokens), data_(data) {}

    bool visit_nil() { return refuse("nil"); }
    bool visit_boolean(bool value) { return add(Type::kBool, value ? 1 : 0, 0); }
    bool visit_positive_integer(std::uint64_t value) { return add(Type::kUnsigned, value, 0); }
    bool visit_negative_integer(std::int64_t value) {
        // The signed forms may also hold positive numbers.
        return add(value < 0 ? Type::kNegative : Type::kUnsigned, static_cast<std::uint64_t>(value), 0);
    }
    bool visit_float32(float) { return refuse("a float32"); }
    bool visit_float64(double value) { return add(Type::kDouble, std::bit_cast<std::uint64_t>(value), 0); }
    bool visit_str(const char* text, std::uint32_t size) {
        return add(Type::kString, place(text, size), size);
    }
    bool visit_bin(const char* bytes, std::uint32_t size) {
        return add(Type::kBytes, place(bytes, size), size);
    }
    bool visit_ext(const char*, std::uint32_t) { return refuse("an extension"); }
    bool start_map(std::uint32_t) { return refuse("a map"); }
    bool start_array(std::uint32_t count) {
        if (++nesting_ > kMaxArrayNesting) {
            problem_ = "values are nested too deep";
            return false;
        }
        return add(Type::kArray, 0, count);
    }
    bool end_array() {
        --nesting_;
        return true;
    }
    void parse_error(std::size_t, std::size_t offset) { fail_at(offset, "no MessagePack"); }
    void insufficient_bytes(std::size_t, std::size_t offset) {
        fail_at(offset, "the message ends too early");
    }

    const std::string& problem() const { return problem_; }

  private:
    bool add(Type type, std::uint64_t bits, std::uint32_t size) {
        tokens_.push_back({bits, size, type});
        return true;
    }
    bool refuse(const char* what) {
        problem_ = fmt::format("{} has no place in a message", what);
        return false;
    }
    // The parser passes no pointer for some empty fields.
    std::uint64_t place(const char* first, std::uint32_t size) const {
        return size == 0 ? 0 : static_cast<std::uint64_t>(first - data_);
    }

    std::vector<Wire_token>& tokens_;
    const char* data_;
    int nesting_ = 0;
    std::string problem_;
};

/// Lets the parser run over a number of items, to learn where they end.
class Counting_visitor : public msgpack::null_visitor {
  public:
    explicit Counting_visitor(std::size_t items) : left_(items) {}
    bool visit_boolean(bool) { return count(); }
    bool visit_positive_integer(std::uint64_t) { return count(); }
    bool visit_negative_integer(std::int64_t) { return count(); }
    bool visit_float64(double) { return count(); }
    bool visit_str(const char*, std::uint32_t) { return count(); }
    bool visit_bin(const char*, std::uint32_t) { return count(); }
    bool start_array(std::uint32_t) { return count(); }

  private:
    bool count() { return --left_ > 0; }
    std::size_t left_;
};

const char* name_of(Type type) {
    switch (type) {
        case Type::kUnsigned:
            return "a number";
        case Type::kNegative:
            return "a negative number";
        case Type::kDouble:
            return "a float64";
        case Type::kBool:
            return "a bool";
        case Type::kString:
            return "a string";
        case Type::kBytes:
            return "a byte field";
        case Type::kArray:
            return "an array";
    }
    return "an unknown item";
}

}  // namespace

Wire_tokens::Wire_tokens(std::span<const std::byte> bytes) : bytes_(bytes) {
    if (bytes.size() > wire::kMaxMessageSize) {
        throw Tm_exception(
            fmt::format("a message of {} bytes; the limit is {}", bytes.size(), wire::kMaxMessageSize));
    }
    const char* data = reinterpret_cast<const char*>(bytes.data());
    Token_visitor visitor(tokens_, data);
    std::size_t offset = 0;
    if (!msgpack::parse(data, bytes.size(), offset, visitor)) {
        fail_at(offset_of(tokens_.size()), visitor.problem());
    }
    if (offset < bytes.size()) {
        fail_at(offset, fmt::format("{} bytes follow the message", bytes.size() - offset));
    }
}

std::uint64_t Wire_tokens::take_unsigned(std::uint64_t max, const char* what) {
    const std::uint64_t value = take(Type::kUnsigned, what).bits;
    if (value > max) fail(fmt::format("{} is {}; the limit is {}", what, value, max));
    return value;
}

std::string_view Wire_tokens::take_string(std::size_t max_size, const char* what) {
    const Wire_token& token = take(Type::kString, what);
    if (token.size > max_size)
        fail(fmt::format("{} has {} bytes; the limit is {}", what, token.size, max_size));
    const std::string_view text(reinterpret_cast<const char*>(bytes_.data()) + token.bits, token.size);
    if (wire::has_zero_byte(text)) fail(fmt::format("{} holds a zero byte", what));
    return text;
}

std::span<const std::byte> Wire_tokens::take_bytes(const char* what) {
    const Wire_token& token = take(Type::kBytes, what);
    return bytes_.subspan(token.bits, token.size);
}

std::uint32_t Wire_tokens::take_array(const char* what) {
    return take(Type::kArray, what).size;
}

void Wire_tokens::take_array_of(std::uint32_t count, const char* what) {
    const std::uint32_t found = take_array(what);
    if (found != count) fail(fmt::format("{} has {} items, not {}", what, found, count));
}

const Wire_token& Wire_tokens::take(Type type, const char* what) {
    const Wire_token& token = take();
    if (token.type != type) {
        fail(fmt::format("{} is {} where {} belongs", what, name_of(token.type), name_of(type)));
    }
    return token;
}

void Wire_tokens::fail(const std::string& text) const {
    fail_at(offset_of(position_ - 1), text);
}

std::size_t Wire_tokens::offset_of(std::size_t token) const {
    // Positions are not kept, to keep tokens small; the rare error runs the parser again up to the item
    // before.
    if (token == 0) return 0;
    Counting_visitor visitor(token);
    std::size_t last_byte = 0;
    msgpack::parse(reinterpret_cast<const char*>(bytes_.data()), bytes_.size(), last_byte, visitor);
    return last_byte + 1;
}

}  // namespace orv::tm
