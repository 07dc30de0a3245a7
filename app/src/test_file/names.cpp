#include "names.h"
#include "orv/common/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <utility>

namespace orv::app {

namespace {

/// Longer texts are no misspelt names, and comparing them would take long.
constexpr std::size_t kLongestName = 100;

/// Optimal string alignment distance of two texts in lower case, none longer than kLongestName; some number
/// of at least `limit` when it is not below that.
std::size_t CountEdits(const std::string& a, const std::string& b, std::size_t limit) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) >= limit) return limit;
    // Plain pointers: a search spends all its time here.
    std::size_t rows[3][kLongestName + 1];
    std::size_t* before_last = rows[0];
    std::size_t* last = rows[1];
    std::size_t* row = rows[2];
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    const char* const at_a = a.data();
    const char* const at_b = b.data();
    std::size_t least_of_last = 0;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::swap(before_last, last);
        std::swap(last, row);
        row[0] = i;
        std::size_t least = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            std::size_t edits = last[j - 1] + (at_a[i - 1] == at_b[j - 1] ? 0 : 1);
            if (last[j] + 1 < edits) edits = last[j] + 1;
            if (row[j - 1] + 1 < edits) edits = row[j - 1] + 1;
            const bool swapped = i > 1 && j > 1 && at_a[i - 1] == at_b[j - 2] && at_a[i - 2] == at_b[j - 1];
            if (swapped && before_last[j - 2] + 1 < edits) edits = before_last[j - 2] + 1;
            row[j] = edits;
            if (edits < least) least = edits;
        }
        // Further rows depend on the last two, so their values cannot be smaller.
        if (least >= limit && least_of_last + 1 >= limit) return limit;
        least_of_last = least;
    }
    return row[b.size()];
}

}  // namespace

std::string FindNearestName(std::string_view name, const std::vector<std::string>& known) {
    if (name.size() > kLongestName) return {};
    const std::string lower = common::ToLower(name);
    std::size_t fewest = std::max<std::size_t>(1, name.size() / 3) + 1;
    std::string nearest;
    for (const std::string& candidate : known) {
        if (candidate.size() > kLongestName) continue;
        const std::size_t limit = std::min(fewest, candidate.size());
        const std::size_t edits = CountEdits(lower, common::ToLower(candidate), limit);
        if (edits >= limit) continue;
        fewest = edits;
        nearest = candidate;
    }
    return nearest;
}

std::string InsertMissingBlank(std::string_view text) {
    const auto is_letter = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; };
    const std::size_t colon = text.find(':');
    if (colon == text.npos || colon == 0 || colon + 1 >= text.size()) return {};
    const std::string_view key = text.substr(0, colon), value = text.substr(colon + 1);
    if (std::isdigit(static_cast<unsigned char>(key.front())) || value.front() == ' ') return {};
    if (!std::all_of(key.begin(), key.end(), is_letter)) return {};
    return fmt::format("{}: {}", key, value);
}

std::string JoinNames(const std::vector<std::string>& names, std::size_t most) {
    if (most == 0 || names.size() <= most) return fmt::format("{}", fmt::join(names, ", "));
    const auto end = names.begin() + static_cast<std::ptrdiff_t>(most);
    return fmt::format("{}, ...", fmt::join(names.begin(), end, ", "));
}

KnownNames::KnownNames(std::vector<std::string> names)
    : names_(std::move(names)), set_(names_.begin(), names_.end()) {}

std::string KnownNames::FindNearest(const std::string& name) {
    constexpr std::size_t kMostQuestions = 100;
    const auto known = answers_.find(name);
    if (known != answers_.end()) return known->second;
    if (answers_.size() >= kMostQuestions) return {};
    return answers_[name] = FindNearestName(name, names_);
}

}  // namespace orv::app
