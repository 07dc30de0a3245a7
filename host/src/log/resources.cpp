#include "orv/framework/resources.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <ostream>
#include <string_view>

#include "orv/common/exceptions.h"

namespace orv::framework {

CResourceManager& CResourceManager::Instance() {
    static CResourceManager manager;
    return manager;
}

void CResourceManager::AddStringResource(std::uint32_t id, const std::string& text) {
    const auto [entry, added] = texts_.emplace(id, text);
    if (!added && entry->second != text) {
        throw common::COrvLogicError(fmt::format(
            "string resource {:#x} is \"{}\" already and cannot become \"{}\"", id, entry->second, text));
    }
}

const std::string& CResourceManager::GetStringResource(std::uint32_t id) const {
    const auto found = texts_.find(id);
    if (found == texts_.end())
        throw common::COrvLogicError(fmt::format("there is no string resource {:#x}", id));
    return found->second;
}

std::vector<std::uint32_t> CResourceManager::GetIds() const {
    std::vector<std::uint32_t> ids;
    ids.reserve(texts_.size());
    for (const auto& [id, text] : texts_) ids.push_back(id);
    std::sort(ids.begin(), ids.end());
    return ids;
}

ResourceFormatter::ResourceFormatter(std::uint32_t id) : id_(id) {}

void ResourceFormatter::SetFieldWidth(int width, char fill) {
    width_ = width;
    fill_ = fill;
}

void ResourceFormatter::Append(std::string text) {
    const auto width = static_cast<std::size_t>(std::max(width_, 0));
    if (text.size() < width) text.insert(0, width - text.size(), fill_);
    arguments_.push_back(std::move(text));
}

std::string ResourceFormatter::ToString() const {
    const std::string_view text = CResourceManager::Instance().GetStringResource(id_);
    std::string result;
    std::size_t done = 0;
    for (std::size_t open = text.find('{'); open != std::string_view::npos; open = text.find('{', open + 1)) {
        std::size_t number = 0;
        const char* const end = text.data() + text.size();
        const auto [after, error] = std::from_chars(text.data() + open + 1, end, number);
        if (error != std::errc{} || after == end || *after != '}') continue;
        if (number == 0 || number > arguments_.size()) continue;
        result.append(text, done, open - done).append(arguments_[number - 1]);
        done = static_cast<std::size_t>(after - text.data()) + 1;
    }
    return result.append(text, done);
}

std::ostream& operator<<(std::ostream& out, const ResourceFormatter& formatter) {
    return out << formatter.ToString();
}

}  // namespace orv::framework
