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

MistakeList::MistakeList(std::string file, const std::vector<std::string>& settings)
    : sources_{std::move(file)} {
    sources_.insert(sources_.end(), settings.begin(), settings.end());
}

void SortMistakes(std::vector<Mistake>& mistakes) {
    std::stable_sort(mistakes.begin(), mistakes.end(), [](const Mistake& a, const Mistake& b) {
        return std::tie(a.at.setting, a.at.line, a.at.column) <
               std::tie(b.at.setting, b.at.line, b.at.column);
    });
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
    if (settled_.contains({where.at.setting, where.at.line, where.at.column})) return;
    mistakes_.push_back({sources_.at(static_cast<std::size_t>(where.at.setting)), where.at, where.object,
                         where.property, problem, expected, nearest});
}

std::vector<Mistake> MistakeList::TakeSorted() {
    SortMistakes(mistakes_);
    return std::exchange(mistakes_, {});
}

}  // namespace orv::app
