// Texts that compare without regard to case, and texts of numbers.
#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

namespace orv::common {

inline char ToLower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

inline std::string ToLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return ToLower(c); });
    return lower;
}

inline bool EqualIgnoringCase(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return ToLower(x) == ToLower(y); });
}

/// True for "007", "-01" and "00.5", which some readers parse as octal numbers; "0" and "0.5" are fine.
inline bool HasLeadingZero(std::string_view number) {
    if (number.starts_with('-')) number.remove_prefix(1);
    return number.size() > 1 && number[0] == '0' && std::isdigit(static_cast<unsigned char>(number[1]));
}

}  // namespace orv::common
