#include "clock_choice.h"

#include <algorithm>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>

#include "run/port_location.h"
#include "test_file/names.h"
#include "test_file/source_tree.h"

namespace orv::app {

namespace {

bool HasLiveLocation(const SourceNode& node) {
    return std::any_of(node.items.begin(), node.items.end(), HasLiveLocation) ||
           std::any_of(node.entries.begin(), node.entries.end(), [](const SourceEntry& entry) {
               return (IsSameName(entry.key.text, "Location") && entry.value.text.starts_with(kLiveScheme)) ||
                      HasLiveLocation(entry.value);
           });
}

}  // namespace

bool MentionsLivePort(const std::filesystem::path& path) {
    try {
        std::ifstream file(path);
        if (!file) return false;
        MistakeList ignored(path.string());
        return HasLiveLocation(ReadSourceTree({std::istreambuf_iterator<char>(file), {}}, ignored));
    } catch (const std::ios_base::failure&) {
        return false;  // a folder, for one
    }
}

}  // namespace orv::app
