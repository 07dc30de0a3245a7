#include "decimal.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace orv::app {

namespace {

constexpr std::size_t kMostDigits = 12;
constexpr std::size_t kMostDecimals = 6;

Decimal WithDigits(Decimal number, int digits) {
    for (; number.digits < digits; ++number.digits) number.units *= 10;
    return number;
}

bool IsDigits(const std::string& text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

}  // namespace

std::optional<Decimal> ParseDecimal(const std::string& text) {
    const bool is_negative = text.starts_with('-');
    const std::string number = text.substr(is_negative ? 1 : 0);
    const std::size_t point = number.find('.');
    const std::string whole = number.substr(0, point);
    const std::string decimals = point == number.npos ? "" : number.substr(point + 1);
    if (!IsDigits(whole) || (whole.size() > 1 && whole.front() == '0')) return std::nullopt;
    if (point != number.npos && !IsDigits(decimals)) return std::nullopt;
    const std::string digits = whole + decimals;
    if (digits.size() > kMostDigits || decimals.size() > kMostDecimals) return std::nullopt;
    Decimal result;
    std::from_chars(digits.data(), digits.data() + digits.size(), result.units);
    if (is_negative) result.units = -result.units;
    result.digits = static_cast<int>(decimals.size());
    return result;
}

DecimalRange::DecimalRange(Decimal from, Decimal to, Decimal step) {
    const int digits = std::max({from.digits, to.digits, step.digits});
    from_ = WithDigits(from, digits);
    step_ = WithDigits(step, digits).units;
    const std::int64_t width = WithDigits(to, digits).units - from_.units;
    if (width >= 0) count_ = static_cast<std::size_t>(width / step_) + 1;
}

std::string DecimalRange::GetText(std::size_t index) const {
    std::int64_t units = from_.units + step_ * static_cast<std::int64_t>(index);
    int digits = from_.digits;
    for (; digits > 0 && units % 10 == 0; --digits) units /= 10;
    std::int64_t scale = 1;
    for (int i = 0; i < digits; ++i) scale *= 10;
    const std::int64_t size = units < 0 ? -units : units;
    std::string text = fmt::format("{}{}", units < 0 ? "-" : "", size / scale);
    if (digits > 0) text += fmt::format(".{:0{}}", size % scale, digits);
    return text;
}

}  // namespace orv::app
