#include "key_reader.h"

#include <fmt/format.h>

namespace orv::app {

namespace {

constexpr std::size_t kMostShown = 20;

}  // namespace

void KeyReader::Refuse(const Key& key, const std::string& expected, const std::string& nearest) const {
    mistakes_.Add(key.Where(), key.Value().DescribeWrong(), expected, nearest);
}

std::vector<Key> KeyReader::ReadEntries(const SourceNode& node, const MistakeList::Where& where,
                                        KnownNames& known) const {
    std::vector<Key> keys;
    const std::string section = where.object + (where.property.empty() ? "" : ", " + where.property);
    if (node.IsNothing()) return keys;
    if (!node.IsMap()) {
        mistakes_.Add(where, node.DescribeWrong(), "keys and values");
        return keys;
    }
    for (const SourceEntry& entry : node.entries) {
        const std::string& name = entry.key.text;
        if (known.Contains(name)) {
            keys.push_back({section, entry});
        } else if (const std::string meant = InsertMissingBlank(name); !meant.empty()) {
            mistakes_.Add({entry.key.at, section, name}, kMissingBlank, "\"" + meant + "\"");
        } else {
            mistakes_.Add({entry.key.at, section, name}, "this is not known here",
                          known.Get().empty() ? "nothing: the file has no such object"
                                              : JoinNames(known.Get(), kMostShown),
                          known.FindNearest(name));
        }
    }
    return keys;
}

void KeyReader::ReadBool(const Key& key, bool& value) const {
    const auto read = ParseValue<bool>(framework::PropertyType::Bool, key.Value().text);
    if (!key.Value().IsText() || !read) return Refuse(key, "true or false");
    value = *read;
}

std::optional<std::uint64_t> KeyReader::FindWhole(const Key& key, std::uint64_t least,
                                                  std::uint64_t most) const {
    const auto value = ParseValue<std::uint64_t>(framework::PropertyType::U64, key.Value().text);
    if (key.Value().IsText() && value && *value >= least && *value <= most) return value;
    Refuse(key, DescribeWhole(least, most));
    return std::nullopt;
}

std::string KeyReader::DescribeWhole(std::uint64_t least, std::uint64_t most) {
    return fmt::format("a whole number from {} to {}", least, most);
}

}  // namespace orv::app
