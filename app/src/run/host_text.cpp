#include "host_text.h"

#include <fmt/format.h>

#include <charconv>
#include <string_view>

#include "orv/common/exceptions.h"

namespace orv::app {

namespace {

constexpr std::string_view kHexPrefix = "0x";
/// Of a number.
constexpr std::uint32_t kMostDigits = 16;

[[noreturn]] void RefuseText(const std::string& text, const std::string& why) {
    throw common::COrvRunTimeError(fmt::format(
        "\"{}\" {}; expected text with {{start}}, {{start+step:digits}} or {{mac}} for what differs "
        "from host to host",
        text, why));
}

/// What counts: "start", "start+step", either with ":digits".
struct Counter {
    std::uint64_t start = 0, step = 1;
    std::uint32_t digits = 1;

    std::string GetText(std::uint32_t host, bool is_hex) const {
        const std::uint64_t number = start + step * host;
        return is_hex ? fmt::format("{:0{}x}", number, digits) : fmt::format("{:0{}}", number, digits);
    }
};

bool ReadNumber(std::string_view& text, int base, std::uint64_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return true;
}

bool ReadCounter(std::string_view text, bool is_hex, Counter& counter) {
    const int base = is_hex ? 16 : 10;
    std::uint64_t digits = 1;
    if (!ReadNumber(text, base, counter.start)) return false;
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (!ReadNumber(text, base, counter.step)) return false;
    }
    if (text.starts_with(':')) {
        text.remove_prefix(1);
        if (!ReadNumber(text, 10, digits) || digits == 0 || digits > kMostDigits) return false;
    }
    counter.digits = static_cast<std::uint32_t>(digits);
    return text.empty();
}

std::string GetDigits(const common::CMacAddress& mac) {
    std::string digits;
    for (const std::uint8_t byte : mac.GetBytes()) digits += fmt::format("{:02x}", byte);
    return digits;
}

std::string ReplaceBraces(const std::string& text, std::uint32_t host, const common::CMacAddress& mac,
                          bool is_hex) {
    std::string expanded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '{') {
            expanded += text[at];
            continue;
        }
        if (at + 1 < text.size() && text[at + 1] == '{') {
            expanded += text[++at];
            continue;
        }
        const std::size_t end = text.find('}', at);
        if (end == std::string::npos) RefuseText(text, "has a brace that is not closed");
        const std::string_view inside = std::string_view(text).substr(at + 1, end - at - 1);
        Counter counter;
        if (inside == "mac") {
            expanded += GetDigits(mac);
        } else if (ReadCounter(inside, is_hex, counter)) {
            expanded += counter.GetText(host, is_hex);
        } else {
            RefuseText(text, fmt::format("has {{{}}} in it", inside));
        }
        at = end;
    }
    return expanded;
}

}  // namespace

std::vector<std::uint8_t> ExpandHostText(const std::string& text, std::uint32_t host,
                                         const common::CMacAddress& mac) {
    if (!text.starts_with(kHexPrefix)) {
        const std::string expanded = ReplaceBraces(text, host, mac, false);
        return {expanded.begin(), expanded.end()};
    }
    const std::string digits = ReplaceBraces(text.substr(kHexPrefix.size()), host, mac, true);
    if (digits.size() % 2 != 0) RefuseText(text, "has an odd number of hexadecimal digits");
    std::vector<std::uint8_t> bytes;
    for (std::size_t at = 0; at < digits.size(); at += 2) {
        std::uint8_t byte = 0;
        const auto [end, error] = std::from_chars(digits.data() + at, digits.data() + at + 2, byte, 16);
        if (error != std::errc() || end != digits.data() + at + 2)
            RefuseText(text, fmt::format("has \"{}\" among its hexadecimal digits", digits.substr(at, 2)));
        bytes.push_back(byte);
    }
    return bytes;
}

}  // namespace orv::app
