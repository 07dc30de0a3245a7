#include "reference_reader.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::app {

std::optional<std::size_t> ReferenceReader::Resolve(const SourceNode& reference, std::size_t object,
                                                    const std::string& property) {
    constexpr const char* kExpected = "an object's name or path";
    const auto where = [&] { return MistakeList::Where{reference.at, plan_.Describe(object), property}; };
    if (!reference.IsText()) {
        mistakes_.Add(where(), reference.DescribeWrong(), kExpected);
        return std::nullopt;
    }
    const std::vector<std::size_t>& found = Find(reference.text);
    if (found.size() == 1) return found.front();
    const std::string quoted = reference.Describe();
    if (found.empty()) {
        mistakes_.Add(where(), quoted + " names no object", kExpected, FindNearest(reference.text));
        return std::nullopt;
    }
    constexpr std::size_t kMostShown = 5;
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < std::min(found.size(), kMostShown + 1); ++i)
        paths.push_back(plan_.GetPath(found[i]));
    mistakes_.Add(where(), fmt::format("{} names {} objects", quoted, found.size()),
                  "one of " + JoinNames(paths, kMostShown));
    return std::nullopt;
}

const std::vector<std::size_t>& ReferenceReader::Find(const std::string& text) {
    const auto [found, is_new] = found_.try_emplace(text);
    if (is_new) found->second = plan_.FindReferenced(text);
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
