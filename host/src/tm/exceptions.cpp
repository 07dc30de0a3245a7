#include "orv/tm/exceptions.h"

#include <fmt/format.h>

namespace orv::tm {

std::string quoted(std::string_view text) {
    constexpr std::size_t kLongest = 128;
    std::string result = "'";
    for (const char c : text.substr(0, kLongest)) result += c >= ' ' && c <= '~' ? c : '?';
    return result + (text.size() > kLongest ? "...'" : "'");
}
namespace {

std::string range_text(int index, int low, int high) {
    if (high < low) return fmt::format("index {} is outside an empty array", index);
    return fmt::format("index {} is outside {} to {}", index, low, high);
}

std::string kinds_text(TMV found, TMV asked_for) {
    return fmt::format("found {} ({}), asked for {} ({})", name_of(found), int{found}, name_of(asked_for),
                       int{asked_for});
}

}  // namespace

// The destructors are here so that the classes have one home: an exception thrown in this library is the same
// class in every plug-in that catches it.
Tm_exception::~Tm_exception() = default;
Tm_out_of_range_exception::~Tm_out_of_range_exception() = default;
Tm_type_mismatch_exception::~Tm_type_mismatch_exception() = default;

Tm_out_of_range_exception::Tm_out_of_range_exception(int index, int low, int high)
    : Tm_exception(range_text(index, low, high)), index_(index), low_(low), high_(high) {}

Tm_type_mismatch_exception::Tm_type_mismatch_exception(TMT found, TMT expected)
    : Tm_exception(fmt::format("found {} ({}), expected {} ({})", name_of(found), int{found},
                               name_of(expected), int{expected})),
      found_(found),
      expected_(expected) {}

Tm_type_mismatch_exception::Tm_type_mismatch_exception(TMV of_array, TMV asked_for)
    : Tm_exception(kinds_text(of_array, asked_for)), found_(of_array), expected_(asked_for) {}

Tm_type_mismatch_exception::Tm_type_mismatch_exception(TMV found, TMV asked_for, const std::string& where)
    : Tm_exception(where + ": " + kinds_text(found, asked_for)), found_(found), expected_(asked_for) {}

}  // namespace orv::tm
