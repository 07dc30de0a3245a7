#include "output/printable.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::app {

namespace {

/// What the first byte of a character encodes: the number of its bytes, the value bits in the first byte, and
/// the smallest code point that needs this many bytes.
struct Lead {
    std::size_t size;
    unsigned char bits;
    char32_t least;
};

Lead ReadLead(unsigned char byte) {
    if (byte < 0x80) return {1, byte, 0};
    if (byte < 0xc0) return {0, 0, 0};
    if (byte < 0xe0) return {2, static_cast<unsigned char>(byte & 0x1f), 0x80};
    if (byte < 0xf0) return {3, static_cast<unsigned char>(byte & 0x0f), 0x800};
    if (byte < 0xf8) return {4, static_cast<unsigned char>(byte & 0x07), 0x10000};
    return {0, 0, 0};
}

/// Line separators, too: some terminals break the line there.
bool IsControl(char32_t c) {
    return c < 0x20 || (c >= 0x7f && c <= 0x9f) || c == 0x61c || c == 0x200e || c == 0x200f ||
           (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

CodePoint ReadCodePoint(std::string_view text) {
    const CodePoint wrong{static_cast<unsigned char>(text.front()), 1, false};
    const Lead lead = ReadLead(static_cast<unsigned char>(text.front()));
    if (lead.size == 0 || text.size() < lead.size) return wrong;
    char32_t value = lead.bits;
    for (const char c : text.substr(1, lead.size - 1)) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0) != 0x80) return wrong;
        value = value << 6 | (byte & 0x3fu);
    }
    const bool is_surrogate = value >= 0xd800 && value <= 0xdfff;
    if (value < lead.least || value > 0x10ffff || is_surrogate) return wrong;
    return {value, lead.size};
}

std::size_t CountCodePoints(std::string_view text) {
    const auto begins_one = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins_one));
}

std::string MakePrintable(std::string_view text) {
    std::string printable;
    while (!text.empty()) {
        const CodePoint c = ReadCodePoint(text);
        if (c.value == '\n') {
            printable += "\\n";
        } else if (c.value == '\t') {
            printable += "\\t";
        } else if (!c.is_valid || (c.size == 1 && IsControl(c.value))) {
            printable += fmt::format("\\x{:02x}", static_cast<unsigned>(c.value));
        } else if (IsControl(c.value)) {
            printable += fmt::format("\\u{:04x}", static_cast<unsigned>(c.value));
        } else {
            printable += text.substr(0, c.size);
        }
        text.remove_prefix(c.size);
    }
    return printable;
}

std::string MakePrintableJson(std::string_view json) {
    const bool is_ascii =
        std::all_of(json.begin(), json.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (is_ascii) return std::string(json);
    std::string printable;
    while (!json.empty()) {
        const CodePoint c = ReadCodePoint(json);
        if (c.is_valid && c.size > 1 && IsControl(c.value)) {
            printable += fmt::format("\\u{:04x}", static_cast<unsigned>(c.value));
        } else {
            printable += json.substr(0, c.size);
        }
        json.remove_prefix(c.size);
    }
    return printable;
}

}  // namespace orv::app
