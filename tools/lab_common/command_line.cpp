#include "lab_common/command_line.h"

#include <array>
#include <charconv>
#include <cstring>
#include <string>

namespace orv::lab {

namespace {

template <class Number>
Number ReadAs(const char* option, const char* text, Number least, Number most) {
    Number value = 0;
    const char* const end = text + std::strlen(text);
    const auto [stop, error] = std::from_chars(text, end, value);
    // The comparisons are false for what is not a number at all.
    if (error != std::errc{} || stop != end || !(value >= least && value <= most)) {
        const auto limit = [](Number number) {
            std::array<char, 32> shown;
            return std::string(shown.data(), std::to_chars(shown.begin(), shown.end(), number).ptr);
        };
        throw UsageError(std::string(option) + " " + text + ": not from " + limit(least) + " to " +
                         limit(most));
    }
    return value;
}

}  // namespace

unsigned ReadNumber(const char* option, const char* text, unsigned least, unsigned most) {
    return ReadAs(option, text, least, most);
}

double ReadDecimal(const char* option, const char* text, double least, double most) {
    return ReadAs(option, text, least, most);
}

}  // namespace orv::lab
