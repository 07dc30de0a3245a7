#include "reference_reader.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::app {

std::optional<std::size_t> ReferenceReader::Resolve(const SourceNode& reference, const Fits& fits,
                                                    const Where& where) {
    constexpr const char* kExpected = "an object's name or path";
    if (!reference.IsText()) {
        mistakes_.Add(where(), reference.DescribeWrong(), kExpected);
        return std::nullopt;
    }
    const Found& found = Find(reference.text);
    if (found.all.size() == 1) return found.all.front();
    const std::string quoted = reference.Describe();
    if (found.all.empty()) {
        mistakes_.Add(where(), quoted + " names no object", kExpected, FindNearest(reference.text));
        return std::nullopt;
    }
    constexpr std::size_t kMostShown = 5;
    std::vector<std::size_t> shown;
    std::size_t count = 0;
    const auto show = [&](const std::vector<std::size_t>& indexes) {
        count += indexes.size();
        const auto more = static_cast<std::ptrdiff_t>(std::min(indexes.size(), kMostShown + 1));
        shown.insert(shown.end(), indexes.begin(), indexes.begin() + more);
    };
    for (const auto& [meta_class, indexes] : found.by_class) {
        if (meta_class && fits(*meta_class)) show(indexes);
    }
    if (count == 1) return shown.front();
    // If none fits, take one with unknown class: that is already reported as a mistake.
    if (const auto unknown = found.by_class.find(nullptr); count == 0 && unknown != found.by_class.end())
        return unknown->second.front();
    if (count == 0) show(found.all);
    std::sort(shown.begin(), shown.end());
    std::vector<std::string> paths;
    for (const std::size_t index : shown) paths.push_back(plan_.GetPath(index));
    mistakes_.Add(where(), fmt::format("{} names {} objects", quoted, count),
                  "one of " + JoinNames(paths, kMostShown));
    return std::nullopt;
}

const ReferenceReader::Found& ReferenceReader::Find(const std::string& text) {
    const auto [found, is_new] = found_.try_emplace(text);
    if (is_new) {
        found->second.all = plan_.FindReferenced(text);
        for (const std::size_t index : found->second.all)
            found->second.by_class[plan_.At(index).meta_class].push_back(index);
    }
    return found->second;
}

/// A name, or for a path the path of an object.
std::string ReferenceReader::FindNearest(const std::string& text) {
    if (text.find('/') == text.npos) {
        if (!names_) names_.emplace(plan_.GetNamesOf());
        return names_->FindNearest(text);
    }
    if (!paths_) {
        std::vector<std::string> paths;
        for (std::size_t i = 0; i < plan_.Objects().size(); ++i) paths.push_back(plan_.GetPath(i));
        paths_.emplace(std::move(paths));
    }
    return paths_->FindNearest(text);
}

}  // namespace orv::app
