#include "mistake.h"

#include <fmt/format.h>

#include <algorithm>
#include <tuple>
#include <utility>

namespace orv::app {

std::string Mistake::ToString() const {
    std::string text = file;
    if (at.line > 0) text += fmt::format(":{}:{}", at.line, at.column);
    text += ": " + object;
    if (!object.empty() && !property.empty()) text += ", ";
    text += property;
    if (!object.empty() || !property.empty()) text += ": ";
    text += problem;
    if (!expected.empty()) text += "; expected " + expected;
    if (!nearest.empty()) text += "; did you mean " + nearest + "?";
    return text;
}

Mistake MakeCommandLineMistake(const std::string& option, const std::string& problem) {
    Mistake mistake;
    mistake.file = "command line";
    mistake.object = option;
    mistake.problem = problem;
    return mistake;
}

void MistakeList::Add(const Where& where, const std::string& problem, const std::string& expected,
                      const std::string& nearest) {
    if (settled_.contains({where.at.line, where.at.column})) return;
    mistakes_.push_back({file_, where.at, where.object, where.property, problem, expected, nearest});
}

std::vector<Mistake> MistakeList::TakeSorted() {
    std::stable_sort(mistakes_.begin(), mistakes_.end(), [](const Mistake& a, const Mistake& b) {
        return std::tie(a.at.line, a.at.column) < std::tie(b.at.line, b.at.column);
    });
    return std::exchange(mistakes_, {});
}

}  // namespace orv::app
