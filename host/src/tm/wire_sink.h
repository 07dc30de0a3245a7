// Where MessagePack bytes go while a message is written.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <msgpack.hpp>

#include "orv/tm/exceptions.h"
#include "wire_form.h"

namespace orv::tm {

struct Byte_sink {
    std::vector<std::byte> bytes;
    void write(const char* data, std::size_t size) {
        const auto* first = reinterpret_cast<const std::byte*>(data);
        bytes.insert(bytes.end(), first, first + size);
    }
};

struct Text_sink {
    std::string text;
    void write(const char* data, std::size_t size) { text.append(data, size); }
};

/// Writes a string that the other side will accept. Throws Tm_exception naming `what` otherwise.
template <class Packer>
void pack_text(Packer& packer, std::string_view text, std::size_t max_size, const char* what) {
    if (text.size() > max_size) {
        throw Tm_exception(
            fmt::format("cannot send {} of {} bytes; the limit is {}", what, text.size(), max_size));
    }
    if (wire::has_zero_byte(text))
        throw Tm_exception(fmt::format("cannot send {} that holds a zero byte", what));
    packer.pack_str(static_cast<std::uint32_t>(text.size()));
    packer.pack_str_body(text.data(), static_cast<std::uint32_t>(text.size()));
}

}  // namespace orv::tm
