// Makes untrusted texts, mainly names, safe for terminals and files.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orv::app {

/// One character of a UTF-8 text and its length in bytes.
struct CodePoint {
    char32_t value = 0;
    std::size_t size = 0;
    bool is_valid = true;  ///< false: one byte that is not UTF-8
};

/// The first character of a text that is not empty (RFC 3629).
CodePoint ReadCodePoint(std::string_view text);

/// Number of characters of a UTF-8 text; most of them take one column on a terminal.
std::size_t CountCodePoints(std::string_view text);

/// `text` without what would move a terminal's cursor, change its colours or turn the direction of writing:
/// controls are written as \n, \t, \x1b or \u0085, bidirectional controls as \u202e, bytes that are no UTF-8
/// as \xff.
std::string MakePrintable(std::string_view text);

/// A JSON document with those characters of its texts escaped as \\u0085 and so on, which means the same in
/// JSON.
std::string MakePrintableJson(std::string_view json);

}  // namespace orv::app
