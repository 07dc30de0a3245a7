#include "packed_column.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace orv::app {

namespace {

const std::string& GetDigits() {
    static const std::string digits = [] {
        std::string all;
        for (char c = '#'; c <= '~'; ++c) {
            if (c != '&' && c != '<' && c != '>' && c != '\\') all += c;
        }
        return all;
    }();
    return digits;
}

std::size_t CountDigits(std::size_t values) {
    std::size_t width = 1;
    for (std::size_t fits = GetDigits().size(); fits < values; fits *= GetDigits().size()) ++width;
    return width;
}

}  // namespace

Number GetNumber(const ResultsQuery& query, int column) {
    const ResultValue value = query.Get(column);
    if (const auto* whole = std::get_if<std::int64_t>(&value)) return static_cast<double>(*whole);
    if (const auto* real = std::get_if<double>(&value)) return *real;
    return std::nullopt;
}

double RoundFigure(double value, int digits) {
    if (value == 0 || !std::isfinite(value)) return value;
    constexpr int kWhole = 3;
    const int magnitude = static_cast<int>(std::floor(std::log10(std::fabs(value))));
    const int decimals = magnitude >= kWhole ? 0 : digits - 1 - magnitude;
    const double scale = std::pow(10.0, decimals);
    return std::isfinite(scale) && scale > 0 ? std::round(value * scale) / scale : value;
}

PageJson ToJson(const Number& number) {
    constexpr double kExact = 9007199254740992;  // 2^53
    if (!number || !std::isfinite(*number)) return {};
    if (*number == std::floor(*number) && std::fabs(*number) < kExact)
        return static_cast<std::int64_t>(*number);
    return *number;
}

PageJson PackColumn(const std::vector<Number>& column) {
    PageJson plain = PageJson::array();
    std::map<Number, std::size_t> indices;
    for (const Number& number : column) {
        plain.push_back(ToJson(number));
        indices.emplace(number, 0);
    }
    PageJson values = PageJson::array();
    for (auto& [value, index] : indices) {
        index = values.size();
        values.push_back(ToJson(value));
    }
    const std::string& digits = GetDigits();
    const std::size_t width = CountDigits(values.size());
    std::string rows;
    for (const Number& number : column) {
        std::string row(width, digits.front());
        std::size_t index = indices.at(number);
        for (auto digit = row.rbegin(); digit != row.rend(); ++digit, index /= digits.size())
            *digit = digits[index % digits.size()];
        rows += row;
    }
    PageJson packed{{"v", std::move(values)}, {"w", width}, {"s", std::move(rows)}};
    return packed.dump().size() < plain.dump().size() ? packed : plain;
}

PageJson PackTexts(const std::vector<std::string>& texts) {
    constexpr std::size_t kFew = 200;
    if (texts.size() <= kFew) return texts;
    const std::string& digits = GetDigits();
    PageJson front = PageJson::array();
    std::string_view before;
    for (const std::string& text : texts) {
        const std::size_t most = std::min({before.size(), text.size(), digits.size() - 1});
        std::size_t shared = 0;
        while (shared < most && text[shared] == before[shared] &&
               static_cast<unsigned char>(text[shared]) < 0x80)
            ++shared;
        front.push_back(digits[shared] + text.substr(shared));
        before = text;
    }
    return {{"front", std::move(front)}};
}

}  // namespace orv::app
