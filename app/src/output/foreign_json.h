// JSON that somebody else wrote.
#pragma once

#include <string_view>

namespace orv::app {

/// Whether nothing in the text lies deeper than `deepest` lists and objects. Broken JSON may be either.
inline bool IsShallowJson(std::string_view text, int deepest) {
    int depth = 0;
    bool is_in_string = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (is_in_string) {
            if (c == '\\') ++i;
            is_in_string = c != '"';
        } else if (c == '"') {
            is_in_string = true;
        } else if (c == '[' || c == '{') {
            if (++depth > deepest) return false;
        } else if (c == ']' || c == '}') {
            --depth;
        }
    }
    return true;
}

/// A discarded value for a text that is no JSON, or nested as nothing is that this program writes: each
/// bracket of such a text would take 70 bytes.
template <class Json>
Json ParseForeignJson(std::string_view text) {
    constexpr int kDeepest = 32;
    if (!IsShallowJson(text, kDeepest)) return Json(Json::value_t::discarded);
    return Json::parse(text, nullptr, false);
}

}  // namespace orv::app
