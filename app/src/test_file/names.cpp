#include "names.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

namespace orv::app {

namespace {

char ToLower(char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

/// Longer texts are no misspelt names, and comparing them would take long.
constexpr std::size_t kLongestName = 100;

/// Optimal string alignment distance.
std::size_t CountEdits(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before_last(b.size() + 1);
    std::vector<std::size_t> last(b.size() + 1);
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        before_last.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const auto same = [&](std::size_t x, std::size_t y) {
                return ToLower(a[x - 1]) == ToLower(b[y - 1]);
            };
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (same(i, j) ? 0 : 1)});
            if (i > 1 && j > 1 && same(i, j - 1) && same(i - 1, j))
                row[j] = std::min(row[j], before_last[j - 2] + 1);
        }
    }
    return row[b.size()];
}

}  // namespace

bool IsSameName(std::string_view a, std::string_view b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return ToLower(x) == ToLower(y); });
}

std::string FindNearestName(std::string_view name, const std::vector<std::string>& known) {
    if (name.size() > kLongestName) return {};
    std::size_t fewest = std::max<std::size_t>(1, name.size() / 3) + 1;
    std::string nearest;
    for (const std::string& candidate : known) {
        if (candidate.size() > kLongestName) continue;
        const std::size_t edits = CountEdits(name, candidate);
        if (edits >= fewest || edits >= candidate.size()) continue;
        fewest = edits;
        nearest = candidate;
    }
    return nearest;
}

std::string JoinNames(const std::vector<std::string>& names) {
    return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace orv::app
