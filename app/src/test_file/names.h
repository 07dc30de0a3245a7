// Names that users type.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace orv::app {

/// The known name that takes the fewest edits (a letter inserted, removed or changed, or two neighbours
/// swapped) to become `name`, without regard to case; the first one of several. Empty if no name is similar
/// enough.
std::string FindNearestName(std::string_view name, const std::vector<std::string>& known);

/// The problem of a text for which InsertMissingBlank has a suggestion.
inline constexpr const char* kMissingBlank = "a blank is missing behind the colon";
/// "DeviceCount: 100" for "DeviceCount:100", which YAML reads as one text; empty for other texts.
std::string InsertMissingBlank(std::string_view text);

/// "a, b, c". With `most`, only that many of them, and "..." for the others.
std::string JoinNames(const std::vector<std::string>& names, std::size_t most = 0);

/// Names among which many are looked up: those of the objects of a file.
class KnownNames {
  public:
    explicit KnownNames(std::vector<std::string> names);

    const std::vector<std::string>& Get() const { return names_; }
    bool Contains(const std::string& name) const { return set_.contains(name); }
    /// Like FindNearestName. Each search scans all names, so results are cached, and after a hundred
    /// different names no more suggestions are given.
    std::string FindNearest(const std::string& name);

  private:
    std::vector<std::string> names_;
    std::unordered_set<std::string> set_;
    std::unordered_map<std::string, std::string> answers_;
};

}  // namespace orv::app
